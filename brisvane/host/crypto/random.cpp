#include "brisvane/host/crypto/random.h"

#include <sys/random.h>

#include <cerrno>

namespace brisvane::host {

Result<> fillWithRandomBytes(std::span<std::uint8_t> space) noexcept {
  constexpr unsigned kFlags = 0;
  while (!space.empty()) {
    const ssize_t count =
        ::getrandom(space.data(), space.size(), kFlags);  // a signal may cut it short
    if (count < 0 && errno != EINTR) return Error::last("getrandom");
    if (count > 0) space = space.subspan(static_cast<std::size_t>(count));
  }
  return {};
}

}  // namespace brisvane::host
