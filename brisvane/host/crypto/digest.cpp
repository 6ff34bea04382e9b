#include "brisvane/host/crypto/digest.h"

#include <cerrno>
#include <memory>
#include <utility>

#include "brisvane/host/crypto/openssl.h"
#include "brisvane/host/crypto/secret.h"

namespace brisvane::host {
namespace {

constexpr std::size_t kBlock = 64;

}  // namespace

struct Sha1::Context {
  openssl::DigestContext digest{EVP_MD_CTX_new()};
};

Sha1::Sha1() {
  const auto algorithms = openssl::algorithms();
  failure_ = algorithms.ok() ? 0 : algorithms.error().number();
  if (algorithms.ok() && algorithms.value()->sha1 == nullptr) failure_ = ELIBACC;
  if (failure_ != 0) return;
  const openssl::ErrorMark mark;
  context_ = std::make_unique<Context>();
  EVP_MD_CTX* const digest = context_->digest.get();
  if (digest == nullptr || EVP_DigestInit_ex2(digest, algorithms.value()->sha1.get(), nullptr) != 1) fail(ENOMEM);
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
  if (context_ != nullptr && EVP_DigestUpdate(context_->digest.get(), bytes.data(), bytes.size()) != 1) fail(ENOMEM);
}

Result<Sha1Digest> Sha1::finish() noexcept {
  const auto context = std::move(context_);
  if (context == nullptr) return Error(failure_, "SHA-1");
  failure_ = EALREADY;
  const openssl::ErrorMark mark;
  Sha1Digest digest;
  if (EVP_DigestFinal_ex(context->digest.get(), digest.data(), nullptr) != 1) return Error(ENOMEM, "SHA-1");
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
  constexpr std::uint8_t kInner = 0x36;
  constexpr std::uint8_t kOuter = 0x5C;
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
  Sha1 digest;
  digest.add(bytes);
  return digest.finish();
}

Result<Sha1Digest> hmacSha1(ByteView key, ByteView message) {
  if (message.size() > kDigestLimit) return Error(EFBIG, "SHA-1");
  HmacSha1 code(key);
  code.add(message);
  return code.finish();
}

}  // namespace brisvane::host
