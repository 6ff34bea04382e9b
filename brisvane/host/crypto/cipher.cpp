#include "brisvane/host/crypto/cipher.h"

#include <string.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "brisvane/host/crypto/openssl.h"
#include "brisvane/host/crypto/secret.h"

namespace brisvane::host {
namespace {

constexpr std::uint32_t kKnownOptions = CipherOption::kPkcs7Padding | CipherOption::kEcbMode;
constexpr std::size_t kLongestKey = 512;

constexpr std::size_t kNoBlocks = 1;  // a stream's "block"
constexpr std::size_t kSmallBlock = 8;
constexpr std::size_t kAesBlock = 16;
static_assert(Cipher::kLargestBlock == kAesBlock);

// What an algorithm's number and a key's length stand for.
struct Choice {
  std::size_t blockSize = 0;  // 0: the algorithm is unknown
  bool takesKey = false;
  const openssl::Modes* modes = nullptr;
};

Choice choose(std::uint32_t algorithm, std::size_t keySize,
              const openssl::Algorithms& from) noexcept {
  switch (algorithm) {
    case CipherAlgorithm::kAes:
      if (keySize == 16) return {kAesBlock, true, &from.aes[0]};
      if (keySize == 24) return {kAesBlock, true, &from.aes[1]};
      return {kAesBlock, keySize == 32, &from.aes[2]};
    case CipherAlgorithm::kDes:
      return {kSmallBlock, keySize == 8, &from.des};
    case CipherAlgorithm::kTripleDes:
      return {kSmallBlock, keySize == 24, &from.tripleDes};
    case CipherAlgorithm::kCast128:
      return {kSmallBlock, keySize >= 5 && keySize <= 16, &from.cast128};
    case CipherAlgorithm::kRc4:
      // OpenSSL would read past the end of an empty key.
      return {kNoBlocks, keySize >= 1 && keySize <= kLongestKey, &from.rc4};
    default:
      return {};
  }
}

// Updates and finishes a context.
template <typename Context>
Result<std::size_t> runToEnd(Context& context, ByteView input,
                             std::span<std::uint8_t> space) noexcept {
  const auto updated = context.update(input, space);
  if (!updated.ok()) return updated.error();
  const auto finished = context.finish(space.subspan(updated.value()));
  if (!finished.ok()) return finished.error();
  return updated.value() + finished.value();
}

}  // namespace

std::int32_t CipherStatus::of(const Error& error) noexcept {
  switch (error.number()) {
    case ENOTSUP:
      return kUnknownAlgorithm;
    case EKEYREJECTED:
      return kUnsuitableKey;
    case EINVAL:
      return kUnsuitableOptions;
    case EMSGSIZE:
      return kPartialBlock;
    case EBADMSG:
      return kBadPadding;
    case ELIBACC:
      return kLibraryMissing;
    default:
      return kNoMemory;
  }
}

std::string_view CipherStatus::text(std::int32_t status) noexcept {
  switch (status) {
    case kSuccess:
      return "success";
    case kUnknownAlgorithm:
      return "the algorithm is unknown";
    case kUnsuitableKey:
      return "the algorithm does not accept a key of this length";
    case kUnsuitableOptions:
      return "an option is unknown";
    case kPartialBlock:
      return "the input is not a whole number of blocks";
    case kBadPadding:
      return "the padding is bad";
    case kNoMemory:
      return "there is not enough memory";
    case kLibraryMissing:
      return "OpenSSL has no such algorithm";
    default:
      return "an unknown status";
  }
}

// The functions leave errors in OpenSSL's queue.
// Not exported, as the class around it is.
struct __attribute__((visibility("hidden"))) Cipher::Context {
  openssl::CipherContext openssl;
  Direction direction;
  std::size_t blockSize;
  bool isPadded;
  std::uint64_t taken = 0;  // bytes of input

