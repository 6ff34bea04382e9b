#include "brisvane/support/strings.h"

#include <gmock/gmock.h>

namespace brisvane {
namespace {

using Additions::stringByTrimmingWhitespace;
using Additions::stringWithPrefix;

TEST(Strings, TrimmingTakesTheWhitespaceSetOffBothEndsAndNothingElse) {
  std::string every;
  for (const std::string blank :
       {"\t", " ", "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005",
        "\u2006", "\u2007", "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000"}) {
    EXPECT_EQ(stringByTrimmingWhitespace(blank + "a" + blank + "b" + blank), "a" + blank + "b");
    every += blank;
  }
  EXPECT_EQ(stringByTrimmingWhitespace(every), "");
  EXPECT_EQ(stringByTrimmingWhitespace(every + "x" + every), "x");
  EXPECT_EQ(stringByTrimmingWhitespace(nullptr), "");

  // Line ends, and what only looks like a blank or like a part of one.
  for (const std::string kept :
       {"\n", "\r", "\v", "\f", "\u0085", "\u180E", "\u200B", "\u2028", "\u2029", "\u2060",
        "\uFEFF", "\xA0", "\x80", "\xE2\x80", "\xC2"}) {
    EXPECT_EQ(stringByTrimmingWhitespace(" " + kept + "a" + kept + " "), kept + "a" + kept) << kept;
  }
  EXPECT_EQ(stringByTrimmingWhitespace(" OK \r\n"), "OK \r\n");
  EXPECT_EQ(stringByTrimmingWhitespace("\n OK\r\n \t"), "\n OK\r\n");
}

TEST(Strings, OnlyTextWithoutLengthIsEmptyAndOnlyThatTakesNoPrefix) {
  EXPECT_TRUE(BV::isEmptyOrNull(nullptr));
  EXPECT_TRUE(BV::isEmptyOrNull(""));
  EXPECT_FALSE(BV::isEmptyOrNull(" "));
  EXPECT_FALSE(BV::isEmptyOrNull(std::string_view("\0", 1)));
  EXPECT_EQ(stringWithPrefix("abc", "ab"), "ababc");
  EXPECT_EQ(stringWithPrefix("abc", nullptr), "abc");
  EXPECT_EQ(stringWithPrefix("", "ab"), "");
  EXPECT_EQ(stringWithPrefix(nullptr, "ab"), "");
}

}  // namespace
}  // namespace brisvane
