// Digests and checksums: pieces give what the whole gives, on whichever processor.
#include "brisvane/host/crypto/crc32.h"
#include "brisvane/host/crypto/crc32_kernels.h"
#include "brisvane/host/crypto/digest.h"
#include "fuzz/support/fuzzing.h"

namespace brisvane::fuzz {

void run(std::string_view input) {
  Choices choices(input);
  Choices cuts(choices.bytes(8));
  const Data key = copyOf(choices.bytes(choices.below(100)));
  const Data text = copyOf(choices.rest());

  host::Sha1 digest;
  host::HmacSha1 code(key);
  host::Crc32 checksum;
  for (const ByteView piece : piecesOf(text, cuts)) {
    digest.add(piece);
    code.add(piece);
    checksum.add(piece);
  }
  require(digest.finish().value() == host::sha1(text).value(), "SHA-1 of pieces is that of all");
  require(code.finish().value() == host::hmacSha1(key, text).value(),
          "HMAC of pieces is that of all");

  const std::uint32_t plain = host::crc32ByTables(0xFFFF'FFFF, text);
  require(checksum.value() == ~plain, "CRC-32 of pieces is that of all");
  const host::Crc32Kernels kernels = host::crc32Kernels();
  for (const host::Crc32Kernel kernel : {kernels.wide, kernels.narrow})
    require(kernel == nullptr || kernel(0xFFFF'FFFF, text) == plain, "each kernel counts the same");
}

}  // namespace brisvane::fuzz
