// Random bytes that nobody can guess.
// The function may be called from any thread at the same time.
#pragma once

#include <cstdint>
#include <span>

#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// Fills the space from the kernel's generator, getrandom(2). It works in every process at any time,
// also after a fork and in the destructor of a static object. Early in the boot it blocks until the
// generator has been seeded. After a failure the space holds nothing of use.
[[nodiscard]] BRISVANE_EXPORT Result<> fillWithRandomBytes(std::span<std::uint8_t> space) noexcept;

}  // namespace brisvane::host
