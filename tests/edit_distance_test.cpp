#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "brisvane/support/Brisvane.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

TEST(LevenshteinDistance, CountsTheCodeUnitsToInsertDeleteAndReplace) {
  struct Case {
    Text first;
    Text second;
    std::int64_t distance;
  };
  const Case cases[] = {
      {"flaw", "lawn", 2},
      {"kitten", "sitting", 3},
      {"ab", "ba", 2},  // no transposition
      {"Adapter", "adapter", 1},
      {"same", "same", 0},
      {"", "four", 4},
      {nullptr, "four", 4},
      {"four", nullptr, 4},
      {nullptr, "", 0},
      {"é", "e", 1},
      {"e\u0301", "é", 2},  // as they are, not normalised
      {"😀", "", 2},         // a surrogate pair
      {"😀", "😁", 1},        // which shares its first unit
      {"😀a", "b😀", 2},
      {"a\xFF", "a\uFFFD", 0},
      {"a\xE2\x82", "a\uFFFD", 1},
  };
  for (const Case& one : cases) {
    const auto hint = [&one] {
      return std::string(one.first.orEmpty()) + ", " + std::string(one.second.orEmpty());
    };
    EXPECT_EQ(Brisvane::levenshteinDistanceBetween(one.first, one.second), one.distance) << hint();
    EXPECT_EQ(Brisvane::levenshteinDistanceBetween(one.second, one.first), one.distance) << hint();
  }
}

TEST(LevenshteinDistance, TakesALongFirstText) {
  const std::string longText(1'000'000, 'x');
  EXPECT_EQ(Brisvane::levenshteinDistanceBetween(longText, "axbx"), 999'998);
}

// The definition, a cell at a time.
std::int64_t plainDistance(std::string_view first, std::string_view second) {
  const std::u16string columns = toUtf16(second);
  std::vector<std::int64_t> row(columns.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (const char16_t unit : toUtf16(first)) {
    std::int64_t diagonal = row[0]++;
    for (std::size_t j = 0; j < columns.size(); ++j) {
      const std::int64_t replaced = diagonal + (unit == columns[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

// Texts of few and of many different characters, unrelated, with a few edits, and with a part moved
// to the other end, which no narrow band holds.
TEST(LevenshteinDistance, IsTheDefinitionsForTextsOfEveryKind) {
  std::mt19937 random(1);
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  const std::vector<std::string> small = {"a", "b", "c"};
  const std::vector<std::string> large = {"a",      "b",          "\u00E9",     "\u20AC", "\u4E2D",
                                          "\u4E2E", "\U0001F600", "\U0001F601", "\xFF",   "z"};
  const auto textOf = [&](const std::vector<std::string>& alphabet, std::size_t length) {
    std::string text;
    while (length-- != 0) text += alphabet[below(alphabet.size())];
    return text;
  };
  const std::size_t longest[] = {3, 70, 140, 300, 1200};
  for (int i = 0; i < 600; ++i) {
    const std::size_t limit = longest[static_cast<std::size_t>(i) / 2 % (i < 500 ? 4 : 5)];
    const auto& alphabet = i % 2 == 0 ? small : large;
    const std::string first = textOf(alphabet, below(limit + 1));
    std::string second = first;
    if (i % 3 == 0) {
      second = textOf(alphabet, below(limit + 1));
    } else if (i % 3 == 1) {
      const std::size_t edits = below(first.size() / 8 + 2);
      for (std::size_t edit = 0; edit < edits; ++edit) {
        second.replace(below(second.size() + 1), below(3), textOf(alphabet, below(3)));
      }
    } else if (!second.empty()) {
      std::rotate(second.begin(),
                  second.begin() + static_cast<std::ptrdiff_t>(below(second.size())), second.end());
    }
    ASSERT_EQ(Brisvane::levenshteinDistanceBetween(first, second), plainDistance(first, second))
        << first << '\n'
        << second;
  }
}

}  // namespace
}  // namespace brisvane
