// Secret, a copy of a key. Private to the library.
// A Secret belongs to one thread at a time.
#pragma once

#include <string.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "brisvane/types/data.h"

namespace brisvane::host {

// A copy of bytes that its destructor wipes. It has `size` bytes: longer ones are cut, and shorter
// ones are filled up with zero bytes. Making one may throw std::bad_alloc.
class Secret {
 public:
  Secret(ByteView from, std::size_t size) : bytes_(size) {
    std::copy_n(from.begin(), std::min(from.size(), size), bytes_.begin());
  }
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;
  // Not left out by a compiler that sees the bytes used no more.
  ~Secret() {
    if (!bytes_.empty()) ::explicit_bzero(bytes_.data(), bytes_.size());
  }

  [[nodiscard]] ByteView view() const noexcept { return bytes_; }

  // Combines each byte with the mask by exclusive or.
  void mask(std::uint8_t with) noexcept {
    for (std::uint8_t& byte : bytes_) byte ^= with;
  }

 private:
  Data bytes_;
};

}  // namespace brisvane::host
