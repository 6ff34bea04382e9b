// Digests: SHA-1, and the authentication code HMAC-SHA1, of bytes that come at once or in pieces.
// The functions keep no state and may be called from any thread at the same time. An object belongs
// to one thread at a time. Functions and constructors may throw std::bad_alloc.
//
// Their errors: ELIBACC when OpenSSL has no SHA-1, ENOMEM when it is out of memory.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

using Sha1Digest = std::array<std::uint8_t, 20>;

// The most bytes that are digested at once. In pieces, there may be any number.
inline constexpr std::uint64_t kDigestLimit = 0xFFFF'FFFF;

// SHA-1 (FIPS 180-4). EFBIG: more than kDigestLimit bytes.
[[nodiscard]] BRISVANE_EXPORT Result<Sha1Digest> sha1(ByteView bytes);

// HMAC with SHA-1 (RFC 2104) of a message. The key may have any length. A copy of the key is wiped.
// EFBIG: more than kDigestLimit bytes.
[[nodiscard]] BRISVANE_EXPORT Result<Sha1Digest> hmacSha1(ByteView key, ByteView message);

// SHA-1 of pieces, as if they were one.
class BRISVANE_EXPORT Sha1 {
 public:
  Sha1();
  Sha1(Sha1&& other) noexcept;
  Sha1& operator=(Sha1&& other) noexcept;
  ~Sha1();

  // Takes the next bytes. A failure is reported by finish().
  void add(ByteView bytes) noexcept;

  // The digest of all the bytes. EALREADY: it has been called before.
  [[nodiscard]] Result<Sha1Digest> finish() noexcept;

 private:
  friend class HmacSha1;
  struct Context;
  void fail(int number) noexcept;

  std::unique_ptr<Context> context_;  // null after a failure, and at the end
  int failure_ = 0;                   // its errno; not 0 where there is no context
};

// HMAC with SHA-1 of a message in pieces.
class BRISVANE_EXPORT HmacSha1 {
 public:
  // The key is used here, and not kept.
  explicit HmacSha1(ByteView key);

  // As those of Sha1.
  void add(ByteView bytes) noexcept { inner_.add(bytes); }
  [[nodiscard]] Result<Sha1Digest> finish() noexcept;

 private:
  void begin(ByteView shortKey);

  Sha1 inner_;
  Sha1 outer_;
};

}  // namespace brisvane::host
