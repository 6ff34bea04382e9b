#include <gmock/gmock.h>
#include <openssl/crypto.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <numeric>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "brisvane/host/crypto/cipher.h"
#include "brisvane/support/security.h"
#include "brisvane/types/hex.h"
#include "tests/support/own_process.h"

namespace brisvane {
namespace {

using host::CipherAlgorithm;
using host::CipherOption;
using host::CipherStatus;
using SecurityAdditions::dataDecryptedUsingAlgorithm;
using SecurityAdditions::dataEncryptedUsingAlgorithm;

constexpr std::uint32_t kCbc = 0;
constexpr std::uint32_t kEcb = CipherOption::kEcbMode;
constexpr std::uint32_t kPadded = CipherOption::kPkcs7Padding;
constexpr std::int32_t kUntouched = 77;

Data hex(std::string_view digits) { return parseHex(digits).value(); }

Data first(Data bytes, std::size_t count) {
  bytes.resize(count);
  return bytes;
}

Data joined(Data left, const Data& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

struct Vector {
  const char* source;
  std::uint32_t algorithm;
  std::uint32_t options;
  const char* key;
  const char* initVector;
  const char* plain;
  const char* encrypted;
};

constexpr const char* kCounting = "000102030405060708090a0b0c0d0e0f";
constexpr const char* kZeros16 = "00000000000000000000000000000000";
constexpr const char* kBlocks =
    "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710";

constexpr Vector kVectors[] = {
    {"FIPS 197 C.1", CipherAlgorithm::kAes, kEcb, "000102030405060708090a0b0c0d0e0f", "",
     "00112233445566778899aabbccddeeff", "69c4e0d86a7b0430d8cdb78070b4c55a"},
    {"FIPS 197 C.2", CipherAlgorithm::kAes, kEcb,
     "000102030405060708090a0b0c0d0e0f1011121314151617", "", "00112233445566778899aabbccddeeff",
     "dda97ca4864cdfe06eaf70a0ec0d7191"},
    {"FIPS 197 C.3", CipherAlgorithm::kAes, kEcb,
     "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f", "",
     "00112233445566778899aabbccddeeff", "8ea2b7ca516745bfeafc49904b496089"},
    {"SP 800-38A F.2.1", CipherAlgorithm::kAes, kCbc, "2b7e151628aed2a6abf7158809cf4f3c", kCounting,
     kBlocks,
     "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
     "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"},
    {"SP 800-38A F.2.5", CipherAlgorithm::kAes, kCbc,
     "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4", kCounting, kBlocks,
     "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
     "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b"},
    {"DES", CipherAlgorithm::kDes, kEcb, "133457799bbcdff1", "", "0123456789abcdef",
     "85e813540f0ab405"},
    {"SP 800-67 B.1", CipherAlgorithm::kTripleDes, kEcb,
     "0123456789abcdef23456789abcdef01456789abcdef0123", "",
     "5468652071756663"
     "6b2062726f776e20"
     "666f78206a756d70",
     "a826fd8ce53b855f"
     "cce21c8112256fe6"
     "68d5c05dd9b6b900"},
    {"RFC 2144 B.1, 128 bits", CipherAlgorithm::kCast128, kEcb, "0123456712345678234567893456789a",
     "", "0123456789abcdef", "238b4fe5847e44b2"},
    {"RFC 2144 B.1, 80 bits", CipherAlgorithm::kCast128, kEcb, "01234567123456782345", "",
     "0123456789abcdef", "eb6a711a2c02271b"},
    {"RFC 2144 B.1, 40 bits", CipherAlgorithm::kCast128, kEcb, "0123456712", "", "0123456789abcdef",
     "7ac816d16e9b302e"},
    {"RFC 6229, 40 bits", CipherAlgorithm::kRc4, kCbc, "0102030405", "", kZeros16,
     "b2396305f03dc027ccc3524a0a1118a8"},
    {"RFC 6229, 256 bits", CipherAlgorithm::kRc4, kPadded | kEcb,  // which do not matter
     "0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20", "", kZeros16,
     "eaa6bd25880bf93d3f5d1e4ca2611d91"}};

TEST(Ciphers, GiveThePublishedAnswers) {
  for (const Vector& vector : kVectors) {
    SCOPED_TRACE(vector.source);
    std::int32_t status = kUntouched;
    const Data key = hex(vector.key);
    const Data initVector = hex(vector.initVector);
    const Bytes chainedFrom = initVector.empty() ? Bytes() : Bytes(initVector);
    EXPECT_EQ(dataEncryptedUsingAlgorithm(hex(vector.plain), vector.algorithm, key, chainedFrom,
                                          vector.options, &status),
              hex(vector.encrypted));
    EXPECT_EQ(dataDecryptedUsingAlgorithm(hex(vector.encrypted), vector.algorithm, key, chainedFrom,
                                          vector.options, &status),
              hex(vector.plain));
    EXPECT_EQ(status, kUntouched);
  }
}

struct KeyRule {
  std::uint32_t algorithm;
  std::size_t given;
  std::size_t used;
};

TEST(Ciphers, CutOrRaiseTheKeyByTheAlgorithm) {
  constexpr KeyRule kRules[] = {
      {CipherAlgorithm::kAes, 0, 16},        {CipherAlgorithm::kAes, 10, 16},
      {CipherAlgorithm::kAes, 17, 24},       {CipherAlgorithm::kAes, 20, 24},
      {CipherAlgorithm::kAes, 25, 32},       {CipherAlgorithm::kAes, 40, 32},
      {CipherAlgorithm::kDes, 3, 8},         {CipherAlgorithm::kDes, 9, 8},
      {CipherAlgorithm::kTripleDes, 16, 24}, {CipherAlgorithm::kTripleDes, 30, 24},
      {CipherAlgorithm::kCast128, 0, 5},     {CipherAlgorithm::kCast128, 4, 5},
      {CipherAlgorithm::kCast128, 20, 16},   {CipherAlgorithm::kRc4, 600, 512}};
  Data key(600);
  std::iota(key.begin(), key.end(), std::uint8_t{1});
  const Data plain(48, 0x5A);
  for (const KeyRule& rule : kRules) {
    const Data given = first(key, rule.given);
    const Data used = first(given, rule.used);
    const auto encrypted =
        dataEncryptedUsingAlgorithm(plain, rule.algorithm, given, nullptr, kPadded);
    ASSERT_TRUE(encrypted) << rule.algorithm << ' ' << rule.given;
    EXPECT_EQ(dataDecryptedUsingAlgorithm(*encrypted, rule.algorithm, used, nullptr, kPadded),
              plain)
        << rule.algorithm << ' ' << rule.given;
  }
  // Its length counts for CAST-128: fewer rounds up to 10 bytes.
  EXPECT_NE(
      dataEncryptedUsingAlgorithm(plain, CipherAlgorithm::kCast128, first(key, 10), nullptr, kCbc),
      dataEncryptedUsingAlgorithm(plain, CipherAlgorithm::kCast128, first(first(key, 10), 16),
                                  nullptr, kCbc));
  // A text stands for its bytes.
  EXPECT_EQ(dataEncryptedUsingAlgorithm(plain, CipherAlgorithm::kAes, "schlüssel", "ü", kCbc),
            dataEncryptedUsingAlgorithm(plain, CipherAlgorithm::kAes, hex("7363686cc3bc7373656c"),
                                        hex("c3bc"), kCbc));
}

TEST(Ciphers, ChainFromAVectorOfWhateverLength) {
  const Data plain(32, 0x11);
  const std::pair<std::uint32_t, std::size_t> blocks[] = {{CipherAlgorithm::kAes, 16},
                                                          {CipherAlgorithm::kDes, 8},
                                                          {CipherAlgorithm::kTripleDes, 8},
                                                          {CipherAlgorithm::kCast128, 8}};
  Data key(16);
  std::iota(key.begin(), key.end(), std::uint8_t{0x80});
  for (const auto& [algorithm, block] : blocks) {
    const auto from = [&, number = algorithm](const Bytes& vector) {
      return dataEncryptedUsingAlgorithm(plain, number, key, vector, kCbc).value_or(Data());
    };
    EXPECT_EQ(from(nullptr), from(Data(block, 0)));
    EXPECT_EQ(from(""), from(nullptr));
    EXPECT_EQ(from(hex("a1a2")), from(first(hex("a1a2"), block)));
    Data whole(block, 0xA5);
    EXPECT_EQ(from(joined(whole, hex("ffff"))), from(whole));
    Data other = whole;
    other.back() ^= 1U;  // all of the block counts
    EXPECT_NE(from(other), from(whole));
    EXPECT_EQ(dataEncryptedUsingAlgorithm(plain, algorithm, key, whole, kEcb),
              dataEncryptedUsingAlgorithm(plain, algorithm, key, nullptr, kEcb));
  }
}

TEST(Ciphers, CutTheVectorToAShortKeyAndRaiseItToABlock) {
  const Data plain(24, 0x11);
  const Data whole(8, 0xA5);
  for (const std::size_t length : {0U, 3U, 5U, 6U, 7U, 8U, 9U}) {
    const Data key(length, 0x3C);
    const auto from = [&](const Data& vector) {
      return dataEncryptedUsingAlgorithm(plain, CipherAlgorithm::kCast128, key, vector, kCbc)
          .value_or(Data());
    };
    const std::size_t used = std::clamp<std::size_t>(length, 5, 8);
    const Data cut = first(first(whole, used), 8);
    EXPECT_EQ(from(whole), from(cut)) << length;
    Data other = cut;
    other[used - 1] ^= 1U;
    EXPECT_NE(from(other), from(cut)) << length;
  }
}

TEST(Ciphers, GiveBackWhatTheyTookAtEveryLength) {
  const Data plain = SecurityAdditions::randomDataOfLength(70).value();
  const Data key = SecurityAdditions::randomDataOfLength(24).value();
  for (std::uint32_t algorithm = CipherAlgorithm::kAes; algorithm <= CipherAlgorithm::kRc4;
       ++algorithm) {
    for (const std::uint32_t options : {kPadded, kPadded | kEcb}) {
      for (std::size_t length = 0; length <= plain.size(); ++length) {
        const Data some = first(plain, length);
        const auto encrypted =
            dataEncryptedUsingAlgorithm(some, algorithm, key, "vector", options).value_or(Data());
        const std::size_t block = algorithm == CipherAlgorithm::kAes ? 16 : 8;
        ASSERT_EQ(encrypted.size(),
                  algorithm == CipherAlgorithm::kRc4 ? length : (length / block + 1) * block);
        ASSERT_EQ(dataDecryptedUsingAlgorithm(encrypted, algorithm, key, "vector", options), some);
      }
    }
  }
}

// The stream that RC4 combines with the input, by the algorithm's usual description.
Data rc4Stream(const Data& key, std::size_t count) {
  std::array<std::uint8_t, 256> state{};
  std::iota(state.begin(), state.end(), std::uint8_t{0});
  std::uint8_t j = 0;
  for (std::size_t i = 0; i < state.size(); ++i) {
    j = static_cast<std::uint8_t>(j + state[i] + key[i % key.size()]);
    std::swap(state[i], state[j]);
  }
  Data stream;
  std::uint8_t i = 0;
  for (j = 0; stream.size() < count;) {
    j = static_cast<std::uint8_t>(j + state[++i]);
    std::swap(state[i], state[j]);
    stream.push_back(state[static_cast<std::uint8_t>(state[i] + state[j])]);
  }
  return stream;
}

TEST(Ciphers, Rc4TakesKeysOfEveryLength) {
  const Data zeros(40);
  for (const int length : {1, 2, 16, 64, 65, 255, 256, 257, 512}) {
    const Data key = SecurityAdditions::randomDataOfLength(length).value();
    EXPECT_EQ(dataEncryptedUsingAlgorithm(zeros, CipherAlgorithm::kRc4, key, nullptr, kCbc),
              rc4Stream(key, 40))
        << length;
  }
}

// The status of a failure either way; 0 where one succeeds.
std::int32_t failureOf(const Data& data, std::uint32_t algorithm, const Bytes& key,
                       std::uint32_t options, decltype(&dataDecryptedUsingAlgorithm) operation) {
  std::int32_t status = kUntouched;
  const auto result = operation(data, algorithm, key, nullptr, options, &status);
  EXPECT_EQ(operation(data, algorithm, key, nullptr, options, nullptr), result);  // nobody asks
  EXPECT_EQ(result.has_value(), status == kUntouched);
  return result ? CipherStatus::kSuccess : status;
}

TEST(Ciphers, TellEachCauseByItsNumber) {
  const Data block(16, 1);
  const Data partial(15, 1);
  for (const auto operation : {&dataEncryptedUsingAlgorithm, &dataDecryptedUsingAlgorithm}) {
    EXPECT_EQ(failureOf(block, 5, "key", kCbc, operation), CipherStatus::kUnknownAlgorithm);
    EXPECT_EQ(failureOf(block, 0xFFFFFFFF, nullptr, kCbc, operation),
              CipherStatus::kUnknownAlgorithm);
    EXPECT_EQ(failureOf(block, CipherAlgorithm::kRc4, "", kCbc, operation),
              CipherStatus::kUnsuitableKey);
    EXPECT_EQ(failureOf(block, CipherAlgorithm::kRc4, nullptr, kCbc, operation),
              CipherStatus::kUnsuitableKey);
    EXPECT_EQ(failureOf(block, CipherAlgorithm::kAes, "key", 4, operation),
              CipherStatus::kUnsuitableOptions);
    for (const std::uint32_t ignored : {0x10U, 0x80000001U}) {
      EXPECT_EQ(failureOf(block, CipherAlgorithm::kRc4, "key", ignored, operation),
                CipherStatus::kSuccess);
    }
    EXPECT_EQ(failureOf(partial, CipherAlgorithm::kAes, "key", kCbc, operation),
              CipherStatus::kPartialBlock);
    EXPECT_EQ(failureOf(partial, CipherAlgorithm::kDes, "key", kEcb, operation),
              CipherStatus::kPartialBlock);
    EXPECT_EQ(failureOf({}, CipherAlgorithm::kAes, "key", kCbc, operation), CipherStatus::kSuccess);
  }
  EXPECT_EQ(failureOf(partial, CipherAlgorithm::kAes, "key", kPadded, dataDecryptedUsingAlgorithm),
            CipherStatus::kPartialBlock);
  EXPECT_EQ(failureOf({}, CipherAlgorithm::kAes, "key", kPadded, dataDecryptedUsingAlgorithm),
            CipherStatus::kBadPadding);
  EXPECT_EQ(CipherStatus::text(CipherStatus::kBadPadding), "the padding is bad");
  EXPECT_EQ(CipherStatus::text(-8), "an unknown status");
  // Decrypted, the last byte is 0x11: no padding of a block of 16.
  const auto unpadded =
      dataEncryptedUsingAlgorithm(Data(16, 0x11), CipherAlgorithm::kAes, "key", nullptr, kCbc);
  EXPECT_EQ(
      failureOf(*unpadded, CipherAlgorithm::kAes, "key", kPadded, dataDecryptedUsingAlgorithm),
      CipherStatus::kBadPadding);
}

TEST(Ciphers, WithoutTheLegacyProviderItsAlgorithmsAloneAreMissing) {
  testing::inProcessOfItsOwn([] {
    ::setenv("OPENSSL_MODULES", "/nonexistent", 1);
    const Data block(16);
    const auto status = [&](std::uint32_t algorithm) {
      return failureOf(block, algorithm, "key", kCbc, dataEncryptedUsingAlgorithm);
    };
    EXPECT_EQ(status(CipherAlgorithm::kDes), CipherStatus::kLibraryMissing);
    EXPECT_EQ(status(CipherAlgorithm::kCast128), CipherStatus::kLibraryMissing);
    EXPECT_EQ(status(CipherAlgorithm::kRc4), CipherStatus::kLibraryMissing);
    EXPECT_EQ(status(CipherAlgorithm::kAes), CipherStatus::kSuccess);
    EXPECT_EQ(status(CipherAlgorithm::kTripleDes), CipherStatus::kSuccess);
    EXPECT_TRUE(SecurityAdditions::sha1Hash(block) && SecurityAdditions::randomDataOfLength(1));
  });
}

// OpenSSL's own memory: as many requests as `granted` says are met; then one is not, or none is any
// more.
struct Memory {
  static inline std::atomic<int> granted{-1};  // -1: all
  static inline std::atomic<bool> comesBack{false};

  static bool isMet() noexcept {
    if (granted < 0) return true;
    if (granted > 0) return --granted, true;
    if (comesBack) granted = -1;
    return false;
  }
  static void* allocate(std::size_t size, const char* /*file*/, int /*line*/) {
    return isMet() ? std::malloc(size) : nullptr;
  }
  static void* reallocate(void* block, std::size_t size, const char* /*file*/, int /*line*/) {
    return isMet() ? std::realloc(block, size) : nullptr;
  }
  static void release(void* block, const char* /*file*/, int /*line*/) { std::free(block); }
};

constexpr int kMetAll = 1;  // exit statuses of a first use
constexpr int kWrong = 2;

// In a child that has not used OpenSSL yet, whose memory gives out after so many requests.
int firstUse(std::uint32_t algorithm, int granted) {
  const pid_t child = ::fork();
  if (child == 0) {
    std::int32_t status = CipherStatus::kSuccess;
    Memory::granted = granted;
    const Data block(16, 1);
    const auto encrypted =
        dataEncryptedUsingAlgorithm(block, algorithm, "key", nullptr, kCbc, &status);
    const bool metAll = Memory::granted.exchange(-1) > 0;
    const bool isRight = status == (encrypted ? CipherStatus::kSuccess : CipherStatus::kNoMemory);
    const bool isThereLater =
        dataEncryptedUsingAlgorithm(block, algorithm, "key", nullptr, kCbc).has_value();
    ::_exit(!isRight || !isThereLater ? kWrong : metAll ? kMetAll : 0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : kWrong;
}

TEST(Ciphers, LackOfMemoryIsNeverTakenForAnythingElseNorForLong) {
  testing::inProcessOfItsOwn([] {
    ASSERT_EQ(::CRYPTO_set_mem_functions(Memory::allocate, Memory::reallocate, Memory::release), 1);
    for (const bool comesBack : {true, false}) {
      Memory::comesBack = comesBack;
      for (int granted = 0, result = 0; result != kMetAll; granted += 97) {  // of some 8,000
        result = firstUse(CipherAlgorithm::kRc4, granted);
        ASSERT_NE(result, kWrong) << comesBack << ' ' << granted;
      }
    }
  });
}

TEST(Ciphers, MayAllBeginAtOnce) {
  testing::inProcessOfItsOwn([] {
    const Data plain(100, 7);
    std::vector<std::jthread> threads;
    for (std::uint32_t i = 0; i < 8; ++i) {
      threads.emplace_back([&plain, algorithm = i % 5] {
        const auto encrypted =
            dataEncryptedUsingAlgorithm(plain, algorithm, "key", "vector", kPadded);
        EXPECT_EQ(
            dataDecryptedUsingAlgorithm(encrypted.value(), algorithm, "key", "vector", kPadded),
            plain);
        EXPECT_TRUE(SecurityAdditions::HMACSHA1(plain, "key"));
      });
    }
  });
}

}  // namespace
}  // namespace brisvane
