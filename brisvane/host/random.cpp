#include "brisvane/host/random.h"

#include <openssl/rand.h>

#include "brisvane/host/openssl.h"

namespace brisvane::host {

bool fillWithRandomBytes(std::span<std::uint8_t> space) noexcept {
  const openssl::Algorithms* const algorithms = openssl::algorithms();
  if (algorithms == nullptr) return false;
  const openssl::ErrorMark mark;
  constexpr unsigned kStrength = 0;  // that of the generator
  return RAND_bytes_ex(algorithms->context, space.data(), space.size(), kStrength) == 1;
}

}  // namespace brisvane::host
