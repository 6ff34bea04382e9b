#include "brisvane/support/security.h"

#include "brisvane/host/crypto/crc32.h"
#include "brisvane/host/crypto/digest.h"
#include "brisvane/host/crypto/random.h"
#include "brisvane/types/base64.h"
#include "brisvane/types/hex.h"
#include "brisvane/types/out_of_memory.h"

namespace brisvane {

std::optional<Data> SecurityAdditions::base64DataFromString(Text text,
                                                            bool /*withNewLines*/) noexcept {
  if (!text.present()) return std::nullopt;
  return memoryPermitting(std::nullopt, [&] { return parseBase64(text.orEmpty()); });
}

std::optional<Data> SecurityAdditions::randomDataOfLength(std::int64_t length) noexcept {
  if (length < 0) return std::nullopt;
  return memoryPermitting(std::nullopt, [&]() -> std::optional<Data> {
    Data bytes(static_cast<std::size_t>(length));
    if (!host::fillWithRandomBytes(bytes).ok()) return std::nullopt;
    return bytes;
  });
}

std::optional<Data> SecurityAdditions::sha1Hash(Bytes data) noexcept {
  return memoryPermitting(std::nullopt, [&]() -> std::optional<Data> {
    const auto digest = host::sha1(data.orEmpty());
    if (!digest.ok()) return std::nullopt;
    return Data(digest.value().begin(), digest.value().end());
  });
}

std::optional<std::string> SecurityAdditions::HMACSHA1(Bytes data, Bytes key) noexcept {
  return memoryPermitting(std::nullopt, [&]() -> std::optional<std::string> {
    const auto code = host::hmacSha1(key.orEmpty(), data.orEmpty());
    if (!code.ok()) return std::nullopt;
    return lowerHexText(code.value());
  });
}

std::uint64_t SecurityAdditions::crc32(Bytes data) noexcept {
  host::Crc32 crc;
  crc.add(data.orEmpty());
  return crc.value();
}

std::string SecurityAdditions::bin2hex(Bytes data) { return lowerHexText(data.orEmpty()); }

std::string SecurityAdditions::bin2percentHex(Bytes data) { return percentHexText(data.orEmpty()); }

}  // namespace brisvane
