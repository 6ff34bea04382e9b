#include "brisvane/types/text.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "brisvane/types/bytes.h"
#include "brisvane/types/hex.h"

namespace brisvane {
namespace {

std::optional<std::string> taken(Text text) { return text.copy(); }

TEST(Text, IsAbsentWhenWhatItWasMadeOfIsAndOnlyThen) {
  EXPECT_EQ(taken(nullptr), std::nullopt);
  EXPECT_EQ(taken(std::nullopt), std::nullopt);
  EXPECT_EQ(taken(static_cast<const char*>(nullptr)), std::nullopt);
  EXPECT_EQ(taken(std::optional<std::string>()), std::nullopt);
  static constexpr std::optional<std::string_view> kNone;
  EXPECT_EQ(taken(kNone), std::nullopt);
  EXPECT_EQ(taken(""), "");
  EXPECT_EQ(taken(std::optional<std::string>("")), "");
  EXPECT_EQ(taken(std::filesystem::path()), "");
  EXPECT_EQ(taken(std::string_view("text").substr(1, 2)), "ex");
  EXPECT_EQ(taken(std::filesystem::path("/dev") / "tty"), "/dev/tty");
  EXPECT_EQ(taken(std::string("a\0b", 3)), std::string("a\0b", 3));
  // What is empty may stand nowhere in memory, and is present all the same.
  EXPECT_EQ(taken(std::string_view()), "");
  EXPECT_EQ(taken(std::optional(std::string_view())), "");
  for (const Bytes present : {Bytes(Data()), Bytes(std::optional(Data())), Bytes(ByteView()),
                              Bytes(std::string_view()), Bytes("")}) {
    EXPECT_TRUE(present.present() && present.orEmpty().empty());
  }
  for (const Bytes absent : {Bytes(), Bytes(nullptr), Bytes(std::optional<Data>())})
    EXPECT_FALSE(absent.present());
}

TEST(Data, IsDescribedAndSpeltInHexadecimalThatReadsBack) {
  EXPECT_EQ(describe({}), "0 bytes");
  EXPECT_EQ(describe(Data{0xFF}), "1 byte: FF");
  EXPECT_EQ(describe(Data{10, 11, 12, 13}), "4 bytes: 0A0B0C0D");
  EXPECT_EQ(describe(Data{10, 11, 12, 13, 14}), "5 bytes: 0A0B0C0D 0E");

  EXPECT_EQ(parseHex(" 0a 0B\r\n\tfF9E "), (Data{0x0A, 0x0B, 0xFF, 0x9E}));
  EXPECT_EQ(parseHex(""), Data());
  for (const char* const wrong : {"0", "0A0", "0 A", "0x0A", "0G", "@0", "0A,0B"}) {
    EXPECT_EQ(parseHex(wrong), std::nullopt) << wrong;
  }
}

}  // namespace
}  // namespace brisvane
