#include "brisvane/support/security.h"

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>
#include <set>

#include "brisvane/host/crypto/crc32.h"
#include "brisvane/host/crypto/crc32_kernels.h"
#include "brisvane/host/crypto/digest.h"
#include "brisvane/types/base64.h"
#include "brisvane/types/hex.h"
#include "tests/support/own_process.h"

namespace brisvane::SecurityAdditions {
namespace {

using ::testing::SizeIs;

Data bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

TEST(Sha1Hash, IsThePublishedOneAtEveryLengthAroundABlock) {
  EXPECT_EQ(sha1Hash({}), parseHex("da39a3ee5e6b4b0d3255bfef95601890afd80709"));
  EXPECT_EQ(sha1Hash("abc"), parseHex("a9993e364706816aba3e25717850c26c9cd0d89d"));
  EXPECT_EQ(sha1Hash(bytesOf("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
            parseHex("84983e441c3bd26ebaae4aa1f95129e5e54670f1"));
  EXPECT_EQ(sha1Hash(Data(1'000'000, 'a')), parseHex("34aa973cd4c4daa4f61eeb2bdbad27316534016f"));
}

TEST(Sha1Hash, OfMoreThanThirtyTwoBitsCountIsAbsent) {
  constexpr std::size_t kTooMany = std::size_t{1} << 32U;
  void* const space =
      ::mmap(nullptr, kTooMany, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(space, MAP_FAILED);
  const ByteView bytes(static_cast<const std::uint8_t*>(space), kTooMany);
  EXPECT_EQ(sha1Hash(bytes), std::nullopt);
  EXPECT_EQ(HMACSHA1(bytes, "key"), std::nullopt);
  EXPECT_EQ(HMACSHA1(bytesOf("message"), bytes), std::nullopt);
  ::munmap(space, kTooMany);
}

TEST(Hmac, IsThePublishedOneForKeysBelowAndAboveABlock) {
  const auto counting = [] {
    Data key(25);
    std::iota(key.begin(), key.end(), std::uint8_t{1});
    return key;
  }();
  // RFC 2202, section 3.
  EXPECT_EQ(HMACSHA1(bytesOf("Hi There"), Data(20, 0x0B)),
            "b617318655057264e28bc0b6fb378c8ef146be00");
  EXPECT_EQ(HMACSHA1(Data(50, 0xDD), Data(20, 0xAA)), "125d7342b9ac11cd91a39af48aa17b4f63f175d3");
  EXPECT_EQ(HMACSHA1(Data(50, 0xCD), counting), "4c9007f4026250c6bc8414f9bf50c86c2d7235da");
  EXPECT_EQ(
      HMACSHA1(bytesOf("Test Using Larger Than Block-Size Key - Hash Key First"), Data(80, 0xAA)),
      "aa4ae5e15272d00e95705637ce8a3b55ed402112");
  const Data question = bytesOf("what do ya want for nothing?");
  const std::string answer = "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79";
  EXPECT_EQ(HMACSHA1(question, "Jefe"), answer);
  EXPECT_EQ(HMACSHA1(question, bytesOf("Jefe")), answer);
  EXPECT_EQ(HMACSHA1(question, std::optional<std::string>("Jefe")), answer);
  // An absent key, of whatever kind, is an empty one.
  const auto keyless = HMACSHA1({}, "");
  EXPECT_EQ(keyless, "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d");
  for (const Bytes& absent :
       {Bytes(), Bytes(nullptr), Bytes(std::optional<Data>()), Bytes(std::string())})
    EXPECT_EQ(HMACSHA1({}, absent), keyless);
}

// The definition, a bit at a time.
std::uint32_t slowCrc32(ByteView bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const std::uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1U ^ ((crc & 1U) != 0 ? 0xEDB88320 : 0);
  }
  return ~crc;
}

TEST(Crc32, IsTheDefinitionsAtEveryLengthAndAlignmentByEveryKernel) {
  EXPECT_EQ(crc32(bytesOf("123456789")), 0xCBF43926U);
  EXPECT_EQ(crc32({}), 0U);
  const Data bytes = randomDataOfLength(6000).value_or(Data());
  ASSERT_THAT(bytes, SizeIs(6000));
  const auto [wide, narrow] = host::crc32Kernels();
  for (std::size_t first = 0; first < 17; ++first) {
    for (std::size_t length = 0; length + first <= bytes.size();
         length += length < 300 ? 1 : length / 9) {
      const ByteView some = ByteView(bytes).subspan(first, length);
      const std::uint32_t expected = slowCrc32(some);
      ASSERT_EQ(crc32(some), expected) << first << ' ' << length;
      for (const host::Crc32Kernel kernel : {wide, narrow, &host::crc32ByTables}) {
        if (kernel == nullptr) continue;
        ASSERT_EQ(~kernel(~0U, some), expected) << first << ' ' << length;
      }
    }
  }
}

TEST(Checksums, OfPiecesAreThoseOfTheWhole) {
  const Data bytes = randomDataOfLength(1000).value_or(Data());
  ASSERT_THAT(bytes, SizeIs(1000));
  for (const std::size_t size : {1U, 15U, 16U, 63U, 64U, 65U, 999U}) {
    for (const std::size_t keySize : {0U, 64U, 65U}) {
      const ByteView key = ByteView(bytes).first(keySize);
      host::Crc32 crc;
      host::Sha1 digest;
      host::HmacSha1 code(key);
      for (ByteView rest = bytes; !rest.empty(); rest = rest.subspan(std::min(size, rest.size()))) {
        const ByteView piece = rest.first(std::min(size, rest.size()));
        crc.add(piece);
        digest.add(piece);
        code.add(piece);
      }
      EXPECT_EQ(crc.value(), crc32(bytes)) << size;
      EXPECT_EQ(digest.finish().value(), host::sha1(bytes).value()) << size;
      EXPECT_EQ(code.finish().value(), host::hmacSha1(key, bytes).value())
          << size << ' ' << keySize;
      EXPECT_EQ(digest.finish().error().number(), EALREADY);
      EXPECT_EQ(code.finish().error().number(), EALREADY);
    }
  }
}

TEST(HexadecimalForms, SpellEveryByteAtEveryLength) {
  const Data bytes{0x00, 0xAB, 0xFF};
  EXPECT_EQ(bin2hex(bytes), "00abff");
  EXPECT_EQ(bin2percentHex(bytes), "%00%AB%FF");
  EXPECT_EQ(bin2hex({}) + bin2percentHex({}), "");
  Data all(300);
  std::iota(all.begin(), all.end(), std::uint8_t{0});
  for (std::size_t length = 0; length <= all.size(); ++length) {
    std::string lower, upper, spaced, percent;
    for (const std::uint8_t byte : ByteView(all).first(length)) {
      appendLowerHex(lower, byte);
      appendHex(upper, byte);
      appendHex(spaced, byte);
      spaced += ' ';
      percent += '%';
      appendHex(percent, byte);
    }
    const ByteView some = ByteView(all).first(length);
    ASSERT_EQ(lowerHexText(some), lower);
    ASSERT_EQ(upperHexText(some), upper);
    ASSERT_EQ(spacedHexText(some), spaced);
    ASSERT_EQ(percentHexText(some), percent);
    for (const std::string& text : {lower, upper, spaced}) {
      ASSERT_EQ(parseHex(text), Data(some.begin(), some.end())) << text;
      // Lines, and a wrong character anywhere.
      for (std::size_t at = 0; at < std::min<std::size_t>(text.size(), 140); ++at) {
        std::string wrong = text;
        wrong[at] = "/:@G`g\xE1"[at % 7];
        ASSERT_EQ(parseHex(wrong), std::nullopt) << wrong;
        if (text == spaced || at % 2 != 0) continue;
        ASSERT_EQ(parseHex(std::string(text).insert(at, "\r\n")), parseHex(text));
      }
    }
  }
}

TEST(Base64, IsThatOfTheRfcBothWaysWhateverTheFlag) {
  // RFC 4648, section 10.
  const std::pair<const char*, const char*> vectors[] = {{"", ""},
                                                         {"f", "Zg=="},
                                                         {"fo", "Zm8="},
                                                         {"foo", "Zm9v"},
                                                         {"foob", "Zm9vYg=="},
                                                         {"fooba", "Zm9vYmE="},
                                                         {"foobar", "Zm9vYmFy"}};
  for (const auto& [plain, text] : vectors) {
    EXPECT_EQ(base64Text(bytesOf(plain)), text);
    for (const bool withNewLines : {false, true})
      EXPECT_EQ(base64DataFromString(text, withNewLines), bytesOf(plain)) << text;
  }
  Data all(256);
  std::iota(all.begin(), all.end(), std::uint8_t{0});
  EXPECT_EQ(base64DataFromString(base64Text(all), false), all);
  EXPECT_EQ(base64DataFromString("+/+/", false), parseHex("FBFFBF"));
  EXPECT_EQ(base64DataFromString(" a\tG\r\nVs\nbG8 = \r\n", false), bytesOf("hello"));
  EXPECT_EQ(base64DataFromString(" \n", true), Data());
}

TEST(Base64, ReadsBackEveryLengthInLinesOfEveryLengthAndRefusesAWrongCharacterAnywhere) {
  const Data bytes = randomDataOfLength(70).value_or(Data());
  for (std::size_t length = 1; length <= bytes.size(); ++length) {
    const ByteView some = ByteView(bytes).first(length);
    const std::string text = base64Text(some);
    for (std::size_t line = 1; line < 10; ++line) {
      std::string lines = text;
      for (std::size_t at = line; at < lines.size(); at += line + 2) lines.insert(at, "\r\n");
      ASSERT_EQ(base64DataFromString(lines, true), Data(some.begin(), some.end())) << lines;
    }
    for (std::size_t at = 0; at < text.size(); ++at) {
      std::string wrong = text;
      wrong[at] = "-_.\x80\xFF"[at % 5];
      ASSERT_EQ(base64DataFromString(wrong, false), std::nullopt) << wrong;
      if (text[at] == '=') continue;
      ASSERT_EQ(base64DataFromString(std::string(text).erase(at, 1), false), std::nullopt)
          << text << ' ' << at;
    }
  }
}

TEST(Base64, RefusesWhatNoEncoderWrites) {
  for (const char* const wrong :
       {"Z",    "Zg",   "Zg=",   "Zm8",      "Zm9vY",    "Zg===",       "Zg=== ",
        "====", "=",    "Zm9v=", "Zm9v====", "Zg==Zg==", "Zg=a",        "Z=g=",
        "Zh==", "Zm9=", "Zm9v!", "Zm-_",     "Zm\v9v",   "Zm\xC3\xA9v", "Zg=\xC2\xA0="}) {
    EXPECT_EQ(base64DataFromString(wrong, false), std::nullopt) << wrong;
    EXPECT_EQ(base64DataFromString(wrong, true), std::nullopt) << wrong;
  }
  EXPECT_EQ(base64DataFromString(std::string_view("Zm9v\0", 5), false), std::nullopt);
  EXPECT_EQ(base64DataFromString(nullptr, false), std::nullopt);
}

// A sanitizer's allocator ends the program at a size that it does not know how to give.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
#elif defined(__has_feature)
constexpr bool kIsSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kIsSanitized = false;
#endif

TEST(RandomData, HasTheLengthThatCanBeHadAndNeverTheSameBytes) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) seen.insert(bin2hex(randomDataOfLength(16).value_or(Data())));
  EXPECT_EQ(seen.size(), 100U);
  EXPECT_EQ(seen.begin()->size(), 32U);
  EXPECT_EQ(randomDataOfLength(0), Data());
  EXPECT_EQ(randomDataOfLength(-1), std::nullopt);
  EXPECT_EQ(randomDataOfLength(std::numeric_limits<std::int64_t>::min()), std::nullopt);
  if (!kIsSanitized) {
    EXPECT_EQ(randomDataOfLength(std::numeric_limits<std::int64_t>::max()), std::nullopt);
  }
}

TEST(Security, WorksInTheDestructorOfAStaticObject) {
  testing::inProcessOfItsOwn([] {
    static const struct Late {
      ~Late() {
        if (randomDataOfLength(4) && sha1Hash({}) && HMACSHA1({}, "key")) return;
        ::_exit(1);
      }
    } late;
    EXPECT_TRUE(randomDataOfLength(4) && sha1Hash({}));  // whose libraries end before it does
  });
}

}  // namespace
}  // namespace brisvane::SecurityAdditions
