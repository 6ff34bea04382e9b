#include "brisvane/types/hex.h"

#include <algorithm>
#include <cstddef>

#include "brisvane/types/vectors.h"

namespace brisvane {
namespace {

// Arithmetic, not a table: the loops over it become vectors. `letter` is the digit for ten, less ten.
[[gnu::always_inline]] inline char digitOf(std::uint8_t value, std::uint8_t letter) noexcept {
  const auto from = static_cast<std::uint8_t>(value < 10 ? '0' : letter);
  return static_cast<char>(static_cast<std::uint8_t>(value + from));
}
constexpr std::uint8_t kUpper = 'A' - 10;
constexpr std::uint8_t kLower = 'a' - 10;

// Writes the two digits of so many bytes, `stride` characters apart.
template <std::size_t stride>
[[gnu::always_inline]] inline void spell(const std::uint8_t* __restrict bytes, std::size_t count, char* __restrict text,
                                         std::uint8_t letter) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    text[i * stride] = digitOf(static_cast<std::uint8_t>(bytes[i] >> 4U), letter);
    text[i * stride + 1] = digitOf(bytes[i] & 0xFU, letter);
  }
}

// In pieces of a fixed size, each a few instructions; the last one overlaps the one before it.
template <std::size_t stride>
[[gnu::always_inline]] inline void spellAll(ByteView bytes, char* text, std::uint8_t letter) noexcept {
  constexpr std::size_t kLarge = 64;
  constexpr std::size_t kSmall = 16;
  if (bytes.size() < kSmall) return spell<stride>(bytes.data(), bytes.size(), text, letter);
  std::size_t at = 0;
  for (; bytes.size() - at >= kLarge; at += kLarge) spell<stride>(&bytes[at], kLarge, text + at * stride, letter);
  for (; bytes.size() - at >= kSmall; at += kSmall) spell<stride>(&bytes[at], kSmall, text + at * stride, letter);
  at = bytes.size() - kSmall;
  spell<stride>(&bytes[at], kSmall, text + at * stride, letter);
}

BRISVANE_WIDEST_VECTORS void spellPairs(ByteView bytes, char* text, std::uint8_t letter) noexcept {
  spellAll<2>(bytes, text, letter);
}

BRISVANE_WIDEST_VECTORS void spellTriples(ByteView bytes, char* text) noexcept { spellAll<3>(bytes, text, kUpper); }

std::string pairs(ByteView bytes, std::uint8_t letter) {
  std::string text(bytes.size() * 2, '\0');
  spellPairs(bytes, text.data(), letter);
  return text;
}

constexpr std::size_t kRun = 32;  // pairs of digits that are read together

// Reads kRun pairs. Whether all are pairs of digits; `bytes` is written to in any case.
BRISVANE_WIDEST_VECTORS bool readRun(const char* __restrict text, std::uint8_t* __restrict bytes) noexcept {
  std::uint8_t values[kRun * 2];
  std::uint8_t wrong = 0;
  for (std::size_t i = 0; i < kRun * 2; ++i) {
    const auto character = static_cast<std::uint8_t>(text[i]);
    const auto digit = static_cast<std::uint8_t>(character - '0');
    const auto letter = static_cast<std::uint8_t>((character | 0x20U) - 'a');
    const std::uint8_t other = letter < 6 ? static_cast<std::uint8_t>(letter + 10) : std::uint8_t{0xFF};
    values[i] = digit < 10 ? digit : other;
    wrong |= values[i];
  }
  for (std::size_t i = 0; i < kRun; ++i) bytes[i] = static_cast<std::uint8_t>(values[2 * i] << 4U | values[2 * i + 1]);
  return wrong < 16;
}

}  // namespace

void appendHex(std::string& text, std::uint8_t byte) {
  text += hexDigit(byte >> 4U);
  text += hexDigit(byte);
}

void appendLowerHex(std::string& text, std::uint8_t byte) {
  text += lowerHexDigit(byte >> 4U);
  text += lowerHexDigit(byte);
}

std::string lowerHexText(ByteView bytes) { return pairs(bytes, kLower); }

std::string upperHexText(ByteView bytes) { return pairs(bytes, kUpper); }

std::string spacedHexText(ByteView bytes) {
  std::string text(bytes.size() * 3, ' ');
  spellTriples(bytes, text.data());
  return text;
}

std::string percentHexText(ByteView bytes) {
  std::string text(bytes.size() * 3, '%');
  spellTriples(bytes, text.data() + 1);
  return text;
}

std::optional<Data> parseHex(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  Data bytes(text.size() / 2);
  std::size_t count = 0;
  std::size_t slowUntil = 0;  // where a run has a blank in it
  for (std::size_t at = 0; at < text.size();) {
    if (at >= slowUntil && text.size() - at >= kRun * 2) {
      if (readRun(&text[at], &bytes[count])) {
        at += kRun * 2;
        count += kRun;
        continue;
      }
      slowUntil = at + kRun * 2;
    }
    const auto high = hexValue(text[at]);
    const auto low = at + 1 < text.size() ? hexValue(text[at + 1]) : std::nullopt;
    if (high && low) {
      bytes[count++] = static_cast<std::uint8_t>(*high << 4U | *low);
      at += 2;
    } else if (kBlanks.find(text[at]) != std::string_view::npos) {
      ++at;
    } else {
      return std::nullopt;
    }
  }
  bytes.resize(count);
  return bytes;
}

}  // namespace brisvane
