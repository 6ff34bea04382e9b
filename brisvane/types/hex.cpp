#include "brisvane/types/hex.h"

namespace brisvane {

void appendHex(std::string& text, std::uint8_t byte) {
  text += hexDigit(byte >> 4U);
  text += hexDigit(byte);
}

void appendLowerHex(std::string& text, std::uint8_t byte) {
  text += lowerHexDigit(byte >> 4U);
  text += lowerHexDigit(byte);
}

std::string lowerHexText(ByteView bytes) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) appendLowerHex(text, byte);
  return text;
}

std::optional<Data> parseHex(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  Data bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (kBlanks.find(text[at]) != std::string_view::npos) continue;
    if (at + 1 == text.size()) return std::nullopt;
    const auto high = hexValue(text[at]);
    const auto low = hexValue(text[++at]);
    if (!high || !low) return std::nullopt;
    bytes.push_back(static_cast<std::uint8_t>(*high << 4U | *low));
  }
  return bytes;
}

}  // namespace brisvane
