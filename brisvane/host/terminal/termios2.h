// The speed of a line as the kernel holds it: any number of bits per second.
// In a source file of its own because the kernel's <asm/termbits.h> and glibc's
// <termios.h> define the same names differently.
#pragma once

#include <cstdint>
#include <optional>

namespace brisvane::host::real {

// In bits per second.
struct LineSpeed {
  std::uint32_t input;
  std::uint32_t output;

  bool operator==(const LineSpeed&) const = default;
};

// The speeds in force; nullopt with errno set on failure.
std::optional<LineSpeed> lineSpeed(int descriptor) noexcept;

// Sets any speed for both directions (BOTHER); false with errno set on failure. The
// driver may settle for another: read it back.
bool setLineSpeed(int descriptor, std::uint32_t speed) noexcept;

}  // namespace brisvane::host::real
