#include "brisvane/host/crypto/crc32.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

#include "brisvane/host/crypto/crc32_kernels.h"

namespace brisvane::host {
namespace {

constexpr std::uint32_t kPolynomial = 0xEDB88320;  // of IEEE 802.3, its bits reversed
constexpr std::size_t kSlice = 16;                 // bytes a step

using Table = std::array<std::uint32_t, 256>;

// Table 0 takes a byte on by one position; table k takes it on by k more, over zero bytes. So
// the remainders of all the bytes of a slice can be looked up independently of each other
// (Kounavis and Berry, "A Systematic Approach to Building High Performance Software-based CRC
// Generators", 2005).
constexpr auto kTables = [] {
  std::array<Table, kSlice> tables{};
  for (std::uint32_t i = 0; i < tables[0].size(); ++i) {
    std::uint32_t entry = i;
    for (int bit = 0; bit < 8; ++bit)
      entry = (entry & 1U) != 0 ? entry >> 1U ^ kPolynomial : entry >> 1U;
    tables[0][i] = entry;
  }
  for (std::size_t k = 1; k < kSlice; ++k) {
    for (std::size_t i = 0; i < tables[k].size(); ++i) {
      const std::uint32_t before = tables[k - 1][i];
      tables[k][i] = before >> 8U ^ tables[0][before & 0xFFU];
    }
  }
  return tables;
}();

std::uint64_t wordAt(const std::uint8_t* bytes) noexcept {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  static_assert(std::endian::native == std::endian::little);
  return word;
}

// The remainder of a word that `after` bytes of its slice follow.
template <std::size_t after>
[[gnu::always_inline]] inline std::uint32_t takeWord(std::uint64_t word) noexcept {
  std::uint32_t next = 0;
  for (std::size_t i = 0; i < sizeof word; ++i)
    next ^= kTables[after + 7 - i][word >> (8 * i) & 0xFFU];
  return next;
}

}  // namespace

std::uint32_t crc32ByTables(std::uint32_t before, ByteView bytes) noexcept {
  std::uint32_t crc = before;
  // The slice's first four bytes are met by what the register holds.
  for (; bytes.size() >= kSlice; bytes = bytes.subspan(kSlice)) {
    crc = takeWord<8>(wordAt(bytes.data()) ^ crc) ^ takeWord<0>(wordAt(bytes.data() + 8));
  }
  if (bytes.size() >= 8) {
    crc = takeWord<0>(wordAt(bytes.data()) ^ crc);
    bytes = bytes.subspan(8);
  }
  for (const std::uint8_t byte : bytes) crc = kTables[0][(crc ^ byte) & 0xFFU] ^ crc >> 8U;
  return crc;
}

void Crc32::add(ByteView bytes) noexcept {
  // Below this, no kernel is faster than tables.
  constexpr std::size_t kFew = 16;
  if (bytes.size() >= kFew) {
    const Crc32Kernels kernels = crc32Kernels();
    if (const Crc32Kernel kernel = kernels.wide != nullptr ? kernels.wide : kernels.narrow) {
      register_ = kernel(register_, bytes);
      return;
    }
  }
  register_ = crc32ByTables(register_, bytes);
}

}  // namespace brisvane::host
