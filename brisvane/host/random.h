// Random bytes that nobody can guess.
// The function keeps no state of ours and may be called from any thread at the same time.
#pragma once

#include <cstdint>
#include <span>

#include "brisvane/types/export.h"

namespace brisvane::host {

// Fills the space from the cryptography library's generator, which the kernel's seeds. False
// when it cannot be had or fails; the space then holds nothing of use.
[[nodiscard]] BRISVANE_EXPORT bool fillWithRandomBytes(std::span<std::uint8_t> space) noexcept;

}  // namespace brisvane::host
