#include "brisvane/host/pattern.h"

#include <gmock/gmock.h>

#include <chrono>
#include <string>

namespace brisvane::host {
namespace {

// The first match and its groups, joined by '|'; nullopt for none.
std::optional<std::string> found(std::string_view pattern, std::string_view text) {
  const auto compiled = Pattern::compile(pattern);
  EXPECT_TRUE(compiled) << pattern;
  const auto match = compiled ? compiled->firstMatch(text) : std::nullopt;
  if (!match) return std::nullopt;
  std::string all(match->front().of(text));
  for (std::size_t group = 1; group < match->size(); ++group) all.append("|").append((*match)[group].of(text));
  return all;
}

TEST(Pattern, FindsTheFirstMatchWithItsGroupsWhateverTheCase) {
  EXPECT_EQ(found("fw (\\d+)\\.(\\d+)(-rc)?", "FW 1.20, FW 3.4\r\n"), "FW 1.20|1|20|");
  EXPECT_EQ(found("\u00E4", "\u00C4"), "\u00C4");
  EXPECT_EQ(found("b*", "abb"), "");
  EXPECT_EQ(found("^$", std::string_view()), "");
  EXPECT_EQ(found("x", "abc"), std::nullopt);
  EXPECT_EQ(found("a\\x00b", std::string_view("xa\0b", 4)), std::string("a\0b", 3));
  EXPECT_EQ(Pattern::compile("$")->firstMatch("abc")->front().begin, 3U);
  EXPECT_EQ(found("ok", "ok\xFF"), std::nullopt);  // not UTF-8

  // The line ends of a serial reply.
  EXPECT_EQ(found("^OK$", "ok\r\n"), "ok");
  EXPECT_EQ(found("OK.*", "OK then\r\nmore"), "OK then");
  EXPECT_EQ(found("(?m)^more$", "OK\r\nmore\rrest"), "more");
  EXPECT_EQ(found("^OK$", "OK\r\n\r\n"), std::nullopt);
}

TEST(Pattern, KnowsCodePointEscapesAndLeavesQuotedTextAlone) {
  EXPECT_EQ(found("a\\u2192b", "a\u2192b"), "a\u2192b");
  EXPECT_EQ(found("a\\x{2192}b", "a\u2192b"), "a\u2192b");
  EXPECT_EQ(found("[\\u00e4\\u00F6]+", "\u00C4\u00F6"), "\u00C4\u00F6");
  EXPECT_EQ(found("\\\\u0041", "A\\u0041"), "\\u0041");  // a backslash and a plain text
  EXPECT_EQ(found("\\Q\\u0041\\E", "A\\u0041"), "\\u0041");
  EXPECT_EQ(found("\\Qa\\\\E\\u0041", "a\\A"), "a\\A");
  EXPECT_EQ(found("\\Q\\Q.\\E.", "\\Q.x"), "\\Q.x");
  for (const char* const wrong : {"(", "[a", "a{2,1}", "*", "\\C", "a\\Cb", "\\u12", "\\uD800", "\xFF"}) {
    EXPECT_FALSE(Pattern::compile(wrong)) << wrong;
  }
}

TEST(Pattern, ASearchThatWouldNotEndIsGivenUp) {
  const std::string million(1'000'000, 'a');
  for (const auto& [pattern, text] : {std::pair(".*ok", million), std::pair("(a+)+$", std::string(40, 'a') + "!"),
                                      std::pair("(a+)+$", million + "!"), std::pair("(?=(a+))a*b\\1", million)}) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(found(pattern, text), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3)) << pattern;
  }
  EXPECT_EQ(found("OK$", million + "OK"), "OK");  // long, but nothing runs away
}

TEST(Pattern, FindsTheSameAtAnyPositionOfALongText) {
  const auto needle = Pattern::compile("(?<=\u00E9)needle");
  const auto line = Pattern::compile("(?m)^needle$");
  const auto start = Pattern::compile("^needle");
  const auto searchStart = Pattern::compile("\\Gneedle");
  const auto bounded = Pattern::compile("(?<!\u00E9)needle");
  std::string ahead;
  for (int i = 1; ahead.size() < 10'000; ++i) {
    ahead += "\u00E9";
    if (i > 40 && i % 61 != 0) continue;
    const auto match = needle->firstMatch(ahead + "needle");
    ASSERT_TRUE(match) << i;
    EXPECT_EQ(match->front().begin, ahead.size());
    const auto lineMatch = line->firstMatch(ahead + "\r\nneedle\r\n");
    ASSERT_TRUE(lineMatch) << i;
    EXPECT_EQ(lineMatch->front().begin, ahead.size() + 2);
    for (const auto& elsewhere : {line, start, searchStart, bounded}) {
      EXPECT_FALSE(elsewhere->firstMatch(ahead + "needle")) << i;
    }
  }
  EXPECT_TRUE(searchStart->firstMatch("needle" + ahead));
}

}  // namespace
}  // namespace brisvane::host
