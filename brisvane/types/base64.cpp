#include "brisvane/types/base64.h"

#include <array>
#include <cstdint>

namespace brisvane {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kPadding = '=';
constexpr std::size_t kGroup = 4;  // characters, for three bytes

// What a character stands for, where it is none of the alphabet.
constexpr std::uint8_t kNone = 0xFF;
constexpr std::uint8_t kBlank = 0xFE;

constexpr auto kValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNone);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i)
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  for (const char blank : {' ', '\t', '\r', '\n'}) values[static_cast<unsigned char>(blank)] = kBlank;
  return values;
}();

constexpr std::uint8_t valueOf(char character) noexcept { return kValues[static_cast<unsigned char>(character)]; }

// Whether a text ends as one of so many characters of the alphabet must: with as many padding
// characters as complete a group, and blanks.
bool endsAsItMust(std::string_view rest, std::size_t characters) noexcept {
  std::size_t paddings = 0;
  for (const char character : rest) {
    if (character == kPadding) {
      ++paddings;
    } else if (valueOf(character) != kBlank) {
      return false;
    }
  }
  const std::size_t partial = characters % kGroup;
  return partial == 0 ? paddings == 0 : partial != 1 && partial + paddings == kGroup;
}

}  // namespace

std::string base64Text(ByteView bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * kGroup);
  for (; !bytes.empty(); bytes = bytes.subspan(bytes.size() < 3 ? bytes.size() : 3)) {
    std::uint32_t bits = static_cast<std::uint32_t>(bytes[0]) << 16U;
    if (bytes.size() > 1) bits |= static_cast<std::uint32_t>(bytes[1]) << 8U;
    if (bytes.size() > 2) bits |= bytes[2];
    text += kAlphabet[bits >> 18U];
    text += kAlphabet[bits >> 12U & 0x3FU];
    text += bytes.size() > 1 ? kAlphabet[bits >> 6U & 0x3FU] : kPadding;
    text += bytes.size() > 2 ? kAlphabet[bits & 0x3FU] : kPadding;
  }
  return text;
}

std::optional<Data> parseBase64(std::string_view text) {
  Data bytes;
  bytes.reserve(text.size() / kGroup * 3);
  std::uint32_t bits = 0;  // those of the last characters, of which the low `held` make no byte yet
  unsigned held = 0;
  std::size_t characters = 0;
  std::size_t at = 0;
  for (; at < text.size() && text[at] != kPadding; ++at) {
    const std::uint8_t value = valueOf(text[at]);
    if (value == kBlank) continue;
    if (value == kNone) return std::nullopt;
    ++characters;
    bits = bits << 6U | value;
    held += 6;
    if (held < 8) continue;
    held -= 8;
    bytes.push_back(static_cast<std::uint8_t>(bits >> held));
  }
  const bool hasStrayBits = (bits & ((1U << held) - 1U)) != 0;
  if (hasStrayBits || !endsAsItMust(text.substr(at), characters)) return std::nullopt;
  return bytes;
}

}  // namespace brisvane
