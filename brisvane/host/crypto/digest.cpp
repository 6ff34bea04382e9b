#include "brisvane/host/crypto/digest.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <memory>
#include <utility>

#include "brisvane/host/crypto/openssl.h"
#include "brisvane/host/crypto/secret.h"

namespace brisvane::host {
namespace {

constexpr std::size_t kBlock = 64;
constexpr std::uint8_t kInner = 0x36;
constexpr std::uint8_t kOuter = 0x5C;

// What SHA-1 is, or why there is none.
Result<const EVP_MD*> algorithm() {
  const auto algorithms = openssl::algorithms();
  if (!algorithms.ok()) return Error(algorithms.error().number(), "SHA-1");
  const EVP_MD* const sha1 = algorithms.value()->sha1.get();
  if (sha1 == nullptr) return Error(ELIBACC, "SHA-1");
  return sha1;
}

// The digest of the parts as one; false when OpenSSL lacks memory.
bool makeDigest(EVP_MD_CTX* context, const EVP_MD* sha1, std::initializer_list<ByteView> parts,
                Sha1Digest& digest) noexcept {
  if (context == nullptr || EVP_DigestInit_ex2(context, sha1, nullptr) != 1) return false;
  for (const ByteView part : parts) {
    if (EVP_DigestUpdate(context, part.data(), part.size()) != 1) return false;
  }
  return EVP_DigestFinal_ex(context, digest.data(), nullptr) == 1;
}

}  // namespace

struct Sha1::Context {
  openssl::DigestContext digest{EVP_MD_CTX_new()};
};

Sha1::Sha1() {
  const auto sha1 = algorithm();
  if (!sha1.ok()) {
    fail(sha1.error().number());
    return;
  }
  const openssl::ErrorMark mark;
  context_ = std::make_unique<Context>();
  EVP_MD_CTX* const digest = context_->digest.get();
  if (digest == nullptr || EVP_DigestInit_ex2(digest, sha1.value(), nullptr) != 1) fail(ENOMEM);
}

Sha1::Sha1(Sha1&& other) noexcept = default;
Sha1& Sha1::operator=(Sha1&& other) noexcept = default;
Sha1::~Sha1() = default;

void Sha1::fail(int number) noexcept {
  context_.reset();
  failure_ = number;
}

void Sha1::add(ByteView bytes) noexcept {
  const openssl::ErrorMark mark;
  if (context_ != nullptr &&
      EVP_DigestUpdate(context_->digest.get(), bytes.data(), bytes.size()) != 1)
    fail(ENOMEM);
}

Result<Sha1Digest> Sha1::finish() noexcept {
  const auto context = std::move(context_);
  if (context == nullptr) return Error(failure_, "SHA-1");
  failure_ = EALREADY;
  const openssl::ErrorMark mark;
  Sha1Digest digest;
  if (EVP_DigestFinal_ex(context->digest.get(), digest.data(), nullptr) != 1)
    return Error(ENOMEM, "SHA-1");
  return digest;
}

HmacSha1::HmacSha1(ByteView key) {
  if (key.size() <= kBlock) {
    begin(key);
  } else if (const auto shortened = sha1(key); shortened.ok()) {
    begin(shortened.value());
  } else {
    inner_.fail(shortened.error().number());
  }
}

void HmacSha1::begin(ByteView shortKey) {
  Secret pad(shortKey, kBlock);
  pad.mask(kInner);
  inner_.add(pad.view());
  pad.mask(kInner ^ kOuter);
  outer_.add(pad.view());
}

Result<Sha1Digest> HmacSha1::finish() noexcept {
  const auto inner = inner_.finish();
  if (!inner.ok()) return inner.error();
  outer_.add(inner.value());
  return outer_.finish();
}

Result<Sha1Digest> sha1(ByteView bytes) {
  if (bytes.size() > kDigestLimit) return Error(EFBIG, "SHA-1");
  const auto sha1 = algorithm();
  if (!sha1.ok()) return sha1.error();
  const openssl::ErrorMark mark;
  const openssl::DigestContext context(EVP_MD_CTX_new());
  Sha1Digest digest;
  if (!makeDigest(context.get(), sha1.value(), {bytes}, digest)) return Error(ENOMEM, "SHA-1");
  return digest;
}

Result<Sha1Digest> hmacSha1(ByteView key, ByteView message) {
  if (std::max(key.size(), message.size()) > kDigestLimit) return Error(EFBIG, "SHA-1");
  const auto sha1 = algorithm();
  if (!sha1.ok()) return sha1.error();
  const openssl::ErrorMark mark;
  const openssl::DigestContext context(EVP_MD_CTX_new());
  Sha1Digest digest;
  const auto isMade = [&](std::initializer_list<ByteView> parts) {
    return makeDigest(context.get(), sha1.value(), parts, digest);
  };
  const bool isLong = key.size() > kBlock;
  if (isLong && !isMade({key})) return Error(ENOMEM, "SHA-1");
  Secret pad(isLong ? ByteView(digest) : key, kBlock);
  pad.mask(kInner);
  if (!isMade({pad.view(), message})) return Error(ENOMEM, "SHA-1");
  pad.mask(kInner ^ kOuter);
  if (!isMade({pad.view(), digest})) return Error(ENOMEM, "SHA-1");
  return digest;
}

}  // namespace brisvane::host
