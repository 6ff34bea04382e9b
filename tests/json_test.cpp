#include "brisvane/host/formats/json.h"

#include <gmock/gmock.h>

#include <bit>
#include <chrono>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

#include "brisvane/types/hex.h"
#include "brisvane/types/unicode.h"

namespace brisvane::host {
namespace {

using ::testing::HasSubstr;

constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();

std::string nested(std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

std::string errorOf(std::string_view text) {
  const auto parsed = parseJson(text);
  EXPECT_FALSE(parsed.ok()) << text;
  return parsed.ok() ? "" : parsed.error().reason();
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
  EXPECT_TRUE(parseJson(nested(kJsonDepthLimit)).ok());
  EXPECT_THAT(errorOf(nested(kJsonDepthLimit + 1)), HasSubstr("512"));

  EXPECT_EQ(parseJson("18446744073709551615").optional(), Object(kMost));
  EXPECT_EQ(parseJson("-9223372036854775808").optional(), Object(kLeast));
  EXPECT_EQ(parseJson("18446744073709551616").optional(), Object(18446744073709551616.0));
  EXPECT_EQ(parseJson("1.0").optional(), Object(1.0));
  EXPECT_EQ(parseJson("\"\\u00e4\\ud83d\\ude00\\u0000\\/\"").optional(),
            Object(std::string("\u00E4\U0001F600\0/", 8)));
  EXPECT_EQ(parseJson(" {\"k\": 1, \"\": [true, null, {}], \"k\": [2]} ").optional(),
            Object(Dictionary{{"k", Array{2}}, {"", Array{true, nullptr, Dictionary{}}}}));
}

TEST(Json, MayHaveAKeyOnceAlone) {
  const auto error = [](std::string_view text) {
    const auto value = parseJson(text, RepeatedKeys::kRefused);
    return value.ok() ? "" : value.error().text();
  };
  EXPECT_EQ(error(R"({"k": {"k": 1}, "K": [{"k": 1}, {"k": 2}], "": {}})"), "");
  EXPECT_EQ(error("{\"a\": [1, {\"b\":\n2, \"\\u0062\"\n: 3}]}"), "line 2: a[1].b: is there twice");
  EXPECT_EQ(error("{\"\": 1, \"\": 1}"), "line 1: is there twice");
  EXPECT_THAT(error("{\"a\": 1, \"a\": x}"), HasSubstr("line 1: a: is there twice"));
}

TEST(Json, AnErrorShowsLittleOfTheInputAndOnlyWhatIsPrintable) {
  const std::string much(1 << 20, 'a');
  const std::string wrong[] = {"\"begin" + much + "\xC3\xFF\u009b\u202e\x7f\"",
                               "1e9" + std::string(1 << 20, '9'), "[tru\u009b" + much + "]",
                               "\"begin" + std::string(1 << 20, '\xFF')};
  for (const std::string& text : wrong) {
    const std::string error = errorOf(text);
    EXPECT_LT(error.size(), 400U);
    EXPECT_TRUE(isUtf8(error));
    for (std::string_view rest = error; !rest.empty();
         rest.remove_prefix(firstCodePoint(rest).length)) {
      const char32_t shown = firstCodePoint(rest).value;
      EXPECT_FALSE(isControl(shown) || isBidirectionalControl(shown)) << error;
    }
  }
  EXPECT_THAT(errorOf(wrong[0]),
              ::testing::AllOf(HasSubstr("'\"begina"), HasSubstr("aaa<0xC3><0xFF>'")));
  EXPECT_THAT(errorOf("\"\u00e9\u009b\u202e\x7f"), HasSubstr("'\"\u00e9<U+009B><U+202E><U+007F>'"));
}

TEST(Json, TellsTheLineOfAValueByItsPlace) {
  constexpr char kText[] =
      "{\"a\":\n1,\n\"b\": [10\n, \"t\\n\",\n[true\n]\n, {\"c\":\nnull}],\"d.e\":\n\n{\"f\":0}, "
      "\"bb\": {\"c\": 1}}";
  const std::pair<const char*, std::size_t> lines[] = {
      {"", 1},       {"a", 1},       {"b", 3},       {"b[0]", 3},
      {"b[1]", 4},   {"b[2]", 5},    {"b[2][0]", 5}, {"b[3]", 7},
      {"b[3].c", 7}, {"d.e", 8},     {"d.e.f", 10},  {"b[3].missing", 7},
      {"b[9]", 3},   {"missing", 1}, {"bb.c", 10}};
  for (const auto& [place, line] : lines) EXPECT_EQ(jsonLine(kText, place), line) << place;

  // A name and a number of members whose product would take minutes.
  const std::string name(8 << 20, 'n');
  std::string text = "{\"" + name + "\":{";
  for (int i = 0; i < 1'000'000; ++i) text += "\"m\":0,";
  EXPECT_EQ(jsonLine(text + "\n\"last\":1}}", name + ".last"), 2U);
  EXPECT_EQ(jsonLine(text + "\n\"last\":1}}", name + ".none"), 1U);
}

nlohmann::json reference(const Object& value) {
  if (const auto flag = value.boolean()) return *flag;
  if (const auto number = value.integer()) return *number;
  if (const auto number = value.unsignedInteger()) return *number;
  if (const auto number = value.real()) return *number;
  if (const std::string* const text = value.ifText()) return toUtf8(*text);
  if (const Data* const data = value.ifData()) {
    std::string digits;
    for (const std::uint8_t byte : *data) appendHex(digits, byte);
    return digits;
  }
  if (const auto date = value.date())
    return std::chrono::duration<double>(date->time_since_epoch()).count();
  nlohmann::json container;
  if (const Array* const array = value.ifArray()) {
    container = nlohmann::json::array();
    for (const Object& element : *array) container.push_back(reference(element));
  } else if (const Dictionary* const dictionary = value.ifDictionary()) {
    container = nlohmann::json::object();
    for (const auto& [key, element] : *dictionary) container[toUtf8(key)] = reference(element);
  }
  return container;
}

TEST(Json, IsWrittenAsAnotherWriterWritesIt) {
  std::string every;
  for (char32_t character = 0; character < 0x3000; ++character) appendUtf8(every, character);
  Array values{nullptr,
               true,
               false,
               0,
               -1,
               kMost,
               kLeast,
               every,
               "\xFF\xC3(\xED\xA0\x80\xF0\x9F",
               "\U0001F600",
               "",
               Data{},
               Data{0, 0xAF},
               Date{std::chrono::milliseconds(-1500)},
               Array{},
               Dictionary{},
               Array{Array{}, Array{1, 2}},
               Dictionary{{"b", Array{Dictionary{{"", 1}}}},
                          {"a\n\"", Dictionary{}},
                          {"\xFF", 1},
                          {"\u00e9", 2},
                          {"B", 3}}};
  for (const double number :
       {0.0, -0.0, 1.0, 0.1, 1e15, 1e16, 123456789012345678.0, 1e-4, 1e-5, 1.5e-7, 1e300, 5e-324}) {
    values.emplace_back(number);
  }
  for (const double number :
       {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    values.emplace_back(number);
  }
  std::mt19937_64 random(1);  // NOLINT(bugprone-random-generator-seed): the same each time
  for (int i = 0; i < 10'000; ++i) values.emplace_back(std::bit_cast<double>(random()));
  values.emplace_back(values);
  for (const Object& value : values) {
    ASSERT_EQ(jsonText(value), reference(value).dump());
    ASSERT_EQ(jsonText(value, JsonLayout::kIndented), reference(value).dump(2));
  }
}

TEST(Json, IsReadAsAnotherReaderReadsIt) {
  constexpr std::string_view kPieces[] = {"{",
                                          "}",
                                          "[",
                                          "]",
                                          ":",
                                          ",",
                                          "\"",
                                          "\\",
                                          "\\u00e",
                                          "\\ud83d",
                                          "\\udE00",
                                          "0",
                                          "-",
                                          ".5",
                                          "E+",
                                          "1e-400",
                                          "-2e-324",
                                          "1e999",
                                          "true",
                                          "nul",
                                          " ",
                                          "\r\n\t",
                                          "\x1F",
                                          "\x7F",
                                          "\u00e9",
                                          "\xC3",
                                          "\"long as two words\"",
                                          "\"k\":",
                                          "18446744073709551616",
                                          "-9223372036854775809"};
  std::mt19937 random(2);  // NOLINT(bugprone-random-generator-seed): the same each time
  int correct = 0;
  for (int i = 0; i < 5'000; ++i) {
    std::string text =
        R"([{"a":1,"b":[true,null,-0.25e2],"\ud83d\ude00\n":{"":{}}},"plain and more of it",0])";
    for (unsigned edits = random() % 4; edits != 0; --edits) {
      text.replace(random() % text.size(), random() % 3, kPieces[random() % std::size(kPieces)]);
    }
    const auto read = parseJson(text);
    ASSERT_EQ(read.ok(), nlohmann::json::accept(text)) << text;
    if (!read.ok()) continue;
    ++correct;
    ASSERT_EQ(jsonText(read.value()), nlohmann::json::parse(text).dump()) << text;
  }
  EXPECT_GT(correct, 1000);
}

TEST(Json, IsRefusedBeyondItsLimitHoweverLittleItIsMadeOf) {
  const std::string most(kJsonTextLimit - 2, 'x');
  EXPECT_EQ(jsonText(most).value_or("").size(), kJsonTextLimit);
  EXPECT_EQ(jsonText(most + "x"), std::nullopt);
  EXPECT_EQ(jsonText(Data(kJsonTextLimit / 2)), std::nullopt);
  Object shared(std::string(1 << 20, 'x'));
  for (int i = 0; i < 40; ++i) shared = Dictionary{{"a", shared}, {"b", Array{shared}}};
  EXPECT_EQ(jsonText(shared), std::nullopt);
}

TEST(Json, IsWrittenTheSameEachTimeAndReadsBackAsItWas) {
  const Date date{std::chrono::milliseconds(1500)};
  const Dictionary value{
      {"b", Data{0x0A, 0xFF}}, {"a\n", "x\xFFy\"\u00E4"}, {"B", date}, {"\xFF", nullptr}};
  EXPECT_EQ(jsonText(value),
            "{\"B\":1.5,\"a\\n\":\"x\uFFFDy\\\"\u00E4\",\"b\":\"0AFF\",\"\uFFFD\":null}");
  const Object round(Array{kMost, kLeast, 1, 1.0, 0.1, 1e300, std::string("\0\x1F", 2), true,
                           nullptr, Dictionary{}});
  EXPECT_EQ(parseJson(jsonText(round).value_or("")).optional(), round);
  EXPECT_EQ(jsonText(Dictionary{{"\xFF", 1}, {"\xFE", 2}}), "{\"\uFFFD\":2}");
  EXPECT_EQ(jsonText(Dictionary{{"\xFE", 2}, {"\xFF", 1}}), "{\"\uFFFD\":2}");
  EXPECT_EQ(jsonText(std::numeric_limits<double>::infinity()), "null");
  Object deep;
  for (int i = 0; i < 100'000; ++i) deep = Array{deep};
  EXPECT_TRUE(parseJson(jsonText(deep).value_or("")).ok());  // cut off where reading would be
}

}  // namespace
}  // namespace brisvane::host
