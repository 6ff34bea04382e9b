#include "brisvane/types/excerpt.h"

#include "brisvane/types/hex.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

// The character that stands in `bytes`, as a message shows it.
std::string shown(const CodePoint& character, std::string_view bytes) {
  std::string text;
  if (!character.valid) {
    text = "<0x";
    appendHex(text, static_cast<std::uint8_t>(bytes.front()));
  } else if (isControl(character.value) || isBidirectionalControl(character.value)) {
    text = "<U+";
    appendHex(text, static_cast<std::uint8_t>(character.value >> 8U));
    appendHex(text, static_cast<std::uint8_t>(character.value & 0xFFU));
  } else {
    return std::string(bytes);
  }
  return text += '>';
}

// As many of the first characters as are shown in at most `most` bytes; `text` is left with the
// others.
std::string takeBeginning(std::string_view& text, std::size_t most) {
  std::string beginning;
  while (!text.empty()) {
    const CodePoint next = firstCodePoint(text);
    const std::string piece = shown(next, text.substr(0, next.length));
    if (beginning.size() + piece.size() > most) break;
    beginning += piece;
    text.remove_prefix(next.length);
  }
  return beginning;
}

// The same with the last ones.
std::string takeEnd(std::string_view& text, std::size_t most) {
  std::string end;
  while (!text.empty()) {
    const CodePoint last = lastCodePoint(text);
    const std::string piece = shown(last, text.substr(text.size() - last.length));
    if (end.size() + piece.size() > most) break;
    end.insert(0, piece);
    text.remove_suffix(last.length);
  }
  return end;
}

}  // namespace

std::string excerpt(std::string_view text) {
  constexpr std::string_view kGap = "...";
  constexpr std::size_t kHalf = (kLongestExcerpt - kGap.size()) / 2;
  std::string_view rest = text;
  std::string whole = takeBeginning(rest, kLongestExcerpt);
  if (rest.empty()) return whole;
  const std::string beginning = takeBeginning(text, kHalf);
  return beginning + std::string(kGap) + takeEnd(text, kHalf);
}

}  // namespace brisvane
