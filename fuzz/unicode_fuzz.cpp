// UTF-8 and UTF-16, user-perceived characters, excerpts for messages, and edit distances.
#include "brisvane/types/unicode.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "brisvane/host/formats/characters.h"
#include "brisvane/process/edit_distance.h"
#include "brisvane/types/excerpt.h"
#include "fuzz/support/fuzzing.h"

namespace brisvane::fuzz {
namespace {

// Table 3-7 of the Unicode Standard: the length of the well-formed sequence at the beginning; 0 for
// none.
std::size_t wellFormedLength(std::string_view text) {
  const auto in = [text](std::size_t at, unsigned low, unsigned high) {
    const unsigned byte = at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
    return byte >= low && byte <= high && at < text.size();
  };
  const auto tail = [&in](std::size_t at) { return in(at, 0x80, 0xBF); };
  if (in(0, 0x00, 0x7F)) return 1;
  if (in(0, 0xC2, 0xDF) && tail(1)) return 2;
  const bool three = (in(0, 0xE0, 0xE0) && in(1, 0xA0, 0xBF)) || (in(0, 0xE1, 0xEC) && tail(1)) ||
                     (in(0, 0xED, 0xED) && in(1, 0x80, 0x9F)) || (in(0, 0xEE, 0xEF) && tail(1));
  if (three && tail(2)) return 3;
  const bool four = (in(0, 0xF0, 0xF0) && in(1, 0x90, 0xBF)) || (in(0, 0xF1, 0xF3) && tail(1)) ||
                    (in(0, 0xF4, 0xF4) && in(1, 0x80, 0x8F));
  return four && tail(2) && tail(3) ? 4 : 0;
}

void decode(std::string_view text) {
  bool isValid = true;
  std::size_t units = 0;
  std::string repaired;
  for (std::string_view rest = text; !rest.empty();) {
    const CodePoint first = firstCodePoint(rest);
    const std::size_t length = wellFormedLength(rest);
    require(first.valid == (length != 0), "a character is valid when it is well-formed");
    require(first.length == std::max<std::size_t>(length, 1), "a character has its bytes");
    require(lastCodePoint(rest.substr(0, first.length)).value == first.value,
            "a character is the same from either end");
    isValid &= first.valid;
    units += first.value > 0xFFFF ? 2 : 1;
    appendUtf8(repaired, first.value);
    rest.remove_prefix(first.length);
  }
  require(isUtf8(text) == isValid, "a text is UTF-8 when each character is");
  require(toUtf8(text) == repaired, "what is not UTF-8 becomes U+FFFD");
  require(utf16Length(text) == units, "a text has as many units as its characters");
  require(toUtf16(text).size() == units, "a text has as many units as its characters");
}

// Row by row, as the textbooks have it.
std::uint64_t plainDistance(std::u16string_view first, std::u16string_view second) {
  std::vector<std::uint64_t> row(second.size() + 1);
  std::iota(row.begin(), row.end(), std::uint64_t{0});
  for (std::size_t i = 0; i < first.size(); ++i) {
    std::uint64_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < second.size(); ++j) {
      const std::uint64_t replaced = diagonal + (first[i] == second[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

}  // namespace

void run(std::string_view input) {
  decode(input);

  constexpr std::size_t kNoLimit = SIZE_MAX;
  const std::size_t characters = host::characterCount(input, kNoLimit);
  std::size_t ofLines = 0;
  for (std::string_view rest = input; !rest.empty();) {
    const std::size_t line = std::min(rest.find('\n'), rest.size() - 1) + 1;
    ofLines += host::characterCount(rest.substr(0, line), kNoLimit);
    rest.remove_prefix(line);
  }
  require(characters == ofLines, "a text has the characters of its lines");
  require((host::characterCount(input, 3) > 3) == (characters > 3),
          "a count says whether a text is longer than a limit");

  const std::string shown = excerpt(input);
  require(shown.size() <= kLongestExcerpt && isUtf8(shown), "an excerpt is a short text");
  for (std::string_view rest = shown; !rest.empty();) {
    const CodePoint next = firstCodePoint(rest);
    require(!isControl(next.value) && !isBidirectionalControl(next.value),
            "an excerpt is printable");
    rest.remove_prefix(next.length);
  }

  const auto [first, second] = firstLineAndRest(input);
  require(editDistance(first, second) == plainDistance(toUtf16(first), toUtf16(second)),
          "an edit distance is that of the textbooks");
}

}  // namespace brisvane::fuzz
