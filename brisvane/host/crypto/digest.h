// Digests: SHA-1, and the authentication code that is made with it, of bytes that come at once or in pieces.
// The functions keep no state and may be called from any thread at the same time; an object belongs to one
// thread at a time.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"

namespace brisvane::host {

using Sha1Digest = std::array<std::uint8_t, 20>;

// The most bytes that are digested at once. In pieces, there may be any number.
inline constexpr std::uint64_t kDigestLimit = 0xFFFF'FFFF;

// SHA-1 (FIPS 180-4). nullopt for more than kDigestLimit bytes, and when the cryptography
// library or memory is missing.
[[nodiscard]] BRISVANE_EXPORT std::optional<Sha1Digest> sha1(ByteView bytes) noexcept;

// HMAC with SHA-1 (RFC 2104) of a message; the key may have any length. nullopt as above. The
// copy that is made of a key of up to 64 bytes is wiped.
[[nodiscard]] BRISVANE_EXPORT std::optional<Sha1Digest> hmacSha1(ByteView key, ByteView message) noexcept;

// SHA-1 of pieces, as if they were one.
class BRISVANE_EXPORT Sha1 {
 public:
  Sha1() noexcept;
  Sha1(Sha1&& other) noexcept;
  Sha1& operator=(Sha1&& other) noexcept;
  ~Sha1();

  // Takes the next bytes. A failure shows in finish().
  void add(ByteView bytes) noexcept;

  // The digest of all the bytes. nullopt when the cryptography library or memory is missing, and when it
  // has been called before.
  [[nodiscard]] std::optional<Sha1Digest> finish() noexcept;

 private:
  struct Context;
  std::unique_ptr<Context> context_;  // null after a failure, and at the end
};

// HMAC with SHA-1 of a message in pieces.
class BRISVANE_EXPORT HmacSha1 {
 public:
  // The key is used here, and not kept.
  explicit HmacSha1(ByteView key) noexcept;

  // As those of Sha1.
  void add(ByteView bytes) noexcept { inner_.add(bytes); }
  [[nodiscard]] std::optional<Sha1Digest> finish() noexcept;

 private:
  void begin(ByteView shortKey);

  Sha1 inner_;
  Sha1 outer_;
  bool hasBegun_ = false;
};

}  // namespace brisvane::host
