// Bytes, the type of arguments that are a text or a byte buffer.
// A value type: any number of threads may read one.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/text.h"

namespace brisvane {

// A view of the bytes of a buffer or a text. It may be absent: what makes an absent Text makes
// absent Bytes, and so does an empty optional buffer. An empty text or buffer is present and has no
// bytes.
//
// A literal or another `const char*` ends at its first zero byte, as a Text does. For bytes beyond
// it pass a std::string_view (`"\x02\0\x03"sv`) or a Data (`Data{2, 0, 3}`).
//
// Bytes do not own what they view. Use them as an argument, never as a member.
class Bytes {
 public:
  // NOLINTBEGIN(google-explicit-constructor): becoming Bytes unasked is what it is for.
  constexpr Bytes() noexcept = default;
  template <std::convertible_to<Text> T>
  Bytes(const T& text) noexcept : Bytes(Text(text), Marker()) {}
  // A Data, an array of std::uint8_t, a span of them.
  template <std::convertible_to<ByteView> T>
  Bytes(const T& buffer) noexcept : view_(placed(buffer)) {}
  Bytes(const std::optional<Data>& buffer) noexcept
      : view_(buffer ? placed(*buffer) : ByteView()) {}
  // NOLINTEND(google-explicit-constructor)

  [[nodiscard]] constexpr bool present() const noexcept { return view_.data() != nullptr; }

  // The bytes; none for absent ones.
  [[nodiscard]] constexpr ByteView orEmpty() const noexcept { return view_; }

 private:
  struct Marker {};
  Bytes(Text text, Marker /*delegated to*/) noexcept : view_(asBytes(text.orEmpty())) {}

  // Bytes that have a place, which no bytes may have none of.
  static constexpr ByteView placed(ByteView bytes) noexcept {
    return bytes.data() != nullptr ? bytes : ByteView(&kPlace, 0);
  }
  static constexpr std::uint8_t kPlace = 0;

  ByteView view_;  // without a place where absent, as in a Text
};

}  // namespace brisvane
