#include "brisvane/host/crypto/digest.h"

#include <new>
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

Sha1::Sha1() noexcept {
  const openssl::Algorithms* const algorithms = openssl::algorithms();
  if (algorithms == nullptr || algorithms->sha1 == nullptr) return;
  const openssl::ErrorMark mark;
  context_.reset(new (std::nothrow) Context);
  if (context_ == nullptr) return;
  EVP_MD_CTX* const digest = context_->digest.get();
  if (digest == nullptr || EVP_DigestInit_ex2(digest, algorithms->sha1.get(), nullptr) != 1) context_.reset();
}

Sha1::Sha1(Sha1&& other) noexcept = default;
Sha1& Sha1::operator=(Sha1&& other) noexcept = default;
Sha1::~Sha1() = default;

void Sha1::add(ByteView bytes) noexcept {
  const openssl::ErrorMark mark;
  if (context_ != nullptr && EVP_DigestUpdate(context_->digest.get(), bytes.data(), bytes.size()) != 1) {
    context_.reset();
  }
}

std::optional<Sha1Digest> Sha1::finish() noexcept {
  const auto context = std::move(context_);
  if (context == nullptr) return std::nullopt;
  const openssl::ErrorMark mark;
  Sha1Digest digest;
  if (EVP_DigestFinal_ex(context->digest.get(), digest.data(), nullptr) != 1) return std::nullopt;
  return digest;
}

HmacSha1::HmacSha1(ByteView key) noexcept {
  try {
    if (key.size() <= kBlock) {
      begin(key);
    } else if (const auto shortened = sha1(key)) {
      begin(*shortened);
    }
  } catch (const std::bad_alloc&) {
    // Not begun.
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
  hasBegun_ = true;
}

std::optional<Sha1Digest> HmacSha1::finish() noexcept {
  const auto inner = inner_.finish();
  if (!hasBegun_ || !inner) return std::nullopt;
  outer_.add(*inner);
  return outer_.finish();
}

std::optional<Sha1Digest> sha1(ByteView bytes) noexcept {
  if (bytes.size() > kDigestLimit) return std::nullopt;
  Sha1 digest;
  digest.add(bytes);
  return digest.finish();
}

std::optional<Sha1Digest> hmacSha1(ByteView key, ByteView message) noexcept {
  if (message.size() > kDigestLimit) return std::nullopt;
  HmacSha1 code(key);
  code.add(message);
  return code.finish();
}

}  // namespace brisvane::host
