// How bvdiag shows texts from outside: escaped on a terminal, in a page, cut to columns, and
// masked. The input is a text that is to be hidden, then texts.
#include <algorithm>
#include <array>

#include "brisvane/host/formats/json.h"
#include "brisvane/types/unicode.h"
#include "fuzz/support/fuzzing.h"
#include "html_writer.h"
#include "mask.h"
#include "output.h"
#include "terminal_columns.h"

namespace brisvane::fuzz {
namespace {

// Whether a terminal shows all characters of the text, and obeys none.
bool isShown(std::string_view text) {
  while (!text.empty()) {
    const CodePoint next = firstCodePoint(text);
    if (!next.valid || isControl(next.value) || isBidirectionalControl(next.value)) return false;
    text.remove_prefix(next.length);
  }
  return true;
}

// The same but for the ends of lines, LF or CR LF.
bool areLinesShown(std::string text) {
  for (std::size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at))
    text.erase(at, 1);
  std::erase(text, '\n');
  return isShown(text);
}

// Whether each `<` and `&` of a page is the writer's own.
bool isOwnMarkup(std::string_view page) {
  constexpr std::array<std::string_view, 9> kOwn{"<!DOCTYPE html>\n",
                                                 "<bdi>",
                                                 "</bdi>",
                                                 "<span class=\"code\">",
                                                 "<span class=\"more\">",
                                                 "</span>",
                                                 "<title lang=\"",
                                                 "\">",
                                                 "</title>"};
  constexpr std::array<std::string_view, 4> kEntities{"&amp;", "&lt;", "&gt;", "&quot;"};
  const auto beginsWithOneOf = [](std::string_view text, const auto& words) {
    return std::ranges::any_of(words, [text](auto word) { return text.starts_with(word); });
  };
  for (std::size_t at = page.find_first_of("<&"); at != std::string_view::npos;
       at = page.find_first_of("<&", at + 1)) {
    const std::string_view rest = page.substr(at);
    if (page[at] == '<' ? !beginsWithOneOf(rest, kOwn) : !beginsWithOneOf(rest, kEntities))
      return false;
  }
  return true;
}

void show(std::string_view text) {
  require(isShown(bvdiag::escaped(text)), "an escaped text is shown, not obeyed");
  require(areLinesShown(bvdiag::escapedLines(text)), "escaped lines are shown, not obeyed");
  require(isShown(bvdiag::valueText(copyOf(text))), "bytes are shown, not obeyed");
  const std::string json = bvdiag::jsonOf(Object(text));
  require(isShown(json) && host::parseJson(json).ok(), "JSON is shown, not obeyed");
  static_cast<void>(bvdiag::hexDump(copyOf(text)));

  const std::size_t columns = text.size() / 2;
  const std::string_view cut = bvdiag::fitting(text, columns);
  require(text.starts_with(cut) && bvdiag::columnsOf(cut) <= columns, "what is cut fits");

  bvdiag::HtmlWriter page;
  page.foreign(text, 40);
  page.foreignLines(text);
  page.label("title", {{"lang", std::string(text)}}, text);
  const std::string written = page.take();
  require(isOwnMarkup(written), "no text becomes markup");
}

}  // namespace

void run(std::string_view input) {
  const auto parts = partsOf(input);
  bvdiag::Mask mask(false);
  const Object hidden = mask.hide(Object(parts.front()));
  require(hidden.ifText()->size() == parts.front().size(), "a masked text has its length");
  for (const std::string_view text : parts) {
    show(text);
    const std::string cleaned = mask.cleanText(std::string(text));
    require(cleaned.size() == text.size(), "a masked text has its length");
    require(mask.cleanText(cleaned) == cleaned, "what is masked stays as it is");
  }
}

}  // namespace brisvane::fuzz
