// Digests: SHA-1, and the authentication code that is made with it.
// The functions keep no state and may be called from any thread at the same time.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"

namespace brisvane::host {

using Sha1Digest = std::array<std::uint8_t, 20>;

// The most bytes that are digested at once.
inline constexpr std::uint64_t kDigestLimit = 0xFFFF'FFFF;

// SHA-1 (FIPS 180-4). nullopt for more than kDigestLimit bytes, and when the cryptography
// library or memory is missing.
[[nodiscard]] BRISVANE_EXPORT std::optional<Sha1Digest> sha1(ByteView bytes) noexcept;

// HMAC with SHA-1 (RFC 2104) of a message; the key may have any length. nullopt as above. The
// copy that is made of a key of up to 64 bytes is wiped.
[[nodiscard]] BRISVANE_EXPORT std::optional<Sha1Digest> hmacSha1(ByteView key, ByteView message) noexcept;

}  // namespace brisvane::host
