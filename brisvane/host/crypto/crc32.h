// The checksum CRC-32 of bytes that come in pieces.
// A Crc32 belongs to one thread at a time.
#pragma once

#include <cstdint>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"

namespace brisvane::host {

// The CRC-32 of IEEE 802.3, which zip, gzip and PNG use. A copy continues on its own.
class BRISVANE_EXPORT Crc32 {
 public:
  // Takes the next bytes. It makes no difference how they are cut into pieces.
  void add(ByteView bytes) noexcept;

  // The checksum of all the bytes so far. More may follow.
  [[nodiscard]] std::uint32_t value() const noexcept { return ~register_; }

 private:
  std::uint32_t register_ = 0xFFFFFFFF;
};

}  // namespace brisvane::host
