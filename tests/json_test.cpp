#include "brisvane/host/json.h"

#include <gmock/gmock.h>

#include <limits>

namespace brisvane::host {
namespace {

using ::testing::HasSubstr;

constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();

std::string nested(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

std::string errorOf(std::string_view text) {
  std::string error;
  EXPECT_EQ(parseJson(text, &error), std::nullopt) << text;
  return error;
}

TEST(Json, IsReadStrictlyAndSaysWhereItIsWrong) {
  for (const char* const wrong :
       {"", " ", "nul", "True", "01", "+1", "1.", ".5", "NaN", "1e999", "[1] 2", "[1", "[1,]"}) {
    EXPECT_NE(errorOf(wrong), "") << wrong;
  }
  for (const char* const wrong :
       {"{a:1}", "{'a':1}", "{\"a\":1,}", "// c\n1", "\"a", "\"\\x\"", "\"a\nb\"", "\"\xFF\""}) {
    EXPECT_NE(errorOf(wrong), "") << wrong;
  }
  EXPECT_THAT(errorOf("{\n  \"a\": x}"), HasSubstr("line 2, column 8"));
  EXPECT_NE(errorOf(std::string_view("1\0", 2)), "");
  EXPECT_NE(errorOf("\xEF\xBB\xBF{}"), "");
  EXPECT_TRUE(parseJson(nested(kJsonDepthLimit)));
  EXPECT_THAT(errorOf(nested(kJsonDepthLimit + 1)), HasSubstr("512"));

  EXPECT_EQ(parseJson("18446744073709551615"), Object(kMost));
  EXPECT_EQ(parseJson("-9223372036854775808"), Object(kLeast));
  EXPECT_EQ(parseJson("18446744073709551616"), Object(18446744073709551616.0));
  EXPECT_EQ(parseJson("1.0"), Object(1.0));
  EXPECT_EQ(parseJson("\"\\u00e4\\ud83d\\ude00\\u0000\\/\""), Object(std::string("\u00E4\U0001F600\0/", 8)));
  EXPECT_EQ(parseJson(" {\"k\": 1, \"\": [true, null, {}], \"k\": [2]} "),
            Object(Dictionary{{"k", Array{2}}, {"", Array{true, nullptr, Dictionary{}}}}));
}

TEST(Json, TellsTheLineOfAValueByItsPlace) {
  constexpr char kText[] =
      "{\"a\":\n1,\n\"b\": [10\n, \"t\\n\",\n[true\n]\n, {\"c\":\nnull}],\"d.e\":\n\n{\"f\":0}, \"bb\": {\"c\": 1}}";
  const std::pair<const char*, std::size_t> lines[] = {
      {"", 1},        {"a", 1},       {"b", 3},      {"b[0]", 3}, {"b[1]", 4},   {"b[2]", 5},
      {"b[2][0]", 5}, {"b[3]", 7},    {"b[3].c", 7}, {"d.e", 8},  {"d.e.f", 10}, {"b[3].missing", 7},
      {"b[9]", 3},    {"missing", 1}, {"bb.c", 10}};
  for (const auto& [place, line] : lines) EXPECT_EQ(jsonLine(kText, place), line) << place;
}

TEST(Json, IsWrittenTheSameEachTimeAndReadsBackAsItWas) {
  const Date date{std::chrono::milliseconds(1500)};
  const Dictionary value{{"b", Data{0x0A, 0xFF}}, {"a\n", "x\xFFy\"\u00E4"}, {"B", date}, {"\xFF", nullptr}};
  EXPECT_EQ(jsonText(value), "{\"B\":1.5,\"a\\n\":\"x\uFFFDy\\\"\u00E4\",\"b\":\"0AFF\",\"\uFFFD\":null}");
  const Object round(Array{kMost, kLeast, 1, 1.0, 0.1, 1e300, std::string("\0\x1F", 2), true, nullptr, Dictionary{}});
  EXPECT_EQ(parseJson(jsonText(round)), round);
  EXPECT_EQ(jsonText(std::numeric_limits<double>::infinity()), "null");
  Object deep;
  for (int i = 0; i < 100'000; ++i) deep = Array{deep};
  EXPECT_TRUE(parseJson(jsonText(deep)));  // cut off where reading would be
}

}  // namespace
}  // namespace brisvane::host
