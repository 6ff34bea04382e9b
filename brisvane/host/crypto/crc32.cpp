#include "brisvane/host/crypto/crc32.h"

#include <array>
#include <cstddef>

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
    for (int bit = 0; bit < 8; ++bit) entry = (entry & 1U) != 0 ? entry >> 1U ^ kPolynomial : entry >> 1U;
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

// The slice's first four bytes are met by what the register holds.
std::uint32_t takeSlice(std::uint32_t crc, const std::uint8_t* slice) noexcept {
  std::uint32_t next = 0;
  for (std::size_t i = 0; i < kSlice; ++i) {
    const std::uint32_t held = i < sizeof crc ? crc >> (8 * i) & 0xFFU : 0;
    next ^= kTables[kSlice - 1 - i][slice[i] ^ held];
  }
  return next;
}

}  // namespace

void Crc32::add(ByteView bytes) noexcept {
  std::uint32_t crc = register_;
  for (; bytes.size() >= kSlice; bytes = bytes.subspan(kSlice)) crc = takeSlice(crc, bytes.data());
  for (const std::uint8_t byte : bytes) crc = kTables[0][(crc ^ byte) & 0xFFU] ^ crc >> 8U;
  register_ = crc;
}

}  // namespace brisvane::host
