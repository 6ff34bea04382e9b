// UTF-8 and UTF-16: decoding, validity and lengths.
// The functions keep no state and may be called from any thread. Those that give or extend a text
// may throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane {

inline constexpr char32_t kReplacementCharacter = U'\uFFFD';

// One decoded character. A byte that is not part of well-formed UTF-8 (The Unicode Standard, table
// 3-7) decodes as U+FFFD of length 1, and is not valid.
struct CodePoint {
  char32_t value;
  std::size_t length;  // in bytes
  bool valid;
};

// The first, or the last, character of a text. REQUIRES: the text is not empty.
[[nodiscard]] BRISVANE_EXPORT CodePoint firstCodePoint(std::string_view text) noexcept;
[[nodiscard]] BRISVANE_EXPORT CodePoint lastCodePoint(std::string_view text) noexcept;

// Appends a code point in UTF-8. U+FFFD stands for a surrogate and for a value above U+10FFFF.
BRISVANE_EXPORT void appendUtf8(std::string& text, char32_t codePoint);

// Whether the character is a control character (general category Cc).
[[nodiscard]] constexpr bool isControl(char32_t codePoint) noexcept {
  return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
}

// Whether the character changes the direction in which its neighbours are shown (property
// Bidi_Control).
[[nodiscard]] constexpr bool isBidirectionalControl(char32_t codePoint) noexcept {
  return codePoint == 0x61C || codePoint == 0x200E || codePoint == 0x200F ||
         (codePoint >= 0x202A && codePoint <= 0x202E) ||
         (codePoint >= 0x2066 && codePoint <= 0x2069);
}

[[nodiscard]] BRISVANE_EXPORT bool isAscii(std::string_view text) noexcept;
[[nodiscard]] BRISVANE_EXPORT bool isUtf8(std::string_view text) noexcept;

// The text with each byte that is not UTF-8 replaced by U+FFFD.
[[nodiscard]] BRISVANE_EXPORT std::string toUtf8(std::string_view text);

// The text in UTF-16. U+FFFD stands for each byte that is not UTF-8.
[[nodiscard]] BRISVANE_EXPORT std::u16string toUtf16(std::string_view text);

// The text's length in UTF-16 code units, the unit of every length and index in the public
// operations. A byte that is not UTF-8 counts as one unit.
[[nodiscard]] BRISVANE_EXPORT std::size_t utf16Length(std::string_view text) noexcept;

}  // namespace brisvane
