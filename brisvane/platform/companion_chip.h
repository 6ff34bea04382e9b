// The companion chips of hosts whose own firmware does not report them: which board a
// chip sits on, by the identifier of the host's board. Private to the library.
#pragma once

#include <cstdint>
#include <optional>

namespace brisvane {

// The chip identifier that all of them have.
inline constexpr std::uint16_t kCompanionChipID = 0x4B17;

// The companion chip's board number, below 64; nullopt for a host board without one.
std::optional<std::uint8_t> companionChipBoard(std::uint64_t hostBoard) noexcept;

}  // namespace brisvane
