#include <algorithm>
#include <cerrno>
#include <utility>

#include "brisvane/host/crypto/cipher.h"
#include "brisvane/host/crypto/secret.h"
#include "brisvane/support/security.h"
#include "brisvane/types/out_of_memory.h"

namespace brisvane {
namespace {

using host::Cipher;
using host::CipherAlgorithm;
using host::CipherStatus;

// The length to which a key is cut or raised.
std::size_t keyLength(std::uint32_t algorithm, std::size_t given) noexcept {
  switch (algorithm) {
    case CipherAlgorithm::kAes:
      return given <= 16 ? 16 : given <= 24 ? 24 : 32;
    case CipherAlgorithm::kDes:
      return 8;
    case CipherAlgorithm::kTripleDes:
      return 24;
    case CipherAlgorithm::kCast128:
      return std::clamp<std::size_t>(given, 5, 16);
    case CipherAlgorithm::kRc4:
      return std::min<std::size_t>(given, 512);
    default:
      return given;
  }
}

Result<Data> run(Cipher::Direction direction, ByteView data, std::uint32_t algorithm, ByteView key,
                 Bytes initVector, std::uint32_t options) {
  const std::size_t length = keyLength(algorithm, key.size());
  const host::Secret keyCopy(key, length);
  // Cut to the key's length, which CAST-128's may be below a block, and only then raised to the
  // block that is read.
  const ByteView vector = initVector.orEmpty().first(std::min(initVector.orEmpty().size(), length));
  const host::Secret vectorCopy(vector,
                                initVector.present() ? std::max(length, Cipher::kLargestBlock) : 0);
  return Cipher::run(direction, algorithm, options, keyCopy.view(), vectorCopy.view(), data);
}

std::optional<Data> outputOf(Cipher::Direction direction, ByteView data, std::uint32_t algorithm,
                             Bytes key, Bytes initVector, std::uint32_t options,
                             std::int32_t* error) noexcept {
  auto output = memoryPermitting(Result<Data>(Error(ENOMEM)), [&] {
    return run(direction, data, algorithm, key.orEmpty(), initVector, options);
  });
  if (!output.ok() && error != nullptr) *error = CipherStatus::of(output.error());
  return std::move(output).optional();
}

}  // namespace

std::optional<Data> SecurityAdditions::dataEncryptedUsingAlgorithm(Bytes data,
                                                                   std::uint32_t algorithm,
                                                                   Bytes key, Bytes initVector,
                                                                   std::uint32_t options,
                                                                   std::int32_t* error) noexcept {
  return outputOf(Cipher::Direction::kEncrypt, data.orEmpty(), algorithm, key, initVector, options,
                  error);
}

std::optional<Data> SecurityAdditions::dataDecryptedUsingAlgorithm(Bytes data,
                                                                   std::uint32_t algorithm,
                                                                   Bytes key, Bytes initVector,
                                                                   std::uint32_t options,
                                                                   std::int32_t* error) noexcept {
  return outputOf(Cipher::Direction::kDecrypt, data.orEmpty(), algorithm, key, initVector, options,
                  error);
}

}  // namespace brisvane
