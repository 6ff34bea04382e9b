#include "brisvane/host/formats/property_list.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <string>

#include "brisvane/host/launching/command.h"
#include "brisvane/types/hex.h"
#include "tests/support/strict_property_list.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::host {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

std::string encoded(const Object& value) {
  const auto bytes = binaryPropertyList(value);
  return bytes.ok() ? lowerHexText(bytes.value()) : bytes.error().text();
}

// A file of these objects, whose offsets each fit in a byte, and so do their numbers.
std::string fileOf(const std::vector<std::string>& objects) {
  const std::string header = lowerHexText(Data{'b', 'p', 'l', 'i', 's', 't', '0', '0'});
  std::string file = header;
  std::string offsets;
  for (const std::string& object : objects) {
    appendLowerHex(offsets, static_cast<std::uint8_t>(file.size() / 2));
    file += object;
  }
  const auto number = [](std::size_t value) {
    std::string text = "00000000000000";
    appendLowerHex(text, static_cast<std::uint8_t>(value));
    return text;
  };
  return file + offsets + "0000000000000101" + number(objects.size()) + number(objects.size() - 1) +
         number(file.size() / 2);
}

TEST(BinaryPropertyList, WritesEachKindInItsSmallestForm) {
  const std::pair<Object, const char*> values[] = {
      {false, "08"},
      {true, "09"},
      {0, "1000"},
      {255, "10ff"},
      {256, "110100"},
      {65'536, "1200010000"},
      {0xFFFFFFFF, "12ffffffff"},
      {0x100000000, "130000000100000000"},
      {std::numeric_limits<std::int64_t>::max(), "137fffffffffffffff"},
      {-1, "13ffffffffffffffff"},
      {std::numeric_limits<std::int64_t>::min(), "138000000000000000"},
      {0x8000000000000000, "1400000000000000008000000000000000"},
      {1.5, "233ff8000000000000"},
      {Date(978'307'201s), "333ff0000000000000"},
      {Date(0s), "33c1cd27e440000000"},
      {Date(-250ms), "33c1cd27e440200000"},
      {Date::min(), "33c203008a2c26d695"},
      {Date::max(), "3341feb71b484dad29"},
      {Data{1, 2}, "420102"},
      {"", "50"},
      {"a\x7F", "52617f"},
      {"é", "6100e9"},
      {"a😀", "630061d83dde00"},
      {Array(), "a0"},
      {Dictionary(), "d0"},
      {std::string(14, 'a'), "5e6161616161616161616161616161"},
      {std::string(15, 'a'), "5f100f616161616161616161616161616161"}};
  for (const auto& [value, bytes] : values) EXPECT_EQ(encoded(value), fileOf({bytes}));
}

TEST(BinaryPropertyList, WritesEqualValuesOfOneKindOnce) {
  EXPECT_EQ(encoded(Array{true, 1, 1.0, 1, true, "1", Data{'1'}, "1", 1.0}),
            fileOf({"09", "1001", "233ff0000000000000", "5131", "4131", "a9000102010003040302"}));
  // Containers too; keys are texts as any other; entries stand in the order of their keys.
  EXPECT_EQ(encoded(Dictionary{{"b", Array{"a"}}, {"a", Array{"a"}}}),
            fileOf({"5161", "a100", "5162", "d200020101"}));
  EXPECT_EQ(encoded(Array{Array(), Dictionary(), Array()}), fileOf({"a0", "d0", "a3000100"}));
  Array many;
  for (int i = 0; i < 3000; ++i) many.insert(many.end(), {i % 1000, std::to_string(i % 1000)});
  const std::string trailer = encoded(many).substr(encoded(many).size() - 64);
  EXPECT_EQ(trailer.substr(16, 16), "00000000000007d1");  // 2,000 objects, and the array
  // No two of these are the same number of the same kind.
  EXPECT_EQ(encoded(Array{-1, 0xFFFFFFFFFFFFFFFF, 0.0, -0.0}),
            fileOf({"13ffffffffffffffff", "140000000000000000ffffffffffffffff",
                    "230000000000000000", "238000000000000000", "a400010203"}));
}

TEST(BinaryPropertyList, RefusesWhatItCannotHold) {
  EXPECT_THAT(encoded(Object()), HasSubstr("null"));
  EXPECT_THAT(encoded(Dictionary{{"a", Array{1, Object()}}}), HasSubstr("null"));
  EXPECT_THAT(encoded("\xFF"), HasSubstr("UTF-8"));
  EXPECT_THAT(encoded(Array{Dictionary{{"\xC3", 1}}}), HasSubstr("UTF-8"));
  Object deep = 1;
  for (std::size_t depth = 0; depth < kPropertyListDepthLimit; ++depth) deep = Array{deep};
  EXPECT_TRUE(binaryPropertyList(deep).ok());
  EXPECT_THAT(encoded(Dictionary{{"", deep}}), HasSubstr("512"));
  // Found within its depth first, and then beyond it.
  EXPECT_THAT(encoded(Array{deep.ifArray()->front(), Array{deep}}), HasSubstr("512"));
  for (int level = 0; level < 100'000; ++level) deep = Array{deep};
  EXPECT_THAT(encoded(deep), HasSubstr("512"));
}

TEST(BinaryPropertyList, LooksIntoASharedContainerOnce) {
  Object value = "leaf";
  for (int level = 0; level < 200; ++level) value = Array{value, value};  // 2^200 leaves, as a tree
  EXPECT_EQ(binaryPropertyList(value).value().size(), 8U + 5U + 200U * 3U + 201U * 2U + 32U);
}

// What is wrong with the file of a value; "" when it holds that value in its strict form.
std::string faultOf(const Object& value) try {
  const Data file = binaryPropertyList(value).value();
  return testing::StrictPropertyList(file).value() == value ? "" : "it holds another value";
} catch (const std::exception& fault) {
  return fault.what();
}

Array numbersUpTo(int end) {
  Array numbers;
  for (int i = 0; i < end; ++i) numbers.emplace_back(i);
  return numbers;
}

TEST(BinaryPropertyList, GivesPositionsTheirSizeByWhereTheTableStands) {
  const auto ofSize = [](std::size_t size) {
    return Dictionary{{"t", std::string(size, 'x')}, {"u", size}, {"v", Array{1.5}}};
  };
  for (std::size_t size = 0; size < 300; ++size) EXPECT_EQ(faultOf(ofSize(size)), "") << size;
  for (std::size_t size = 65'450; size < 65'550; ++size)
    EXPECT_EQ(faultOf(ofSize(size)), "") << size;
}

TEST(BinaryPropertyList, GivesNumbersOfObjectsTheirSizeByHowManyThereAre) {
  for (const int count : {255, 256, 257, 65'535, 65'536, 65'537}) {
    EXPECT_EQ(faultOf(numbersUpTo(count - 1)), "") << count;  // and the array
  }
}

// What Python's own reader of property lists makes of a file, told by an expression over `v`.
std::string readByPython(const Object& value, const std::string& expression) {
  const testing::TemporaryFolder folder;
  const Data bytes = binaryPropertyList(value).optional().value_or(Data());
  testing::writeFile(folder / "plist", std::string(bytes.begin(), bytes.end()));
  const std::string program = "import plistlib, math, datetime\nv = plistlib.load(open('" +
                              (folder / "plist") + "', 'rb'))\nprint(" + expression + ")";
  const auto output = runCommand(findProgram("python3").value(), {"-c", program}, "");
  return output.ok() ? output.value() : output.error().text();
}

TEST(BinaryPropertyList, IsReadByAReaderThatIsNotOurs) {
  if (!findProgram("python3")) GTEST_SKIP() << "no python3";
  const Dictionary value{
      {"truth", Array{true, false, 1, 1.0}},
      {"whole", Array{-1, std::numeric_limits<std::int64_t>::min(), 0xFFFFFFFFFFFFFFFF, 65'535}},
      {"real", Array{0.1, -0.0, INFINITY}},
      {"text", Array{"plain", "Zoë 😀 \x01", "", std::string(70'000, 'x')}},
      {"data", Array{Data(), Data(300, 0xAB)}},
      {"date", Date(1'709'622'423s + 250ms)},
      {"nested", Dictionary{{"é", Array{Array(), Dictionary()}}}},
      {"numbers", numbersUpTo(70'000)}};  // for which one byte, and two, are too few
  EXPECT_EQ(faultOf(value), "");
  EXPECT_EQ(readByPython(value, "sorted(v)"),
            "['data', 'date', 'nested', 'numbers', 'real', 'text', 'truth', 'whole']\n");
  EXPECT_EQ(readByPython(value, "v['truth'], [type(x).__name__ for x in v['truth']], v['whole']"),
            "[True, False, 1, 1.0] ['bool', 'bool', 'int', 'float'] "
            "[-1, -9223372036854775808, 18446744073709551615, 65535]\n");
  EXPECT_EQ(
      readByPython(value, "v['real'], v['date'] == datetime.datetime(2024, 3, 5, 7, 7, 3, 250000)"),
      "[0.1, -0.0, inf] True\n");
  EXPECT_EQ(readByPython(value,
                         "v['text'] == ['plain', 'Zo\\xeb \\U0001f600 \\x01', '', 70000 * 'x'], "
                         "v['data'] == [b'', 300 * b'\\xab'], v['nested'] == {'\\xe9': [[], {}]}, "
                         "v['numbers'] == list(range(70000))"),
            "True True True True\n");
}

}  // namespace
}  // namespace brisvane::host
