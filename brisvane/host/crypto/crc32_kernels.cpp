#include "brisvane/host/crypto/crc32_kernels.h"

#include <cstddef>

#if defined(__x86_64__)

#include <immintrin.h>

namespace brisvane::host {
namespace {

// By carry-less multiplication (Gopal and others, "Fast CRC Computation for Generic Polynomials
// Using PCLMULQDQ Instruction", 2009): a block of 16 bytes is folded into one that stands `bits`
// later when its first half is multiplied by x^(bits + 32), its second by x^(bits - 32), modulo the
// polynomial, everything bit-reversed.
constexpr long long power(unsigned exponent) noexcept {
  std::uint32_t remainder = 0x80000000;  // x^0, reversed
  for (; exponent != 0; --exponent)
    remainder = remainder >> 1U ^ ((remainder & 1U) != 0 ? 0xEDB88320 : 0);
  return static_cast<long long>(remainder) << 1U;
}
static_assert(power(128 + 32) == 0x1751997D0 && power(128 - 32) == 0x0CCAA009E);

#define BRISVANE_NARROW __attribute__((target("pclmul,sse4.1")))
#define BRISVANE_WIDE __attribute__((target("avx512f,avx512vl,vpclmulqdq,pclmul")))

// What folds a block over `bits`.
template <unsigned bits>
struct Across {
  static constexpr long long kFirst = power(bits + 32);
  static constexpr long long kSecond = power(bits - 32);
};

BRISVANE_NARROW inline __m128i load(const std::uint8_t* bytes) noexcept {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

template <unsigned bits>
BRISVANE_NARROW inline __m128i fold(__m128i block, __m128i onto) noexcept {
  const __m128i by = _mm_set_epi64x(Across<bits>::kSecond, Across<bits>::kFirst);
  const __m128i first = _mm_clmulepi64_si128(block, by, 0x00);
  return _mm_xor_si128(onto, _mm_xor_si128(first, _mm_clmulepi64_si128(block, by, 0x11)));
}

// Four blocks, one after the other, folded into the last.
BRISVANE_NARROW inline __m128i joined(const __m128i* blocks) noexcept {
  return fold<384>(blocks[0], fold<256>(blocks[1], fold<128>(blocks[2], blocks[3])));
}

// The remainder of a block: folded into its second half, then into 32 bits fewer, and divided by
// the polynomial as Barrett did it, by a multiplication with the quotient of x^64.
BRISVANE_NARROW inline std::uint32_t remainderOf(__m128i block) noexcept {
  const __m128i lowHalves = _mm_set_epi32(0, -1, 0, -1);
  const __m128i halves = _mm_xor_si128(
      _mm_srli_si128(block, 8), _mm_clmulepi64_si128(block, _mm_set_epi64x(0, power(96)), 0x00));
  const __m128i rest = _mm_xor_si128(
      _mm_srli_si128(halves, 4),
      _mm_clmulepi64_si128(_mm_and_si128(halves, lowHalves), _mm_set_epi64x(0, power(64)), 0x00));
  const __m128i divisor = _mm_set_epi64x(0x1F7011641, 0x1DB710641);  // the quotient, the polynomial
  const __m128i quotient = _mm_clmulepi64_si128(_mm_and_si128(rest, lowHalves), divisor, 0x10);
  const __m128i product = _mm_clmulepi64_si128(_mm_and_si128(quotient, lowHalves), divisor, 0x00);
  return static_cast<std::uint32_t>(_mm_extract_epi32(_mm_xor_si128(rest, product), 1));
}

// The blocks that are left, one by one, and the rest by tables.
BRISVANE_NARROW inline std::uint32_t finish(__m128i folded, ByteView bytes) noexcept {
  for (; bytes.size() >= 16; bytes = bytes.subspan(16))
    folded = fold<128>(folded, load(bytes.data()));
  const std::uint32_t remainder = remainderOf(folded);
  return bytes.empty() ? remainder : crc32ByTables(remainder, bytes);
}

BRISVANE_NARROW std::uint32_t foldNarrow(std::uint32_t before, ByteView bytes) noexcept {
  constexpr std::size_t kStep = 64;
  if (bytes.size() < 16) return crc32ByTables(before, bytes);
  const __m128i first =
      _mm_xor_si128(load(bytes.data()), _mm_cvtsi32_si128(static_cast<int>(before)));
  if (bytes.size() < kStep) return finish(first, bytes.subspan(16));
  __m128i blocks[4] = {first, load(bytes.data() + 16), load(bytes.data() + 32),
                       load(bytes.data() + 48)};
  for (bytes = bytes.subspan(kStep); bytes.size() >= kStep; bytes = bytes.subspan(kStep)) {
    for (std::size_t i = 0; i < 4; ++i)
      blocks[i] = fold<512>(blocks[i], load(bytes.data() + 16 * i));
  }
  return finish(joined(blocks), bytes);
}

template <unsigned bits>
BRISVANE_WIDE inline __m512i foldWide(__m512i blocks, __m512i onto) noexcept {
  using By = Across<bits>;
  const __m512i by = _mm512_set4_epi64(By::kSecond, By::kFirst, By::kSecond, By::kFirst);
  const __m512i first = _mm512_clmulepi64_epi128(blocks, by, 0x00);
  constexpr int kXorOfThree = 0x96;
  return _mm512_ternarylogic_epi64(first, _mm512_clmulepi64_epi128(blocks, by, 0x11), onto,
                                   kXorOfThree);
}

// So many vectors, one after the other, folded into the last.
template <std::size_t count>
BRISVANE_WIDE inline __m512i joined(const __m512i* blocks) noexcept {
  if constexpr (count == 1) {
    return blocks[0];
  } else {
    return foldWide<512 * (count - 1)>(blocks[0], joined<count - 1>(blocks + 1));
  }
}

// So many vectors a step. The processor multiplies one while the results of the others are on their
// way.
template <std::size_t count>
BRISVANE_WIDE std::uint32_t foldSteps(std::uint32_t before, ByteView bytes) noexcept {
  constexpr std::size_t kVector = 64;
  constexpr std::size_t kStep = count * kVector;
  __m512i blocks[count];
  for (std::size_t i = 0; i < count; ++i)
    blocks[i] = _mm512_loadu_si512(bytes.data() + kVector * i);
  blocks[0] = _mm512_xor_si512(blocks[0],
                               _mm512_zextsi128_si512(_mm_cvtsi32_si128(static_cast<int>(before))));
  for (bytes = bytes.subspan(kStep); bytes.size() >= kStep; bytes = bytes.subspan(kStep)) {
    for (std::size_t i = 0; i < count; ++i) {
      blocks[i] = foldWide<8 * kStep>(blocks[i], _mm512_loadu_si512(bytes.data() + kVector * i));
    }
  }
  __m512i all = joined<count>(blocks);
  for (; bytes.size() >= kVector; bytes = bytes.subspan(kVector))
    all = foldWide<8 * kVector>(all, _mm512_loadu_si512(bytes.data()));
  __m128i parts[4];
  _mm512_storeu_si512(parts, all);
  return finish(joined(parts), bytes);
}

BRISVANE_WIDE std::uint32_t foldWidely(std::uint32_t before, ByteView bytes) noexcept {
  constexpr std::size_t kFew = 256;
  constexpr std::size_t kMany = 4096;
  if (bytes.size() < kFew) return foldNarrow(before, bytes);
  return bytes.size() < kMany ? foldSteps<4>(before, bytes) : foldSteps<8>(before, bytes);
}

}  // namespace

Crc32Kernels crc32Kernels() noexcept {
  Crc32Kernels kernels;
  if (!__builtin_cpu_supports("pclmul") || !__builtin_cpu_supports("sse4.1")) return kernels;
  kernels.narrow = foldNarrow;
  if (__builtin_cpu_supports("vpclmulqdq") && __builtin_cpu_supports("avx512vl"))
    kernels.wide = foldWidely;
  return kernels;
}

}  // namespace brisvane::host

#elif defined(__aarch64__)

#include <arm_acle.h>
#include <sys/auxv.h>

#include <cstring>

namespace brisvane::host {
namespace {

#if defined(__clang__)
#define BRISVANE_WITH_CRC __attribute__((target("crc")))
#else
#define BRISVANE_WITH_CRC __attribute__((target("+crc")))
#endif

BRISVANE_WITH_CRC std::uint32_t byInstructions(std::uint32_t before, ByteView bytes) noexcept {
  std::uint32_t crc = before;
  for (; bytes.size() >= 8; bytes = bytes.subspan(8)) {
    std::uint64_t word;
    std::memcpy(&word, bytes.data(), sizeof word);
    crc = __crc32d(crc, word);
  }
  for (const std::uint8_t byte : bytes) crc = __crc32b(crc, byte);
  return crc;
}

}  // namespace

Crc32Kernels crc32Kernels() noexcept {
  constexpr unsigned long kHasCrc = 1UL << 7U;  // HWCAP_CRC32
  Crc32Kernels kernels;
  if ((::getauxval(AT_HWCAP) & kHasCrc) != 0) kernels.narrow = byInstructions;
  return kernels;
}

}  // namespace brisvane::host

#else

namespace brisvane::host {

Crc32Kernels crc32Kernels() noexcept { return {}; }

}  // namespace brisvane::host

#endif
