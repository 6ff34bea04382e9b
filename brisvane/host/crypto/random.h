// Random bytes that nobody can guess.
// The function keeps no state of ours and may be called from any thread at the same time.
#pragma once

#include <cstdint>
#include <span>

#include "brisvane/types/export.h"

namespace brisvane::host {

// Fills the space from the kernel's generator, getrandom(2), which works in every process at any time,
// also after a fork and in the destructor of a static object. Blocks early in the boot, until the
// generator has been seeded. False when it fails; the space then holds nothing of use.
[[nodiscard]] BRISVANE_EXPORT bool fillWithRandomBytes(std::span<std::uint8_t> space) noexcept;

}  // namespace brisvane::host
