#include "brisvane/types/unicode.h"

#include <gmock/gmock.h>

#include <utility>
#include <vector>

#include "brisvane/host/formats/characters.h"

namespace brisvane {
namespace {

TEST(Utf8, EveryCodePointIsReadBackAsItWasWritten) {
  std::size_t wrong = 0;
  for (char32_t value = 0; value <= 0x110000; ++value) {
    std::string text;
    appendUtf8(text, value);
    const bool scalar = (value < 0xD800 || value > 0xDFFF) && value <= 0x10FFFF;
    const CodePoint point = firstCodePoint(text);
    if (!point.valid || point.length != text.size()) ++wrong;
    if (point.value != (scalar ? value : kReplacementCharacter)) ++wrong;
  }
  EXPECT_EQ(wrong, 0U);
}

TEST(Characters, ThatSteerTheDirectionOfOthersAreTwelve) {
  std::vector<char32_t> found;
  for (char32_t value = 0; value < 0x110000; ++value) {
    if (isBidirectionalControl(value)) found.push_back(value);
  }
  EXPECT_THAT(found, ::testing::ElementsAre(0x61C, 0x200E, 0x200F, 0x202A, 0x202B, 0x202C, 0x202D,
                                            0x202E, 0x2066, 0x2067, 0x2068, 0x2069));
}

// Every text of five bytes out of those at which UTF-8's rules change.
TEST(Utf8, AnyBytesReadTheSameForwardsAndBackwardsAndOnlyTheShortestFormIsValid) {
  constexpr unsigned char kBytes[] = {0x41, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                      0xC2, 0xE0, 0xED, 0xF0, 0xF4, 0xFF};
  std::string text(5, '\0');
  for (std::size_t number = 0; number < 13U * 13 * 13 * 13 * 13; ++number) {
    std::size_t rest = number;
    for (char& byte : text) byte = static_cast<char>(kBytes[std::exchange(rest, rest / 13) % 13]);
    std::string forward;
    for (std::string_view left = text; !left.empty();) {
      const CodePoint point = firstCodePoint(left);
      std::string again;
      appendUtf8(again, point.value);
      ASSERT_TRUE(point.valid ? left.starts_with(again) : point.length == 1)
          << ::testing::PrintToString(text);
      forward += again;
      left.remove_prefix(point.length);
    }
    std::string backward;
    for (std::string_view left = text; !left.empty();
         left.remove_suffix(lastCodePoint(left).length)) {
      std::string again;
      appendUtf8(again, lastCodePoint(left).value);
      backward.insert(0, again);
    }
    ASSERT_EQ(forward, backward) << ::testing::PrintToString(text);
  }
}

TEST(Utf8, EachByteThatDoesNotBelongCountsAsOneReplacementCharacter) {
  // Overlong forms, a surrogate, a value above U+10FFFF, sequences cut short, a tail.
  for (const std::string bytes : {"\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                  "\xE2\x82", "\xF0\x9F\x98", "\x80"}) {
    std::string expected = "a";
    for (std::size_t i = 0; i < bytes.size(); ++i) expected += "\uFFFD";
    EXPECT_FALSE(isUtf8("a" + bytes + "b")) << ::testing::PrintToString(bytes);
    EXPECT_EQ(toUtf8("a" + bytes + "b"), expected + "b");
    EXPECT_EQ(utf16Length("a" + bytes + "b"), bytes.size() + 2);
  }
  const std::string valid = "a\u00E9\u20AC\U0001F600";
  EXPECT_TRUE(isUtf8(valid));
  EXPECT_EQ(toUtf8(valid), valid);
  EXPECT_EQ(utf16Length(valid), 5U);  // the last takes a pair
  EXPECT_EQ(utf16Length("\U0010FFFF\uFFFF"), 3U);
}

std::string repeated(std::string_view text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

TEST(Characters, AreCountedAsPeopleSeeThem) {
  const auto count = [](const std::string& text) { return host::characterCount(text, 100'000); };
  EXPECT_EQ(count(""), 0U);
  EXPECT_EQ(count("\r\na\r\r\n\n\r"), 6U);
  EXPECT_EQ(count("a\n\u0301"), 3U);
  EXPECT_EQ(count("\U0001F600\U0001F600"), 2U);  // neighbours, not joined
  EXPECT_EQ(count("\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7\U0001F1E9"), 3U);
  EXPECT_EQ(count("\U0001F600\u200D\u200D\U0001F600"), 2U);
  // CR LF, marks, jamo, a family, skin tones, flags: one character each, however long.
  for (const std::string& one :
       {std::string("\r\n"), "e" + repeated("\u0301", 50'000), std::string("\u1112\u1161\u11AB"),
        std::string("\U0001F468\u200D\U0001F469\u200D\U0001F467"),
        std::string("\U0001F44D\U0001F3FD"), "\U0001F44D" + repeated("\U0001F3FD\uFE0F", 50'000),
        repeated("\U0001F44D\uFE0F\u200D", 50'000), std::string("\U0001F1E9\U0001F1EA"),
        "\U0001F1E9\U0001F1EA" + repeated("\uFE0F", 50'000), std::string("\U0001F1E9\u200D")}) {
    EXPECT_EQ(count(one), 1U) << one.substr(0, 20);
    EXPECT_EQ(count("a" + one + "\xE2\x82" + one), 5U) << one.substr(0, 20);
  }
}

TEST(Characters, AreCountedUpToTheLimitExactly) {
  for (const std::string& text : {repeated("x", 10'000), repeated("\u00E9\r\n", 5'000)}) {
    EXPECT_EQ(host::characterCount(text, 10'000), 10'000U);
    EXPECT_GT(host::characterCount(text, 9'999), 9'999U);
  }
}

}  // namespace
}  // namespace brisvane
