// excerpt, by which a message quotes a text from outside.
// Private to the library. It keeps no state and may be called from any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane {

inline constexpr std::size_t kLongestExcerpt = 200;

// The text with each control character and bidirectional control as <U+001B>, and each byte that is
// not UTF-8 as <0xFF>. Of one that would be longer than kLongestExcerpt bytes its beginning and its
// end, with "..." between. It takes no longer for a long text than for a short one.
[[nodiscard]] BRISVANE_EXPORT std::string excerpt(std::string_view text);

}  // namespace brisvane
