#include "brisvane/platform/registry_decoders.h"

#include <algorithm>

#include "brisvane/types/hex.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

// No text begins with a byte below this one; a line feed is the first that may.
constexpr std::uint8_t kFirstOfText = 0x0A;

std::string decodeBytes(const Data& bytes) {
  if (bytes.front() < kFirstOfText) return lowerHexText(bytes);
  std::string text(bytes.begin(), bytes.end());
  if (isUtf8(text)) {
    // The first character is none of them, so that only the end is trimmed.
    text.erase(text.find_last_not_of('\0') + 1);
    return text;
  }
  text.resize(std::min(text.find('\0'), text.size()));
  return isAscii(text) ? text : lowerHexText(bytes);
}

}  // namespace

std::optional<std::string> decodeText(const std::optional<Object>& property) {
  if (!property) return std::nullopt;
  if (const std::string* const text = property->ifText()) return *text;
  const Data* const bytes = property->ifData();
  return bytes != nullptr && !bytes->empty() ? std::optional(decodeBytes(*bytes)) : std::nullopt;
}

}  // namespace brisvane
