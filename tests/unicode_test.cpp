#include "brisvane/types/unicode.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "brisvane/host/characters.h"

namespace brisvane {
namespace {

using Points = std::vector<std::pair<char32_t, std::size_t>>;

Points forward(std::string_view text) {
  Points points;
  while (!text.empty()) {
    const CodePoint point = firstCodePoint(text);
    points.emplace_back(point.value, point.length);
    text.remove_prefix(point.length);
  }
  return points;
}

Points backward(std::string_view text) {
  Points points;
  while (!text.empty()) {
    const CodePoint point = lastCodePoint(text);
    points.emplace_back(point.value, point.length);
    text.remove_suffix(point.length);
  }
  std::reverse(points.begin(), points.end());
  return points;
}

TEST(Utf8, EveryCodePointIsReadBackAsItWasWritten) {
  std::size_t wrong = 0;
  for (char32_t value = 0; value <= 0x10FFFF; ++value) {
    std::string text;
    appendUtf8(text, value);
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    const CodePoint point = firstCodePoint(text);
    if (!point.valid || point.length != text.size()) ++wrong;
    if (point.value != (surrogate ? kReplacementCharacter : value)) ++wrong;
  }
  EXPECT_EQ(wrong, 0U);
  std::string beyond;
  appendUtf8(beyond, 0x110000);
  EXPECT_EQ(beyond, "\uFFFD");
}

// Every text of five bytes out of those at which UTF-8's rules change.
TEST(Utf8, AnyBytesReadTheSameForwardsAndBackwardsAndOnlyTheShortestFormIsValid) {
  constexpr unsigned char kBytes[] = {0x41, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC2, 0xE0, 0xED, 0xF0, 0xF4, 0xFF};
  constexpr std::size_t kCount = std::size(kBytes);
  std::string text(5, '\0');
  for (std::size_t number = 0; number < kCount * kCount * kCount * kCount * kCount; ++number) {
    std::size_t rest = number;
    for (char& byte : text) byte = static_cast<char>(kBytes[std::exchange(rest, rest / kCount) % kCount]);
    const CodePoint first = firstCodePoint(text);
    std::string again;
    appendUtf8(again, first.value);
    ASSERT_TRUE(first.valid ? text.starts_with(again) : first.length == 1) << ::testing::PrintToString(text);
    ASSERT_EQ(forward(text), backward(text)) << ::testing::PrintToString(text);
  }
}

TEST(Utf8, EachByteThatDoesNotBelongCountsAsOneReplacementCharacter) {
  const std::pair<std::string_view, std::size_t> malformed[] = {
      {"\xC0\xAF", 2},          // overlong
      {"\xE0\x80\xAF", 3},      // overlong
      {"\xED\xA0\x80", 3},      // a surrogate
      {"\xF4\x90\x80\x80", 4},  // above U+10FFFF
      {"\xE2\x82", 2},          // cut short
      {"\xF0\x9F\x98", 3},      // cut short
      {"\x80", 1},
  };
  for (const auto& [bytes, count] : malformed) {
    const std::string text = "a" + std::string(bytes) + "b";
    std::string expected = "a";
    for (std::size_t i = 0; i < count; ++i) expected += "\uFFFD";
    expected += "b";
    EXPECT_FALSE(isUtf8(text)) << ::testing::PrintToString(text);
    EXPECT_EQ(toUtf8(text), expected);
    EXPECT_EQ(utf16Length(text), count + 2);
  }
  EXPECT_TRUE(isUtf8("a\u00E9\u20AC\U0001F600"));
  EXPECT_EQ(toUtf8("a\u00E9\u20AC\U0001F600"), "a\u00E9\u20AC\U0001F600");
  EXPECT_EQ(utf16Length("a\u00E9\u20AC\U0001F600"), 5U);  // the last takes a pair
  EXPECT_EQ(utf16Length("\U0010FFFF\uFFFF"), 3U);
  EXPECT_TRUE(isAscii("\x7F"));
  EXPECT_FALSE(isAscii("a\x80"));
}

TEST(Characters, AreCountedAsPeopleSeeThemUpToTheLimitExactly) {
  std::string marked = "e";
  for (int i = 0; i < 1000; ++i) marked += "\u0301";
  const std::pair<std::string, std::size_t> texts[] = {
      {"", 0},
      {"abc", 3},
      {"a\r\nb", 3},
      {"\n\r", 2},
      {"e\u0301\u0302x", 2},
      {marked, 1},
      {"\u1112\u1161\u11AB", 1},                                           // Hangul jamo
      {"\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466!", 2},  // a family
      {"\U0001F44D\U0001F3FD", 1},                                         // with a skin tone
      {"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7\U0001F1FA", 3},           // two flags and a half
      {"\xFF\x80", 2},
      {"\xE2\x82x", 3},
  };
  for (const auto& [text, count] : texts) {
    EXPECT_FALSE(host::hasMoreCharactersThan(text, count)) << text;
    EXPECT_TRUE(count == 0 || host::hasMoreCharactersThan(text, count - 1)) << text;
  }
  const std::string line(10'000, 'x');
  EXPECT_FALSE(host::hasMoreCharactersThan(line, 10'000));
  EXPECT_TRUE(host::hasMoreCharactersThan(line, 9'999));
  std::string umlauts;
  for (int i = 0; i < 10'000; ++i) umlauts += "u\u0308";
  EXPECT_FALSE(host::hasMoreCharactersThan(umlauts, 10'000));
  EXPECT_TRUE(host::hasMoreCharactersThan(umlauts, 9'999));
}

}  // namespace
}  // namespace brisvane
