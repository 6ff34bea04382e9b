// Hexadecimal digits.
// The functions keep no state and may be called from any thread. Those that give or extend a text
// or a buffer may throw std::bad_alloc.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/data.h"

namespace brisvane {

// The upper-case digit of the low four bits.
[[nodiscard]] constexpr char hexDigit(unsigned value) noexcept {
  return "0123456789ABCDEF"[value & 0xFU];
}

// The lower-case digit of the low four bits.
[[nodiscard]] constexpr char lowerHexDigit(unsigned value) noexcept {
  return "0123456789abcdef"[value & 0xFU];
}

// The value of one digit of either case; nullopt for any other character.
[[nodiscard]] constexpr std::optional<std::uint8_t> hexValue(char digit) noexcept {
  if (digit >= '0' && digit <= '9') return static_cast<std::uint8_t>(digit - '0');
  if (digit >= 'A' && digit <= 'F') return static_cast<std::uint8_t>(digit - 'A' + 10);
  if (digit >= 'a' && digit <= 'f') return static_cast<std::uint8_t>(digit - 'a' + 10);
  return std::nullopt;
}

// Appends the byte's two upper-case digits.
BRISVANE_EXPORT void appendHex(std::string& text, std::uint8_t byte);
// Appends the byte's two lower-case digits.
BRISVANE_EXPORT void appendLowerHex(std::string& text, std::uint8_t byte);
// The two digits of each byte, with nothing between.
[[nodiscard]] BRISVANE_EXPORT std::string lowerHexText(ByteView bytes);
[[nodiscard]] BRISVANE_EXPORT std::string upperHexText(ByteView bytes);
// The two upper-case digits of each byte, and a space after each byte.
[[nodiscard]] BRISVANE_EXPORT std::string spacedHexText(ByteView bytes);
// The two upper-case digits of each byte, and a percent sign before each byte.
[[nodiscard]] BRISVANE_EXPORT std::string percentHexText(ByteView bytes);

// Parses pairs of digits, as a person writes them: blanks, tabs and line ends between pairs are
// skipped. nullopt for any other character and for half a pair.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> parseHex(std::string_view text);

}  // namespace brisvane
