// Whether a key or a plain text stands in the program's memory when a call with it is over. The
// test's own copies are masked except during a call.
#include <gtest/gtest.h>

#include <array>
#include <bitset>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "brisvane/all.h"
#include "brisvane/host/crypto/random.h"

namespace brisvane {
namespace {

using host::Cipher;
using host::CipherAlgorithm;
using host::CipherOption;

constexpr std::uint8_t kMask = 0xA5;
constexpr std::size_t kPiece = 8;  // bytes that are looked for at once

// Bytes that are masked in their place, but for the time of a call. Each byte by itself: a vector
// register would be saved on the stack by whatever comes next.
class Masked {
 public:
  explicit Masked(std::size_t size) : bytes_(size) {
    EXPECT_TRUE(host::fillWithRandomBytes(bytes_).ok());
  }
  explicit Masked(Data bytes) : bytes_(std::move(bytes)) { turn(); }

  template <typename Body>
  void during(Body body) {
    turn();
    body(ByteView(bytes_));
    turn();
  }
  [[nodiscard]] const Data& masked() const { return bytes_; }

  // Mask or unmask.
  void turn() {
    volatile std::uint8_t* const bytes = bytes_.data();
    for (std::size_t i = 0; i < bytes_.size(); ++i) bytes[i] = bytes[i] ^ kMask;
  }

 private:
  Data bytes_;
};

// Finds pieces of secrets in all of the memory that the program may write to, the unused parts of
// the stack and the heap included, and never holds one unmasked.
class Search {
 public:
  // The pieces of the bytes, each combined with `pad` by exclusive or, as HMAC does with a key.
  void add(const Data& masked, std::uint8_t pad = 0) {
    for (std::size_t at = 0; at + kPiece <= masked.size(); at += kPiece) {
      std::array<std::uint8_t, kPiece> piece{};
      for (std::size_t i = 0; i < kPiece; ++i)
        piece.at(i) = static_cast<std::uint8_t>(masked[at + i] ^ pad);
      begins_.set(static_cast<std::size_t>(piece[0] << 8U | piece[1]));
      pieces_.push_back(piece);
    }
  }

  // Where one stands: the name of a mapping; empty for nowhere.
  [[nodiscard]] std::string found() const {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
      std::uintptr_t begin = 0;
      std::uintptr_t end = 0;
      std::array<char, 5> rights{};
      if (std::sscanf(line.c_str(), "%lx-%lx %4s", &begin, &end, rights.data()) != 3 ||
          rights[0] != 'r' || rights[1] != 'w')
        continue;
      if (standsIn(reinterpret_cast<const volatile std::uint8_t*>(begin), end - begin)) return line;
    }
    return {};
  }

 private:
  bool standsIn(const volatile std::uint8_t* memory, std::size_t size) const {
    for (std::size_t at = 0; at + kPiece <= size; ++at) {
      const auto first = static_cast<std::size_t>((memory[at] ^ kMask) << 8U);
      if (!begins_.test(first | static_cast<std::size_t>(memory[at + 1] ^ kMask))) continue;
      for (const auto& piece : pieces_) {
        std::size_t same = 0;
        while (same < kPiece && (memory[at + same] ^ kMask) == piece.at(same)) ++same;
        if (same == kPiece) return true;
      }
    }
    return false;
  }

  std::bitset<std::size_t{1} << 16U> begins_;
  std::vector<std::array<std::uint8_t, kPiece>> pieces_;
};

// Clears the vector registers, which a call leaves as they are: there, a function of variable
// arguments, as sscanf(), saves them on the stack.
void clearRegisters() {
#ifdef __aarch64__
  asm volatile(
      "movi v0.2d, #0\n movi v1.2d, #0\n movi v2.2d, #0\n movi v3.2d, #0\n"
      "movi v4.2d, #0\n movi v5.2d, #0\n movi v6.2d, #0\n movi v7.2d, #0\n" ::
          : "v0", "v1", "v2", "v3", "v4", "v5", "v6", "v7");
#endif
}

// Wipes what a call gave to the test.
void wipe(Data& bytes) { ::explicit_bzero(bytes.data(), bytes.size()); }

class Secrets : public ::testing::Test {
 protected:
  // Makes the call with the secrets unmasked, and looks for them afterwards.
  void expectWiped(const std::string& name,
                   const std::function<void(ByteView key, ByteView text)>& call) {
    key.during([&](ByteView plainKey) {
      text.during([&](ByteView plainText) { call(plainKey, plainText); });
    });
    clearRegisters();
    const auto search = std::make_unique<Search>();
    search->add(text.masked());
    for (const std::uint8_t pad : std::array<std::uint8_t, 3>{0x00, 0x36, 0x5C})
      search->add(key.masked(), pad);
    EXPECT_EQ(search->found(), "") << name;
  }

