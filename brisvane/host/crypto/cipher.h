// Symmetric ciphers: one context for one text to encrypt or to decrypt.
// A Cipher belongs to one thread at a time; any number of them may be used at the same time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"

namespace brisvane::host {

// Numbers, and no closed set: what is none of these is refused.
struct CipherAlgorithm {
  static constexpr std::uint32_t kAes = 0;        // FIPS 197; keys of 16, 24 or 32 bytes
  static constexpr std::uint32_t kDes = 1;        // FIPS 46-3; keys of 8 bytes
  static constexpr std::uint32_t kTripleDes = 2;  // FIPS 46-3; keys of 24 bytes
  static constexpr std::uint32_t kCast128 = 3;    // RFC 2144; keys of 5 to 16 bytes
  static constexpr std::uint32_t kRc4 = 4;        // keys of at least one byte
};

struct CipherOption {
  // Raises the last block by PKCS#7 padding (RFC 5652, section 6.3), and takes that off again.
  static constexpr std::uint32_t kPkcs7Padding = 0x0001;
  // Each block by itself. Otherwise blocks are chained (CBC).
  static constexpr std::uint32_t kEcbMode = 0x0002;
};

// What a cipher operation ends with: 0, or the cause of its failure.
struct CipherStatus {
  static constexpr std::int32_t kSuccess = 0;
  static constexpr std::int32_t kUnknownAlgorithm = -1;
  static constexpr std::int32_t kUnsuitableKey = -2;      // of a length that the algorithm does not take
  static constexpr std::int32_t kUnsuitableOptions = -3;  // a bit that is none of CipherOption's; RC4 ignores it
  static constexpr std::int32_t kPartialBlock = -4;       // input that is not a whole number of blocks
  static constexpr std::int32_t kBadPadding = -5;         // as after decryption with another key
  static constexpr std::int32_t kNoMemory = -6;
  // OpenSSL's "legacy" provider for DES, CAST-128 and RC4; OpenSSL itself for the others.
  static constexpr std::int32_t kLibraryMissing = -7;
};

class BRISVANE_EXPORT Cipher final {
 public:
  enum class Direction : std::uint8_t { kEncrypt, kDecrypt };

  // The largest block of any algorithm.
  static constexpr std::size_t kLargestBlock = 16;

  // A context, or null, and `status` says why. CBC chains from the first block of `vector`, or
  // from zero bytes when that is empty. RC4, a stream, ignores vector and options.
  // REQUIRES: `vector` is empty or has at least a block.
  [[nodiscard]] static std::unique_ptr<Cipher> create(Direction direction, std::uint32_t algorithm,
                                                      std::uint32_t options, ByteView key, ByteView vector,
                                                      std::int32_t& status) noexcept;
  Cipher(const Cipher&) = delete;
  Cipher& operator=(const Cipher&) = delete;
  ~Cipher();

  // The most bytes that update() and finish() write, together, for so much input.
  [[nodiscard]] std::size_t outputSize(std::size_t inputSize) const noexcept;

  // Takes input, all of it, and writes what is complete to the beginning of `space`, which
  // `written` counts. Gives a status. REQUIRES: `space` has outputSize() bytes of all the input.
  [[nodiscard]] std::int32_t update(ByteView input, std::span<std::uint8_t> space, std::size_t& written) noexcept;

  // Ends the text: writes what is left of it, at most a block, and gives a status.
  [[nodiscard]] std::int32_t finish(std::span<std::uint8_t> space, std::size_t& written) noexcept;

 private:
  struct Context;
  explicit Cipher(std::unique_ptr<Context> context) noexcept;

  std::unique_ptr<Context> context_;
};

}  // namespace brisvane::host
