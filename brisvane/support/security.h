// Helpers on byte buffers: digests, a checksum, hexadecimal and base64 forms, random bytes,
// encryption and decryption.
// The functions keep no state and may be called from any thread at the same time. bin2hex() and
// bin2percentHex() may throw std::bad_alloc; nothing else throws.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "brisvane/types/bytes.h"
#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/text.h"

namespace brisvane::SecurityAdditions {

// The bytes that a text spells in base64 (RFC 4648, section 4). Blanks, tabs, carriage returns and
// line feeds are skipped wherever they stand, so the text may have lines of any length, whatever
// `withNewLines` says. The empty text gives an empty buffer; an absent one, a text that is no
// base64 (a wrong length or padding, another character, bits that belong to no byte) and lack
// of memory give nullopt.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> base64DataFromString(Text text, bool withNewLines) noexcept;

// So many bytes of a generator that nobody can guess. nullopt for a negative length, for one that
// memory does not have, and when the generator fails.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> randomDataOfLength(std::int64_t length) noexcept;

// The 20 bytes of SHA-1 (FIPS 180-4). nullopt for 2^32 bytes and more, and when the cryptography
// library or memory is missing. SHA-1 is broken against whoever chooses the data: it tells
// whether a file has changed by accident, not whether somebody has changed it.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> sha1Hash(ByteView data) noexcept;

// The 40 lower-case hexadecimal digits of HMAC with SHA-1 (RFC 2104), of `data` under `key`: a text's
// UTF-8 bytes, or a buffer. An absent key counts as an empty one. nullopt as above.
[[nodiscard]] BRISVANE_EXPORT std::optional<std::string> HMACSHA1(ByteView data, Bytes key) noexcept;

// The CRC-32 of IEEE 802.3 (that of zip, gzip and PNG) in the low 32 bits; the others are zero.
[[nodiscard]] BRISVANE_EXPORT std::uint64_t crc32(ByteView data) noexcept;

// Two lower-case hexadecimal digits a byte: "00abff".
[[nodiscard]] BRISVANE_EXPORT std::string bin2hex(ByteView data);
// A percent sign and two upper-case hexadecimal digits a byte: "%00%AB%FF".
[[nodiscard]] BRISVANE_EXPORT std::string bin2percentHex(ByteView data);

// Encrypts `data`, or decrypts it, under `key` (a text's UTF-8 bytes, or a buffer; absent counts
// as empty).
//
// `algorithm`, one of host::CipherAlgorithm, decides the length to which key and vector are cut,
// or raised by zero bytes:
//
//   0 AES         16 for a key of up to 16 bytes, 24 for one of up to 24, else 32
//   1 DES         8
//   2 Triple DES  24
//   3 CAST-128    the key's own, but 5 to 16
//   4 RC4         the key's own, but at most 512
//
// `initVector` is what CBC chains from: the first block of it counts, and absent stands for
// zero bytes. Under a CAST-128 key of fewer than 8 bytes only that many of its bytes, but 5 at least, count; zero
// bytes stand for the others. `options` are bits of host::CipherOption: 0x0001 for PKCS#7 padding, 0x0002 for ECB
// instead of CBC. RC4 needs neither, and ignores both, also bits that are unknown.
//
// nullopt on failure, when `error` gets the cause, one of host::CipherStatus:
//
//   -1 unknown algorithm     -5 bad padding, as another key leaves behind
//   -2 unsuitable key        -6 no memory
//   -3 unknown option bits   -7 the library has no such algorithm (its "legacy" provider, for
//   -4 no whole blocks          DES, CAST-128 and RC4, is a package of its own on some systems)
//
// On success `error` is untouched. Nothing here tells whether data was changed on its way: that
// takes an authentication code, made of what was encrypted. Copies of key and vector are wiped.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> dataEncryptedUsingAlgorithm(ByteView data, std::uint32_t algorithm,
                                                                              Bytes key, Bytes initVector,
                                                                              std::uint32_t options,
                                                                              std::int32_t* error = nullptr) noexcept;
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> dataDecryptedUsingAlgorithm(ByteView data, std::uint32_t algorithm,
                                                                              Bytes key, Bytes initVector,
                                                                              std::uint32_t options,
                                                                              std::int32_t* error = nullptr) noexcept;

}  // namespace brisvane::SecurityAdditions
