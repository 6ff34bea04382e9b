// Secret, a copy of a key, and the wiping of the stack. Private to the library.
// A Secret belongs to one thread at a time. The function may be called from any thread.
#pragma once

#include <string.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "brisvane/types/data.h"

namespace brisvane::host {

// A copy of bytes that its destructor wipes. It has `size` bytes: longer ones are cut, and shorter
// ones are filled up with zero bytes. Up to 64 stay in the object; making a longer one may throw
// std::bad_alloc.
class Secret {
 public:
  Secret(ByteView from, std::size_t size) : large_(size > kSmall ? size : 0), size_(size) {
    std::copy_n(from.begin(), std::min(from.size(), size), bytes().begin());
  }
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;
  // Not left out by a compiler that sees the bytes used no more.
  ~Secret() {
    if (size_ != 0) ::explicit_bzero(bytes().data(), size_);
  }

  [[nodiscard]] ByteView view() const noexcept {
    return large_.empty() ? ByteView(small_).first(size_) : ByteView(large_);
  }

  // Combines each byte with the mask by exclusive or.
  void mask(std::uint8_t with) noexcept {
    for (std::uint8_t& byte : bytes()) byte ^= with;
  }

 private:
  static constexpr std::size_t kSmall = 64;

  [[nodiscard]] std::span<std::uint8_t> bytes() noexcept {
    return large_.empty() ? std::span(small_).first(size_) : std::span(large_);
  }

  std::array<std::uint8_t, kSmall> small_{};
  Data large_;
  std::size_t size_;
};

// Wipes what the functions that the caller has called have left on the stack: OpenSSL leaves the
// last block of DES there.
[[gnu::noinline]] inline void wipeUsedStack() noexcept {
  std::array<std::uint8_t, 2048> used;
  ::explicit_bzero(used.data(), used.size());
}

}  // namespace brisvane::host
