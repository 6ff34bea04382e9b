#include "brisvane/types/unicode.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace brisvane {
namespace {

constexpr CodePoint kInvalid{kReplacementCharacter, 1, false};

constexpr unsigned byteAt(std::string_view text, std::size_t at) noexcept {
  return static_cast<unsigned char>(text[at]);
}

constexpr bool isContinuation(unsigned byte) noexcept { return (byte & 0xC0U) == 0x80U; }

// How many bytes a sequence with this lead byte has; 0 for a byte that leads none.
constexpr std::size_t sequenceLength(unsigned lead) noexcept {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}

// The smallest code point that needs a sequence of this length.
constexpr char32_t smallest(std::size_t length) noexcept {
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  return kSmallest[length];
}

constexpr bool isScalar(char32_t value) noexcept {
  return value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

// The length of a leading part that is ASCII, found eight bytes at a time: most text is.
std::size_t asciiPrefix(std::string_view text) noexcept {
  constexpr std::uint64_t kHighBits = 0x8080808080808080U;
  std::size_t length = 0;
  for (std::uint64_t word = 0; text.size() - length >= sizeof word; length += sizeof word) {
    std::memcpy(&word, text.data() + length, sizeof word);
    if ((word & kHighBits) != 0) break;
  }
  return length;
}

}  // namespace

CodePoint firstCodePoint(std::string_view text) noexcept {
  const unsigned lead = byteAt(text, 0);
  const std::size_t length = sequenceLength(lead);
  if (length == 1) return {static_cast<char32_t>(lead), 1, true};
  if (length == 0 || text.size() < length) return kInvalid;
  char32_t value = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const unsigned byte = byteAt(text, i);
    if (!isContinuation(byte)) return kInvalid;
    value = value << 6U | (byte & 0x3FU);
  }
  if (value < smallest(length) || !isScalar(value)) return kInvalid;
  return {value, length, true};
}

CodePoint lastCodePoint(std::string_view text) noexcept {
  constexpr std::size_t kLongest = 4;
  for (std::size_t length = 1; length <= std::min(kLongest, text.size()); ++length) {
    const std::string_view tail = text.substr(text.size() - length);
    if (isContinuation(byteAt(tail, 0))) continue;
    const CodePoint point = firstCodePoint(tail);
    return point.length == length ? point : kInvalid;
  }
  return kInvalid;
}

void appendUtf8(std::string& text, char32_t codePoint) {
  const char32_t value = isScalar(codePoint) ? codePoint : kReplacementCharacter;
  const auto put = [&text](char32_t byte) {
    text += static_cast<char>(static_cast<unsigned char>(byte));
  };
  const auto tail = [&](unsigned shift) { put(0x80U | (value >> shift & 0x3FU)); };
  if (value < 0x80) {
    put(value);
  } else if (value < 0x800) {
    put(0xC0U | value >> 6U);
    tail(0);
  } else if (value < 0x10000) {
    put(0xE0U | value >> 12U);
    tail(6);
    tail(0);
  } else {
    put(0xF0U | value >> 18U);
    tail(12);
    tail(6);
    tail(0);
  }
}

bool isAscii(std::string_view text) noexcept {
  text.remove_prefix(asciiPrefix(text));
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool isUtf8(std::string_view text) noexcept {
  for (;;) {
    text.remove_prefix(asciiPrefix(text));
    if (text.empty()) return true;
    const CodePoint point = firstCodePoint(text);
    if (!point.valid) return false;
    text.remove_prefix(point.length);
  }
}

std::string toUtf8(std::string_view text) {
  std::string valid;
  valid.reserve(text.size());
  while (!text.empty()) {
    const CodePoint point = firstCodePoint(text);
    if (point.valid) {
      valid.append(text.substr(0, point.length));
    } else {
      appendUtf8(valid, kReplacementCharacter);
    }
    text.remove_prefix(point.length);
  }
  return valid;
}

std::u16string toUtf16(std::string_view text) {
  std::u16string units;
  const std::size_t ascii = asciiPrefix(text);
  units.reserve(text.size());
  units.append(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(ascii));
  text.remove_prefix(ascii);
  while (!text.empty()) {
    const CodePoint point = firstCodePoint(text);
    text.remove_prefix(point.length);
    if (point.value < 0x10000) {
      units += static_cast<char16_t>(point.value);
      continue;
    }
    const char32_t offset = point.value - 0x10000;
    units += static_cast<char16_t>(0xD800 + (offset >> 10U));
    units += static_cast<char16_t>(0xDC00 + (offset & 0x3FFU));
  }
  return units;
}

std::size_t utf16Length(std::string_view text) noexcept {
  std::size_t units = asciiPrefix(text);
  text.remove_prefix(units);
  while (!text.empty()) {
    const CodePoint point = firstCodePoint(text);
    units += point.value >= 0x10000 ? 2 : 1;
    text.remove_prefix(point.length);
  }
  return units;
}

}  // namespace brisvane
