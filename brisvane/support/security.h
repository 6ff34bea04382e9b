// Helpers on byte buffers: digests, a checksum, hexadecimal and base64 forms, random bytes,
// encryption and decryption.
// The functions keep no state and may be called from any thread at the same time. bin2hex() and
// bin2percentHex() may throw std::bad_alloc. No other function throws.
//
// Bytes are a buffer or the UTF-8 bytes of a text: sha1Hash("abc"). Absent ones count as empty.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "brisvane/types/bytes.h"
#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/text.h"

namespace brisvane::SecurityAdditions {

// Decodes base64 (RFC 4648, section 4). Blanks, tabs, carriage returns and line feeds are skipped
// wherever they stand, so that lines may have any length. `withNewLines` makes no difference. The
// empty text gives an empty buffer.
//
// nullopt for an absent text, for a text that is not base64, and when memory runs out. A text is
// not base64 when its length or padding is wrong, when it has another character, and when the last
// character has bits that belong to no byte.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> base64DataFromString(Text text,
                                                                       bool withNewLines) noexcept;

// `length` bytes from the kernel's generator, which nobody can predict. nullopt for a negative
// length, when memory runs out, and when the generator fails.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> randomDataOfLength(std::int64_t length) noexcept;

// The 20 bytes of SHA-1 (FIPS 180-4). nullopt for 2^32 bytes and more, when OpenSSL has no SHA-1,
// and when memory runs out. SHA-1 detects a change by accident. It does not detect a change on
// purpose.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> sha1Hash(Bytes data) noexcept;

// The HMAC with SHA-1 (RFC 2104) of `data` under `key`, as 40 lower-case hexadecimal digits.
// nullopt as for sha1Hash().
[[nodiscard]] BRISVANE_EXPORT std::optional<std::string> HMACSHA1(Bytes data, Bytes key) noexcept;

// The CRC-32 of IEEE 802.3, which zip, gzip and PNG use, in the low 32 bits. The others are zero.
[[nodiscard]] BRISVANE_EXPORT std::uint64_t crc32(Bytes data) noexcept;

// Two lower-case hexadecimal digits a byte: "00abff".
[[nodiscard]] BRISVANE_EXPORT std::string bin2hex(Bytes data);
// A percent sign and two upper-case hexadecimal digits a byte: "%00%AB%FF".
[[nodiscard]] BRISVANE_EXPORT std::string bin2percentHex(Bytes data);

// Encrypt or decrypt `data` under `key`. Copies of key and vector are wiped.
//
// `algorithm` is one of host::CipherAlgorithm. Key and vector are cut to its length, or filled up
// to it with zero bytes:
//
//   0 AES         16 for a key of up to 16 bytes, 24 for one of up to 24, else 32
//   1 DES         8
//   2 Triple DES  24
//   3 CAST-128    the key's own, but 5 to 16
//   4 RC4         the key's own, but at most 512
//
// CBC chains from the first block of `initVector`, or from zero bytes when that is absent. A
// CAST-128 key of fewer than 8 bytes cuts the vector to the key's length, but to 5 bytes at least,
// and zero bytes follow. `options` are bits of host::CipherOption: 0x0001 for PKCS#7 padding,
// 0x0002 for ECB instead of CBC. RC4 ignores vector and options, also unknown bits.
//
// On success `error` is untouched. On failure the result is nullopt, and `error` is the cause, one
// of host::CipherStatus, whose text() says it in words:
//
//   -1 unknown algorithm     -5 bad padding, as after decryption with another key
//   -2 unsuitable key        -6 no memory
//   -3 unknown option bits   -7 OpenSSL has no such algorithm (its "legacy" provider, for DES,
//   -4 no whole blocks          CAST-128 and RC4, is a package of its own on some systems)
//
// Decryption does not detect data that was changed on its way. Make an authentication code of the
// encrypted data for that.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> dataEncryptedUsingAlgorithm(
    Bytes data, std::uint32_t algorithm, Bytes key, Bytes initVector, std::uint32_t options,
    std::int32_t* error = nullptr) noexcept;
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> dataDecryptedUsingAlgorithm(
    Bytes data, std::uint32_t algorithm, Bytes key, Bytes initVector, std::uint32_t options,
    std::int32_t* error = nullptr) noexcept;

}  // namespace brisvane::SecurityAdditions
