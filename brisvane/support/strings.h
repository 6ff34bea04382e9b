// Helpers on text: emptiness, trimming and prefixing.
// The functions keep no state and may be called from any thread. An absent receiver counts as the
// empty text. A function whose result is a text may throw std::bad_alloc.
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

// The text without the whitespace at its beginning and at its end. Whitespace is U+0009 and the
// space separators (general category Zs of the Unicode Character Database). Line feeds and carriage
// returns are not: they stay, and so does each blank on their inner side.
[[nodiscard]] BRISVANE_EXPORT std::string stringByTrimmingWhitespace(Text text);

// `prefix` followed by `text`, even when the text begins with it already. The empty text stays
// empty. An absent prefix counts as empty.
[[nodiscard]] BRISVANE_EXPORT std::string stringWithPrefix(Text text, Text prefix);

}  // namespace Additions

}  // namespace brisvane
