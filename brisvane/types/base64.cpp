#include "brisvane/types/base64.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace brisvane {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
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
  for (const char blank : {' ', '\t', '\r', '\n'})
    values[static_cast<unsigned char>(blank)] = kBlank;
  return values;
}();

constexpr std::uint8_t valueOf(char character) noexcept {
  return kValues[static_cast<unsigned char>(character)];
}

// The bits of a character in the three bytes of its group, the first byte lowest, by its place
// among the four. A character that is none of the alphabet sets a bit beyond them.
constexpr std::uint32_t kBeyond = 0xFF000000;
constexpr auto kPlaced = [] {
  std::array<std::array<std::uint32_t, 256>, kGroup> placed{};
  for (std::size_t place = 0; place < kGroup; ++place) {
    for (std::size_t i = 0; i < kValues.size(); ++i) {
      const std::uint32_t group = std::uint32_t{kValues[i]}
                                  << (18 - 6 * place);  // the first byte highest
      placed[place][i] = kValues[i] >= kBlank
                             ? kBeyond
                             : group >> 16U | (group & 0xFF00U) | (group & 0xFFU) << 16U;
    }
  }
  return placed;
}();

std::uint32_t groupAt(const char* characters) noexcept {
  const auto bits = [characters](std::size_t place) {
    return kPlaced[place][static_cast<unsigned char>(characters[place])];
  };
  return bits(0) | bits(1) | bits(2) | bits(3);
}

// Writes the groups up to the first that holds another character, each as four bytes, and gives the
// length of what it has read.
std::size_t takeGroups(std::string_view text, std::uint8_t* to) noexcept {
  std::size_t at = 0;
  for (; at + kGroup <= text.size(); at += kGroup, to += 3) {
    const std::uint32_t group = groupAt(&text[at]);
    if (group >= kBeyond) break;
    std::memcpy(to, &group, sizeof group);
  }
  return at;
}

// Whether a text ends as it must after so many characters of a group: with as many padding
// characters as complete it, and blanks.
bool endsAsItMust(std::string_view rest, std::size_t partial) noexcept {
  std::size_t paddings = 0;
  for (const char character : rest) {
    if (character == kPadding) {
      ++paddings;
    } else if (valueOf(character) != kBlank) {
      return false;
    }
  }
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
  static_assert(std::endian::native == std::endian::little);
  Data bytes(text.size() / kGroup * 3 + kGroup);  // a group is written as four bytes
  std::size_t count = 0;
  std::uint32_t bits = 0;  // those of the last characters, of which the low `held` make no byte yet
  unsigned held = 0;
  std::size_t partial = 0;  // characters of a group that is not whole yet
  std::size_t at = 0;
  for (; at < text.size(); ++at) {
    if (partial == 0) {
      const std::size_t taken = takeGroups(text.substr(at), &bytes[count]);
      at += taken;
      count += taken / kGroup * 3;
    }
    if (at == text.size() || text[at] == kPadding) break;
    const std::uint8_t value = valueOf(text[at]);
    if (value == kBlank) continue;
    if (value == kNone) return std::nullopt;
    partial = (partial + 1) % kGroup;
    bits = bits << 6U | value;
    held += 6;
    if (held < 8) continue;
    held -= 8;
    bytes[count++] = static_cast<std::uint8_t>(bits >> held);
  }
  const bool hasStrayBits = (bits & ((1U << held) - 1U)) != 0;
  if (hasStrayBits || !endsAsItMust(text.substr(at), partial)) return std::nullopt;
  bytes.resize(count);
  return bytes;
}

}  // namespace brisvane
