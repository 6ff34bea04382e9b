// User-perceived characters: extended grapheme clusters (Unicode Standard Annex #29).
// The function keeps no state and may be called from any thread.
#pragma once

#include <cstddef>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane::host {

// How many user-perceived characters `text` has; when it has more than `limit`, some number
// above that. A byte that is not UTF-8 counts as U+FFFD. Where memory runs out the byte
// length, which is never less, stands for the count.
//
// A line feed ends its character whatever follows: a text has as many as its lines have, each
// with its line feed. Elsewhere two texts may have fewer together than apart.
[[nodiscard]] BRISVANE_EXPORT std::size_t characterCount(std::string_view text, std::size_t limit) noexcept;

}  // namespace brisvane::host
