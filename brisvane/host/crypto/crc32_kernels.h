// The ways in which CRC-32 is counted, one for each kind of processor. Private to the library.
#pragma once

#include <cstdint>

#include "brisvane/types/data.h"

namespace brisvane::host {

// The register after the bytes.
using Crc32Kernel = std::uint32_t (*)(std::uint32_t before, ByteView bytes) noexcept;

// For every processor: tables.
std::uint32_t crc32ByTables(std::uint32_t before, ByteView bytes) noexcept;

// By the processor's own instructions, from the one that needs the most of them; null where this
// processor does not have them, and at the end.
struct Crc32Kernels {
  Crc32Kernel wide = nullptr;
  Crc32Kernel narrow = nullptr;
};
Crc32Kernels crc32Kernels() noexcept;

}  // namespace brisvane::host
