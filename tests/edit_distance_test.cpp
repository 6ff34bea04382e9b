#include <gtest/gtest.h>

#include "brisvane/support/Brisvane.h"

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
    const auto hint = [&one] { return std::string(one.first.orEmpty()) + ", " + std::string(one.second.orEmpty()); };
    EXPECT_EQ(Brisvane::levenshteinDistanceBetween(one.first, one.second), one.distance) << hint();
    EXPECT_EQ(Brisvane::levenshteinDistanceBetween(one.second, one.first), one.distance) << hint();
  }
}

TEST(LevenshteinDistance, TakesALongFirstText) {
  const std::string longText(1'000'000, 'x');
  EXPECT_EQ(Brisvane::levenshteinDistanceBetween(longText, "axbx"), 999'998);
}

}  // namespace
}  // namespace brisvane
