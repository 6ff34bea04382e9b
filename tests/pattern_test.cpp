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
  for (const auto& [pattern, text] :
       {std::pair(".*ok", million), std::pair("(a+)+$", std::string(40, 'a') + "!"), std::pair("(a+)+$", million + "!"),
        std::pair("(?=(a+))a*b\\1", million), std::pair("(?:\\Gq|a)(a+)b?(a+)b?\\1[^a]", std::string(1000, 'a')),
        std::pair("(*NO_JIT)(a+)+b", std::string(40, 'a') + "cb")}) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(found(pattern, text), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3)) << pattern;
  }
  EXPECT_EQ(found("OK$", million + "OK"), "OK");  // long, but nothing runs away
}

TEST(Pattern, IsSearchedInOnePieceHoweverLongTheText) {
  const std::string ahead(100'000, '\n');
  EXPECT_EQ(found("\\Gneedle", ahead + "needle"), std::nullopt);
  EXPECT_EQ(found("a(*COMMIT)b", "ac" + ahead + "ab"), std::nullopt);
  EXPECT_EQ(found("(?<=\u00E9)needle", ahead + "needle\u00E9needle"), "needle");
  EXPECT_EQ(found("(?m)^$", "a line of fifteen\r\nOK\r\n"), std::nullopt);  // never between CR and LF
  // Deeper than the stack of the compiled code: the heap serves.
  EXPECT_EQ(found("^(?:a|b)*OK", std::string(100'000, 'a') + "OK"), std::string(100'000, 'a') + "OK");
}

}  // namespace
}  // namespace brisvane::host
