// Helpers on text: emptiness, trimming and prefixing.
// The functions keep no state and may be called from any thread. An absent receiver
// counts as the empty text. What gives a text may throw std::bad_alloc, as texts do.
#pragma once

#include <string>

#include "brisvane/types/export.h"
#include "brisvane/types/text.h"

namespace brisvane {

namespace BV {

// True when the text is absent or has length 0. A text of blanks is not empty.
[[nodiscard]] BRISVANE_EXPORT bool isEmptyOrNull(Text text) noexcept;

}  // namespace BV

namespace Additions {

// The text without the leading and trailing characters of the whitespace set: U+0009
// and the space separators (general category Zs of the Unicode Character Database).
// Line feeds and carriage returns are not in the set: they stay, and so does every
// blank on their inner side.
[[nodiscard]] BRISVANE_EXPORT std::string stringByTrimmingWhitespace(Text text);

// `prefix` followed by `text`, whether or not the text begins with it already; the
// empty text stays empty. An absent prefix counts as empty.
[[nodiscard]] BRISVANE_EXPORT std::string stringWithPrefix(Text text, Text prefix);

}  // namespace Additions

}  // namespace brisvane
