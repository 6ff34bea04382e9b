// Base64, hexadecimal digits and GUIDs, both ways.
#include <algorithm>
#include <cctype>

#include "brisvane/types/base64.h"
#include "brisvane/types/guid.h"
#include "brisvane/types/hex.h"
#include "fuzz/support/fuzzing.h"

namespace brisvane::fuzz {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string withoutBlanks(std::string_view text) {
  std::string result(text);
  std::erase_if(result, [](char c) { return kBlanks.find(c) != std::string_view::npos; });
  return result;
}

std::string upperCase(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

// RFC 4648, bit by bit.
std::string plainBase64(ByteView bytes) {
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t bit = 0; bit < 8 * bytes.size(); bit += 6) {
    unsigned value = 0;
    for (std::size_t i = bit; i < bit + 6; ++i) {
      const unsigned byte = i / 8 < bytes.size() ? bytes[i / 8] : 0;
      value = value << 1U | (byte >> (7 - i % 8) & 1U);
    }
    text += kAlphabet[value];
  }
  while (text.size() % 4 != 0) text += '=';
  return text;
}

}  // namespace

void run(std::string_view input) {
  const Data bytes = copyOf(input);
  require(base64Text(bytes) == plainBase64(bytes), "base64 is that of RFC 4648");
  require(parseBase64(base64Text(bytes)) == bytes, "base64 of bytes reads back");
  require(parseHex(lowerHexText(bytes)) == bytes && parseHex(upperHexText(bytes)) == bytes &&
              parseHex(spacedHexText(bytes)) == bytes,
          "digits of bytes read back");
  require(percentHexText(bytes).size() == 3 * bytes.size(), "a byte has three characters");
  static_cast<void>(describe(bytes, 16));

  if (const auto decoded = parseBase64(input))
    require(base64Text(*decoded) == withoutBlanks(input), "base64 that is read is the only one");
  if (const auto decoded = parseHex(input))
    require(upperHexText(*decoded) == upperCase(withoutBlanks(input)), "digits that are read stay");
  if (const auto guid = parseGuid(input))
    require(guidText(*guid) == upperCase(std::string(input)), "a GUID that is read stays");
  Guid guid{};
  std::copy_n(bytes.begin(), std::min(bytes.size(), guid.size()), guid.begin());
  require(parseGuid(guidText(guid)) == guid, "a GUID reads back");
}

}  // namespace brisvane::fuzz
