// Symmetric ciphers: one context for one text to encrypt or to decrypt.
// A Cipher belongs to one thread at a time. Any number of them may be used at the same time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// The algorithms. Any other number is refused.
struct CipherAlgorithm {
  static constexpr std::uint32_t kAes = 0;        // FIPS 197; keys of 16, 24 or 32 bytes
  static constexpr std::uint32_t kDes = 1;        // FIPS 46-3; keys of 8 bytes
  static constexpr std::uint32_t kTripleDes = 2;  // FIPS 46-3; keys of 24 bytes
  static constexpr std::uint32_t kCast128 = 3;    // RFC 2144; keys of 5 to 16 bytes
  static constexpr std::uint32_t kRc4 = 4;        // keys of at least one byte
};

struct CipherOption {
  // Fills up the last block by PKCS#7 padding (RFC 5652, section 6.3). Decryption removes it again.
  static constexpr std::uint32_t kPkcs7Padding = 0x0001;
  // Takes each block by itself (ECB). Without this option blocks are chained (CBC).
  static constexpr std::uint32_t kEcbMode = 0x0002;
};

// The outcome of an operation on a cipher: 0, or the cause of its failure.
struct CipherStatus {
  static constexpr std::int32_t kSuccess = 0;
  static constexpr std::int32_t kUnknownAlgorithm = -1;
  static constexpr std::int32_t kUnsuitableKey =
      -2;  // of a length that the algorithm does not take
  static constexpr std::int32_t kUnsuitableOptions =
      -3;  // a bit that is none of CipherOption's; RC4 ignores it
  static constexpr std::int32_t kPartialBlock = -4;  // input that is not a whole number of blocks
  static constexpr std::int32_t kBadPadding = -5;    // as after decryption with another key
  static constexpr std::int32_t kNoMemory = -6;
  // OpenSSL's "legacy" provider for DES, CAST-128 and RC4; OpenSSL itself for the others.
  static constexpr std::int32_t kLibraryMissing = -7;

  // The status of an Error that Cipher returned.
  [[nodiscard]] BRISVANE_EXPORT static std::int32_t of(const Error& error) noexcept;

  // The status in words: "the padding is bad".
  [[nodiscard]] BRISVANE_EXPORT static std::string_view text(std::int32_t status) noexcept;
};

class BRISVANE_EXPORT Cipher final {
 public:
  enum class Direction : std::uint8_t { kEncrypt, kDecrypt };

  // The largest block of any algorithm.
  static constexpr std::size_t kLargestBlock = 16;

  // Makes a context. CBC chains from the first block of `vector`, or from zero bytes when `vector`
  // is empty. RC4, a stream, ignores vector and options. It may throw std::bad_alloc.
  //
  //  - ENOTSUP: the algorithm is unknown.
  //  - EKEYREJECTED: the algorithm takes no key of this length.
  //  - EINVAL: an option is unknown.
  //  - ELIBACC: OpenSSL has no such algorithm.
  //  - ENOMEM: OpenSSL is out of memory.
  // REQUIRES: `vector` is empty or has at least a block.
  [[nodiscard]] static Result<std::unique_ptr<Cipher>> create(Direction direction,
                                                              std::uint32_t algorithm,
                                                              std::uint32_t options, ByteView key,
                                                              ByteView vector);

  // Encrypts or decrypts the whole input. Fails as create(), update() and finish() do. May throw
  // std::bad_alloc. REQUIRES: as for create().
  [[nodiscard]] static Result<Data> run(Direction direction, std::uint32_t algorithm,
                                        std::uint32_t options, ByteView key, ByteView vector,
                                        ByteView input);
  Cipher(const Cipher&) = delete;
  Cipher& operator=(const Cipher&) = delete;
  ~Cipher();

  // The most bytes that update() and finish() together write for `inputSize` bytes.
  [[nodiscard]] std::size_t outputSize(std::size_t inputSize) const noexcept;

  // Takes all of the input, and writes what is complete to the beginning of `space`. The result is
  // the number of bytes written. ENOMEM: OpenSSL is out of memory.
  // REQUIRES: `space` has outputSize() bytes of all the input.
  [[nodiscard]] Result<std::size_t> update(ByteView input, std::span<std::uint8_t> space) noexcept;

  // Ends the text, and writes what is left of it, at most a block. The result is the number of
  // bytes written. EMSGSIZE: the input was not a whole number of blocks. EBADMSG: the padding is
  // bad, as after decryption with another key.
  [[nodiscard]] Result<std::size_t> finish(std::span<std::uint8_t> space) noexcept;

 private:
  struct Context;
  explicit Cipher(std::unique_ptr<Context> context) noexcept;

  std::unique_ptr<Context> context_;
};

}  // namespace brisvane::host
