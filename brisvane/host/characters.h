// User-perceived characters: extended grapheme clusters (Unicode Standard Annex #29).
// The function keeps no state and may be called from any thread.
#pragma once

#include <cstddef>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane::host {

// Whether `text` has more than `limit` user-perceived characters. The characters are
// counted only when the byte length does not settle it. A byte that is not UTF-8
// counts as U+FFFD. Where memory runs out the byte length stands for the count.
[[nodiscard]] BRISVANE_EXPORT bool hasMoreCharactersThan(std::string_view text, std::size_t limit) noexcept;

}  // namespace brisvane::host
