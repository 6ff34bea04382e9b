#include "brisvane/support/strings.h"

#include "brisvane/types/join.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

bool isWhitespace(char32_t c) noexcept {
  return c == U'\t' || c == U' ' || c == U'\u00A0' || c == U'\u1680' ||
         (c >= U'\u2000' && c <= U'\u200A') || c == U'\u202F' || c == U'\u205F' || c == U'\u3000';
}

}  // namespace

bool BV::isEmptyOrNull(Text text) noexcept { return text.orEmpty().empty(); }

std::string Additions::stringByTrimmingWhitespace(Text text) {
  std::string_view rest = text.orEmpty();
  while (!rest.empty()) {
    const CodePoint first = firstCodePoint(rest);
    if (!isWhitespace(first.value)) break;
    rest.remove_prefix(first.length);
  }
  while (!rest.empty()) {
    const CodePoint last = lastCodePoint(rest);
    if (!isWhitespace(last.value)) break;
    rest.remove_suffix(last.length);
  }
  return std::string(rest);
}

std::string Additions::stringWithPrefix(Text text, Text prefix) {
  if (text.orEmpty().empty()) return {};
  return join({prefix.orEmpty(), text.orEmpty()});
}

}  // namespace brisvane
