// User-perceived characters: extended grapheme clusters (Unicode Standard Annex #29).
// The function keeps no state and may be called from any thread. It may throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane::host {

// Counts the user-perceived characters of `text`. When there are more than `limit`, the result is
// some number above `limit`. A byte that is not UTF-8 counts as U+FFFD. A character too long for
// the engine makes the byte length the result, which is never less.
//
// A line feed always ends its character, so that the count of a text is the sum of its lines'
// counts, each line with its line feed. Elsewhere two texts may have fewer characters together than
// apart.
[[nodiscard]] BRISVANE_EXPORT std::size_t characterCount(std::string_view text, std::size_t limit);

}  // namespace brisvane::host
