#include "brisvane/host/pattern.h"

#include <gmock/gmock.h>

#include <chrono>
#include <string>

namespace brisvane::host {
namespace {

using std::chrono::steady_clock;

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

double secondsFor(std::string_view pattern, std::string_view text) {
  const auto start = steady_clock::now();
  EXPECT_EQ(found(pattern, text), std::nullopt);
  return std::chrono::duration<double>(steady_clock::now() - start).count();
}

TEST(Pattern, FindsTheFirstMatchWithItsGroupsWhateverTheCase) {
  EXPECT_EQ(found("fw (\\d+)\\.(\\d+)(-rc)?", "FW 1.20, FW 3.4\r\n"), "FW 1.20|1|20|");
  EXPECT_EQ(found("\u00E4", "\u00C4"), "\u00C4");
  EXPECT_EQ(found("b*", "abb"), "");
  EXPECT_EQ(found("", ""), "");
  EXPECT_EQ(found("^$", std::string_view()), "");
  EXPECT_EQ(found("x", "abc"), std::nullopt);
  EXPECT_EQ(found("a\\x00b", std::string_view("xa\0b", 4)), std::string("a\0b", 3));
  const auto emptyAtTheEnd = Pattern::compile("$")->firstMatch("abc");
  ASSERT_TRUE(emptyAtTheEnd);
  EXPECT_EQ(emptyAtTheEnd->front().begin, 3U);
}

TEST(Pattern, TreatsTheCrLfOfASerialReplyAsOneLineEnd) {
  EXPECT_EQ(found("^OK$", "ok\r\n"), "ok");
  EXPECT_EQ(found("OK.*", "OK then\r\nmore"), "OK then");
  EXPECT_EQ(found("(?m)^more$", "OK\r\nmore\rrest"), "more");
  EXPECT_EQ(found("(?m)^$", "\r\n"), "");
  EXPECT_EQ(found("^OK$", "OK\r\n\r\n"), std::nullopt);
}

TEST(Pattern, KnowsCodePointEscapesAndLeavesQuotedTextAlone) {
  EXPECT_EQ(found("a\\u2192b", "a\u2192b"), "a\u2192b");
  EXPECT_EQ(found("a\\x{2192}b", "a\u2192b"), "a\u2192b");
  EXPECT_EQ(found("[\\u00e4\\u00F6]+", "\u00C4\u00F6"), "\u00C4\u00F6");
  EXPECT_EQ(found("\\\\u0041", "x\\u0041"), "\\u0041");  // a backslash and a plain text
  EXPECT_EQ(found("\\Q\\u0041\\E", "A \\u0041"), "\\u0041");
  EXPECT_EQ(found("\\Qa\\\\E\\u0041", "a\\A"), "a\\A");
  EXPECT_EQ(found("\\Q.\\E\\u0041", ".A"), ".A");
  EXPECT_EQ(found("\\Q\\Q\\E.", "\\Qx"), "\\Qx");
  for (const char* const wrong :
       {"(", "[a", "a{2,1}", "*", "\\C", "a\\Cb", "\\u12", "\\uD800", "\xFF", "(?<n>a)(?<n>b)"}) {
    EXPECT_FALSE(Pattern::compile(wrong)) << wrong;
  }
}

TEST(Pattern, TextThatIsNotUtf8MatchesNothing) {
  EXPECT_EQ(found("ok", "ok\xFF"), std::nullopt);
  EXPECT_EQ(found("ok", "\xE2\x82 ok"), std::nullopt);
  EXPECT_EQ(found(".*", "\xED\xA0\x80"), std::nullopt);
}

TEST(Pattern, ASearchThatWouldNotEndIsGivenUp) {
  constexpr double kGenerous = 3;  // seconds; unbounded, each of these takes far longer
  const std::string million(1'000'000, 'a');
  EXPECT_LT(secondsFor(".*ok", million), kGenerous);
  EXPECT_LT(secondsFor("(a+)+$", std::string(40, 'a') + "!"), kGenerous);
  EXPECT_LT(secondsFor("(a+)+$", million + "!"), kGenerous);
  EXPECT_LT(secondsFor("(?:a|b)*?c", million), kGenerous);
  EXPECT_LT(secondsFor("(a|aa)+$", std::string(5'000, 'a') + "!"), kGenerous);
  EXPECT_LT(secondsFor("(?=(a+))a*b\\1", million), kGenerous);
  EXPECT_EQ(found("OK$", million + "OK"), "OK");  // long, but nothing runs away
}

// A long text is searched piece by piece; no pattern may tell where the pieces meet.
TEST(Pattern, FindsTheSameAtAnyPositionOfALongText) {
  const auto needle = Pattern::compile("needle");
  const auto behind = Pattern::compile("(?<=\u00E9{3})needle");
  const auto bounded = Pattern::compile("(?<!\u00E9)needle");
  const auto line = Pattern::compile("(?m)^needle$");
  const auto start = Pattern::compile("^needle");
  const auto searchStart = Pattern::compile("\\Gneedle");
  std::string ahead;
  for (int i = 1; ahead.size() < 10'000; ++i) {
    ahead += "\u00E9";
    if (i > 40 && i % 61 != 0) continue;
    const std::string text = ahead + "needle";
    const auto match = needle->firstMatch(text);
    ASSERT_TRUE(match) << i;
    EXPECT_EQ(match->front().begin, ahead.size());
    const auto lineMatch = line->firstMatch(ahead + "\r\nneedle\r\n");
    ASSERT_TRUE(lineMatch) << i;
    EXPECT_EQ(lineMatch->front().begin, ahead.size() + 2);
    EXPECT_EQ(behind->firstMatch(text).has_value(), i >= 3) << i;
    EXPECT_FALSE(bounded->firstMatch(text)) << i;
    EXPECT_FALSE(line->firstMatch(text)) << i;
    EXPECT_FALSE(start->firstMatch(text)) << i;
    EXPECT_FALSE(searchStart->firstMatch(text)) << i;
  }
  EXPECT_TRUE(start->firstMatch("needle" + ahead));
  EXPECT_TRUE(searchStart->firstMatch("needle" + ahead));
}

}  // namespace
}  // namespace brisvane::host
