#include "brisvane/host/digest.h"

#include <initializer_list>
#include <new>

#include "brisvane/host/openssl.h"
#include "brisvane/host/secret.h"

namespace brisvane::host {
namespace {

// The digest of the pieces, one after the other.
std::optional<Sha1Digest> digestOf(std::initializer_list<ByteView> pieces) noexcept {
  const openssl::Algorithms* const algorithms = openssl::algorithms();
  if (algorithms == nullptr || algorithms->sha1 == nullptr) return std::nullopt;
  const openssl::ErrorMark mark;
  const openssl::DigestContext context(EVP_MD_CTX_new());
  if (context == nullptr || EVP_DigestInit_ex2(context.get(), algorithms->sha1, nullptr) != 1) return std::nullopt;
  for (const ByteView piece : pieces) {
    if (EVP_DigestUpdate(context.get(), piece.data(), piece.size()) != 1) return std::nullopt;
  }
  Sha1Digest digest;
  if (EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) != 1) return std::nullopt;
  return digest;
}

}  // namespace

std::optional<Sha1Digest> sha1(ByteView bytes) noexcept {
  return bytes.size() <= kDigestLimit ? digestOf({bytes}) : std::nullopt;
}

std::optional<Sha1Digest> hmacSha1(ByteView key, ByteView message) noexcept try {
  constexpr std::size_t kBlock = 64;
  constexpr std::uint8_t kInner = 0x36;
  constexpr std::uint8_t kOuter = 0x5C;
  if (message.size() > kDigestLimit) return std::nullopt;
  if (key.size() > kBlock) {
    const auto shortened = sha1(key);
    return shortened ? hmacSha1(*shortened, message) : std::nullopt;
  }

  Secret pad(key, kBlock);
  pad.mask(kInner);
  const auto inner = digestOf({pad.view(), message});
  if (!inner) return std::nullopt;
  pad.mask(kInner ^ kOuter);
  return digestOf({pad.view(), *inner});
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace brisvane::host
