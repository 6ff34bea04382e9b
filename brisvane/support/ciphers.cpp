#include <algorithm>
#include <exception>
#include <utility>

#include "brisvane/host/crypto/cipher.h"
#include "brisvane/host/crypto/secret.h"
#include "brisvane/support/security.h"

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

// The whole output for the whole input; nullopt when `result` is no success.
std::optional<Data> runCryptor(ByteView input, Cipher& cipher, std::int32_t& result) {
  Data output(cipher.outputSize(input.size()));
  std::size_t updated = 0;
  result = cipher.update(input, output, updated);
  if (result != CipherStatus::kSuccess) return std::nullopt;
  std::size_t finished = 0;
  result = cipher.finish(std::span(output).subspan(updated), finished);
  if (result != CipherStatus::kSuccess) return std::nullopt;
  output.resize(updated + finished);
  return output;
}

std::optional<Data> run(Cipher::Direction direction, ByteView data, std::uint32_t algorithm, Bytes key,
                        Bytes initVector, std::uint32_t options, std::int32_t* error) noexcept {
  std::int32_t status = CipherStatus::kSuccess;
  std::optional<Data> output;
  try {
    const std::size_t length = keyLength(algorithm, key.orEmpty().size());
    const host::Secret keyCopy(key.orEmpty(), length);
    // Cut to the key's length, which CAST-128's may be below a block, and only then raised to the block that is read.
    const ByteView vector = initVector.orEmpty().first(std::min(initVector.orEmpty().size(), length));
    const host::Secret vectorCopy(vector, initVector.present() ? std::max(length, Cipher::kLargestBlock) : 0);
    const auto cipher = Cipher::create(direction, algorithm, options, keyCopy.view(), vectorCopy.view(), status);
    if (cipher != nullptr) output = runCryptor(data, *cipher, status);
  } catch (const std::exception&) {
    status = CipherStatus::kNoMemory;
  }
  if (!output && error != nullptr) *error = status;
  return output;
}

}  // namespace

std::optional<Data> SecurityAdditions::dataEncryptedUsingAlgorithm(ByteView data, std::uint32_t algorithm, Bytes key,
                                                                   Bytes initVector, std::uint32_t options,
                                                                   std::int32_t* error) noexcept {
  return run(Cipher::Direction::kEncrypt, data, algorithm, key, initVector, options, error);
}

std::optional<Data> SecurityAdditions::dataDecryptedUsingAlgorithm(ByteView data, std::uint32_t algorithm, Bytes key,
                                                                   Bytes initVector, std::uint32_t options,
                                                                   std::int32_t* error) noexcept {
  return run(Cipher::Direction::kDecrypt, data, algorithm, key, initVector, options, error);
}

}  // namespace brisvane
