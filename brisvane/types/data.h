// Data, the byte buffer, and its textual description.
// The functions keep no state and may be called from any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/types/export.h"

namespace brisvane {

// An owned, growable sequence of bytes. Arguments are taken as ByteView.
using Data = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

// Bytes as the characters of a text, and the other way: views of what is passed, which must outlive them.
[[nodiscard]] inline std::string_view asCharacters(ByteView bytes) noexcept {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
[[nodiscard]] inline ByteView asBytes(std::string_view characters) noexcept {
  return {reinterpret_cast<const std::uint8_t*>(characters.data()), characters.size()};
}

// The buffer for a log line: its length and its bytes in upper-case hexadecimal,
// in groups of four bytes, as in "5 bytes: 0A0B0C0D 0E". Nothing parses this form.
[[nodiscard]] BRISVANE_EXPORT std::string describe(ByteView bytes);

}  // namespace brisvane
