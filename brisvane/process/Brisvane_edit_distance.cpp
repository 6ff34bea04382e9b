#include <cstdint>

#include "brisvane/process/edit_distance.h"
#include "brisvane/support/Brisvane.h"
#include "brisvane/types/out_of_memory.h"

namespace brisvane {

std::int64_t Brisvane::levenshteinDistanceBetween(Text first, Text second) noexcept {
  return memoryPermitting(-1, [&] {
    return static_cast<std::int64_t>(editDistance(first.orEmpty(), second.orEmpty()));
  });
}

}  // namespace brisvane
