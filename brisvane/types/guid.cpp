#include "brisvane/types/guid.h"

#include "brisvane/types/hex.h"

namespace brisvane {
namespace {

// Whether a hyphen stands ahead of this byte.
constexpr bool beginsGroup(std::size_t byte) noexcept {
  return byte == 4 || byte == 6 || byte == 8 || byte == 10;
}

}  // namespace

std::string guidText(const Guid& guid) {
  std::string text;
  text.reserve(kGuidTextLength);
  for (std::size_t i = 0; i < guid.size(); ++i) {
    if (beginsGroup(i)) text += '-';
    appendHex(text, guid[i]);
  }
  return text;
}

std::optional<Guid> parseGuid(std::string_view text) noexcept {
  if (text.size() != kGuidTextLength) return std::nullopt;
  Guid guid{};
  std::size_t at = 0;
  for (std::size_t i = 0; i < guid.size(); ++i) {
    if (beginsGroup(i) && text[at++] != '-') return std::nullopt;
    const auto high = hexValue(text[at++]);
    const auto low = hexValue(text[at++]);
    if (!high || !low) return std::nullopt;
    guid[i] = static_cast<std::uint8_t>(*high << 4U | *low);
  }
  return guid;
}

}  // namespace brisvane