  Masked key{32};
  Masked text{160};
};

TEST_F(Secrets, AreFoundWhereACallLeavesThem) {
  Data kept;
  expectWiped("wiped", [&](ByteView, ByteView plain) {
    kept.assign(plain.begin(), plain.end());
    wipe(kept);
  });
  const auto search = std::make_unique<Search>();
  search->add(text.masked());
  text.during([&](ByteView plain) { kept.assign(plain.begin() + 5, plain.begin() + 40); });
  EXPECT_NE(search->found(), "");
  wipe(kept);
  EXPECT_EQ(search->found(), "");
}

TEST_F(Secrets, OfCiphersAreWipedHoweverACallEnds) {
  using namespace SecurityAdditions;
  for (const std::uint32_t algorithm : {0U, 1U, 2U, 3U, 4U}) {
    for (const std::uint32_t options : {0U, 1U, 2U, 3U}) {
      const std::string name =
          "algorithm " + std::to_string(algorithm) + ", options " + std::to_string(options);
      Data encrypted;
      expectWiped(name + ", encryption", [&](ByteView plainKey, ByteView plain) {
        encrypted =
            dataEncryptedUsingAlgorithm(plain, algorithm, plainKey, nullptr, options).value();
      });
      expectWiped(name + ", decryption", [&](ByteView plainKey, ByteView) {
        auto plain = dataDecryptedUsingAlgorithm(encrypted, algorithm, plainKey, nullptr, options);
        wipe(plain.value());
      });
      // Whose last block is cut, or has no padding.
      encrypted.resize(encrypted.size() - (options % 2 == 0 ? 1 : 16));
      expectWiped(name + ", failing decryption", [&](ByteView plainKey, ByteView) {
        auto plain = dataDecryptedUsingAlgorithm(encrypted, algorithm, plainKey, nullptr, options);
        if (plain) wipe(*plain);
      });
      expectWiped(name + ", failing encryption", [&](ByteView plainKey, ByteView plain) {
        EXPECT_FALSE(dataEncryptedUsingAlgorithm(plain.first(algorithm == 4 ? 0 : 159),
                                                 algorithm == 4 ? 9 : algorithm, plainKey, nullptr,
                                                 0));
      });
    }
  }
}

TEST_F(Secrets, OfContextsInPiecesAreWipedWithThem) {
  expectWiped("cipher", [](ByteView plainKey, ByteView plain) {
    std::array<std::uint8_t, 256> space{};
    const auto cipher = Cipher::create(Cipher::Direction::kEncrypt, CipherAlgorithm::kAes,
                                       CipherOption::kPkcs7Padding, plainKey, {});
    // The second piece leaves a part of a block in the context.
    EXPECT_TRUE(cipher.value()->update(plain.first(40), space).ok());
    EXPECT_TRUE(cipher.value()->update(plain.first(33), space).ok());
  });
  expectWiped("code", [](ByteView plainKey, ByteView plain) {
    host::HmacSha1 code(plainKey);
    code.add(plain.first(100));
  });
}

TEST_F(Secrets, OfDigestsAndCodesAreWiped) {
  expectWiped("code", [](ByteView plainKey, ByteView plain) {
    EXPECT_TRUE(SecurityAdditions::HMACSHA1(plain, plainKey));
  });
  // A key of more than a block, which is digested first.
  expectWiped("code under a long key", [](ByteView plainKey, ByteView plain) {
    EXPECT_TRUE(SecurityAdditions::HMACSHA1(plainKey, plain));
  });
  expectWiped("digest",
              [](ByteView, ByteView plain) { EXPECT_TRUE(SecurityAdditions::sha1Hash(plain)); });
}

TEST_F(Secrets, InTheReadBufferOfAPortAreWipedOnRequest) {
  BVSerialPort port("/dev/none");
  expectWiped("buffer", [&](ByteView, ByteView plain) {
    Data received;
    received.reserve(plain.size());
    for (const std::uint8_t byte : plain) received.push_back(byte);
    port.setSerialReadBuffer(std::move(received));
    port.clearReadBuffer();
  });
}

}  // namespace
}  // namespace brisvane
