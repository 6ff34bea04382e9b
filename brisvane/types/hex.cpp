#include "brisvane/types/hex.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "brisvane/types/vectors.h"

namespace brisvane {
namespace {

constexpr std::uint8_t kUpper = 'A' - 10;
constexpr std::uint8_t kLower = 'a' - 10;

// The digit of a value below 16. Arithmetic, not a table: the loops over it become vectors.
// `letter` is the digit for ten, less ten.
[[gnu::always_inline]] inline char digitOf(unsigned value, std::uint8_t letter) noexcept {
  const auto low = static_cast<std::uint8_t>(value);
  return static_cast<char>(
      static_cast<std::uint8_t>(low + (low < 10 ? std::uint8_t{'0'} : letter)));
}

// Writes the two digits of each byte, `stride` characters apart.
template <std::size_t stride>
[[gnu::always_inline]] inline void spell(const std::uint8_t* __restrict bytes, std::size_t count,
                                         char* __restrict text, std::uint8_t letter) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    text[i * stride] = digitOf(bytes[i] >> 4U, letter);
    text[i * stride + 1] = digitOf(bytes[i] & 0xFU, letter);
  }
}

// Sixteen digits at a time, of eight bytes, where the compiler's own vectors are too long or too
// many.
using Sixteen = std::uint8_t __attribute__((vector_size(16)));
using Words = std::uint64_t __attribute__((vector_size(16)));
constexpr std::size_t kEight = sizeof(std::uint64_t);

[[gnu::always_inline]] inline Sixteen valuesOfEight(const std::uint8_t* bytes) noexcept {
  std::uint64_t word;
  std::memcpy(&word, bytes, kEight);
  const auto eight = reinterpret_cast<Sixteen>(Words{word, 0});
  return __builtin_shufflevector(eight >> 4, eight & 0xF, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21,
                                 6, 22, 7, 23);
}

[[gnu::always_inline]] inline Sixteen digitsOf(Sixteen values, std::uint8_t letter) noexcept {
  const auto isLetter = reinterpret_cast<Sixteen>(values > 9);
  return values + '0' + (isLetter & static_cast<std::uint8_t>(letter - '0'));
}

// The last eight overlap those before them.
void spellFewPairs(ByteView bytes, char* text, std::uint8_t letter) noexcept {
  if (bytes.size() < kEight) return spell<2>(bytes.data(), bytes.size(), text, letter);
  const auto put = [&](std::size_t at) {
    const Sixteen digits = digitsOf(valuesOfEight(&bytes[at]), letter);
    std::memcpy(text + 2 * at, &digits, sizeof digits);
  };
  for (std::size_t at = 0; at + kEight < bytes.size(); at += kEight) put(at);
  put(bytes.size() - kEight);
}

BRISVANE_WIDEST_VECTORS void spellManyPairs(ByteView bytes, char* text,
                                            std::uint8_t letter) noexcept {
  spell<2>(bytes.data(), bytes.size(), text, letter);
}

std::string pairs(ByteView bytes, std::uint8_t letter) {
  constexpr std::size_t kMany = 128;
  std::string text(bytes.size() * 2, '\0');
  (bytes.size() < kMany ? spellFewPairs : spellManyPairs)(bytes, text.data(), letter);
  return text;
}

// Writes the two digits of each byte, and in the third place what is there already.
BRISVANE_WIDEST_VECTORS void spellTriples(ByteView bytes, char* text, std::uint8_t third) noexcept {
  constexpr std::size_t kStep =
      5;  // bytes, of the eight that are read: the sixteenth character is written over again
  const Sixteen thirds = {0, 0, third, 0, 0, third, 0, 0, third, 0, 0, third, 0, 0, third, 0};
  const Sixteen places = {255, 255, 0, 255, 255, 0, 255, 255, 0, 255, 255, 0, 255, 255, 0, 255};
  const auto put = [&](std::size_t at) {
    const Sixteen values = valuesOfEight(&bytes[at]);
    const Sixteen apart =
        __builtin_shufflevector(values, values, 0, 1, 0, 2, 3, 0, 4, 5, 0, 6, 7, 0, 8, 9, 0, 10);
    const Sixteen written = (digitsOf(apart, kUpper) & places) | thirds;
    std::memcpy(text + 3 * at, &written, sizeof written);
  };
  std::size_t at = 0;
  for (; at + kEight <= bytes.size(); at += kStep) put(at);
  if (at != 0) {
    put(bytes.size() - kEight);
    at = bytes.size() - (kEight - kStep);
  }
  spell<3>(bytes.data() + at, bytes.size() - at, text + 3 * at, kUpper);
}

// What a character stands for.
constexpr std::uint8_t kNone = 0xFF;
constexpr std::uint8_t kBlank = 0xFE;
constexpr auto kValues = [] {
  std::array<std::uint8_t, 256> values{};
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = hexValue(static_cast<char>(i)).value_or(kNone);
  for (const char blank : {' ', '\t', '\r', '\n'})
    values[static_cast<unsigned char>(blank)] = kBlank;
  return values;
}();

constexpr std::size_t kRun = 32;  // pairs of digits that are read together

// Reads kRun pairs. Whether all are pairs of digits; `bytes` is written to in any case.
BRISVANE_WIDEST_VECTORS bool readRun(const char* __restrict text,
                                     std::uint8_t* __restrict bytes) noexcept {
  std::uint8_t values[kRun * 2];
  std::uint8_t wrong = 0;
  for (std::size_t i = 0; i < kRun * 2; ++i) {
    const auto character = static_cast<std::uint8_t>(text[i]);
    const auto digit = static_cast<std::uint8_t>(character - '0');
    const auto letter = static_cast<std::uint8_t>((character | 0x20U) - 'a');
    const std::uint8_t other =
        letter < 6 ? static_cast<std::uint8_t>(letter + 10) : std::uint8_t{0xFF};
    values[i] = digit < 10 ? digit : other;
    wrong |= values[i];
  }
  for (std::size_t i = 0; i < kRun; ++i)
    bytes[i] = static_cast<std::uint8_t>(values[2 * i] << 4U | values[2 * i + 1]);
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
  spellTriples(bytes, text.data(), ' ');
  return text;
}

std::string percentHexText(ByteView bytes) {
  std::string text(bytes.size() * 3, '%');
  spellTriples(bytes, text.data() + 1, '%');
  return text;
}

std::optional<Data> parseHex(std::string_view text) {
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
    const std::uint8_t high = kValues[static_cast<unsigned char>(text[at])];
    const std::uint8_t low =
        at + 1 < text.size() ? kValues[static_cast<unsigned char>(text[at + 1])] : kNone;
    if ((high | low) < 16) {
      bytes[count++] = static_cast<std::uint8_t>(high << 4U | low);
      at += 2;
    } else if (high == kBlank) {
      ++at;
    } else {
      return std::nullopt;
    }
  }
  bytes.resize(count);
  return bytes;
}

}  // namespace brisvane
