// excerpt, with which a message quotes a text from outside.
// Private to the library. It keeps no state and may be called from any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane {

inline constexpr std::size_t kLongestExcerpt = 200;

// The text in a printable form. A control character or bidirectional control becomes <U+001B>, and
// a byte that is not UTF-8 becomes <0xFF>. A result longer than kLongestExcerpt bytes is cut to its
// beginning and its end, with "..." between them. The time does not grow with the text's length. It
// may throw std::bad_alloc.
[[nodiscard]] BRISVANE_EXPORT std::string excerpt(std::string_view text);

}  // namespace brisvane