  [[nodiscard]] static Result<Context> make(Direction direction, std::uint32_t algorithm,
                                            std::uint32_t options, ByteView key, ByteView vector);
  [[nodiscard]] bool begin(const EVP_CIPHER* cipher, ByteView key, ByteView vector) noexcept;
  [[nodiscard]] std::size_t outputSize(std::size_t inputSize) const noexcept;
  [[nodiscard]] Result<std::size_t> update(ByteView input, std::span<std::uint8_t> space) noexcept;
  [[nodiscard]] Result<std::size_t> finish(std::span<std::uint8_t> space) noexcept;
};

Result<Cipher::Context> Cipher::Context::make(Direction direction, std::uint32_t algorithm,
                                              std::uint32_t options, ByteView key,
                                              ByteView vector) {
  const auto algorithms = openssl::algorithms();
  if (!algorithms.ok()) return algorithms.error();
  const Choice choice = choose(algorithm, key.size(), *algorithms.value());
  if (choice.blockSize == 0) return Error(ENOTSUP, "the algorithm");
  const bool isStream = choice.blockSize == kNoBlocks;
  if (!isStream && (options & ~kKnownOptions) != 0) return Error(EINVAL, "the options");
  if (!choice.takesKey) return Error(EKEYREJECTED, "the key");
  const EVP_CIPHER* const cipher =
      (options & CipherOption::kEcbMode) != 0 ? choice.modes->ecb.get() : choice.modes->cbc.get();
  if (cipher == nullptr) return Error(ELIBACC, "the algorithm");

  const bool isPadded = !isStream && (options & CipherOption::kPkcs7Padding) != 0;
  Context context{openssl::CipherContext(EVP_CIPHER_CTX_new()), direction, choice.blockSize,
                  isPadded};
  if (!context.begin(cipher, key, vector))
    return Error(ENOMEM);  // the key's length is known to be suitable
  return context;
}

bool Cipher::Context::begin(const EVP_CIPHER* cipher, ByteView key, ByteView vector) noexcept {
  if (openssl == nullptr) return false;
  constexpr std::uint8_t kZeros[kLargestBlock] = {};
  const std::uint8_t* const chainedFrom = vector.empty() ? kZeros : vector.data();
  const int encrypts = direction == Direction::kEncrypt ? 1 : 0;
  const auto keyLength = static_cast<int>(key.size());
  // A length that is not the cipher's own can be set between choosing the cipher and giving the
  // key.
  if (EVP_CIPHER_get_key_length(cipher) != keyLength) {
    if (EVP_CipherInit_ex2(openssl.get(), cipher, nullptr, nullptr, encrypts, nullptr) != 1)
      return false;
    if (EVP_CIPHER_CTX_set_key_length(openssl.get(), keyLength) != 1) return false;
    cipher = nullptr;
  }
  return EVP_CipherInit_ex2(openssl.get(), cipher, key.data(), chainedFrom, encrypts, nullptr) ==
             1 &&
         (isPadded || EVP_CIPHER_CTX_set_padding(openssl.get(), 0) == 1);
}

std::size_t Cipher::Context::outputSize(std::size_t inputSize) const noexcept {
  return blockSize == kNoBlocks ? inputSize : inputSize + blockSize;
}

Result<std::size_t> Cipher::Context::update(ByteView input,
                                            std::span<std::uint8_t> space) noexcept {
  constexpr std::size_t kMost = std::size_t{1} << 30U;  // OpenSSL counts in int
  std::size_t written = 0;
  taken += input.size();
  while (!input.empty()) {
    const ByteView piece = input.first(std::min(input.size(), kMost));
    int count = 0;
    if (EVP_CipherUpdate(openssl.get(), space.data() + written, &count, piece.data(),
                         static_cast<int>(piece.size())) != 1) {
      return Error(ENOMEM);
    }
    written += static_cast<std::size_t>(count);
    input = input.subspan(piece.size());
  }
  return written;
}

Result<std::size_t> Cipher::Context::finish(std::span<std::uint8_t> space) noexcept {
  const bool mustBeWhole = !isPadded || direction == Direction::kDecrypt;
  if (mustBeWhole && taken % blockSize != 0) return Error(EMSGSIZE, "the last block");
  int count = 0;
  if (EVP_CipherFinal_ex(openssl.get(), space.data(), &count) != 1)
    return Error(EBADMSG, "the padding");
  return static_cast<std::size_t>(count);
}

Cipher::Cipher(std::unique_ptr<Context> context) noexcept : context_(std::move(context)) {}
Cipher::~Cipher() = default;

Result<std::unique_ptr<Cipher>> Cipher::create(Direction direction, std::uint32_t algorithm,
                                               std::uint32_t options, ByteView key,
                                               ByteView vector) {
  const openssl::ErrorMark mark;
  auto context = Context::make(direction, algorithm, options, key, vector);
  if (!context.ok()) return context.error();
  return std::unique_ptr<Cipher>(new Cipher(std::make_unique<Context>(std::move(context.value()))));
}

Result<Data> Cipher::run(Direction direction, std::uint32_t algorithm, std::uint32_t options,
                         ByteView key, ByteView vector, ByteView input) {
  const openssl::ErrorMark mark;
  auto context = Context::make(direction, algorithm, options, key, vector);
  if (!context.ok()) return context.error();
  Data output(context.value().outputSize(input.size()));
  const auto size = runToEnd(context.value(), input, output);
  wipeUsedStack();
  if (!size.ok()) {
    // It may hold a part of the plain text, which nobody gets.
    ::explicit_bzero(output.data(), output.size());
    return size.error();
  }
  output.resize(size.value());
  return output;
}

std::size_t Cipher::outputSize(std::size_t inputSize) const noexcept {
  return context_->outputSize(inputSize);
}

Result<std::size_t> Cipher::update(ByteView input, std::span<std::uint8_t> space) noexcept {
  const openssl::ErrorMark mark;
  auto size = context_->update(input, space);
  wipeUsedStack();
  return size;
}

Result<std::size_t> Cipher::finish(std::span<std::uint8_t> space) noexcept {
  const openssl::ErrorMark mark;
  auto size = context_->finish(space);
  wipeUsedStack();
  return size;
}

}  // namespace brisvane::host
