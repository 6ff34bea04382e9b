#include "brisvane/support/security.h"

#include <exception>

#include "brisvane/host/crypto/crc32.h"
#include "brisvane/host/crypto/digest.h"
#include "brisvane/host/crypto/random.h"
#include "brisvane/types/base64.h"
#include "brisvane/types/hex.h"

namespace brisvane {

std::optional<Data> SecurityAdditions::base64DataFromString(Text text, bool /*withNewLines*/) noexcept try {
  if (!text.present()) return std::nullopt;
  return parseBase64(text.orEmpty());
} catch (const std::exception&) {
  return std::nullopt;
}

std::optional<Data> SecurityAdditions::randomDataOfLength(std::int64_t length) noexcept try {
  if (length < 0) return std::nullopt;
  Data bytes(static_cast<std::size_t>(length));
  if (!host::fillWithRandomBytes(bytes)) return std::nullopt;
  return bytes;
} catch (const std::exception&) {
  return std::nullopt;  // std::bad_alloc, or std::length_error
}

std::optional<Data> SecurityAdditions::sha1Hash(ByteView data) noexcept try {
  const auto digest = host::sha1(data);
  if (!digest) return std::nullopt;
  return Data(digest->begin(), digest->end());
} catch (const std::exception&) {
  return std::nullopt;
}

std::optional<std::string> SecurityAdditions::HMACSHA1(ByteView data, Bytes key) noexcept try {
  const auto code = host::hmacSha1(key.orEmpty(), data);
  if (!code) return std::nullopt;
  return lowerHexText(*code);
} catch (const std::exception&) {
  return std::nullopt;
}

std::uint64_t SecurityAdditions::crc32(ByteView data) noexcept {
  host::Crc32 crc;
  crc.add(data);
  return crc.value();
}

std::string SecurityAdditions::bin2hex(ByteView data) { return lowerHexText(data); }

std::string SecurityAdditions::bin2percentHex(ByteView data) { return percentHexText(data); }

}  // namespace brisvane
