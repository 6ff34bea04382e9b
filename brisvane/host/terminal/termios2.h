// The speed of a line in the kernel's form: any number of bits per second.
// It has a source file of its own because the kernel's <asm/termbits.h> and glibc's <termios.h>
// define the same names differently. The functions may be called from any thread.
#pragma once

#include <cstdint>

#include "brisvane/types/result.h"

namespace brisvane::host::real {

// In bits per second.
struct LineSpeed {
  std::uint32_t input;
  std::uint32_t output;

  bool operator==(const LineSpeed&) const = default;
};

// The speeds in force.
Result<LineSpeed> lineSpeed(int descriptor) noexcept;

// Sets any speed for both directions (BOTHER). The driver may choose another: check with
// lineSpeed().
Result<> setLineSpeed(int descriptor, std::uint32_t speed) noexcept;

}  // namespace brisvane::host::real
