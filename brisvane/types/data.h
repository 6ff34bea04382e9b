// Data, the byte buffer, and its textual description.
// The functions keep no state and may be called from any thread. describe() may throw
// std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/types/export.h"

namespace brisvane {

// An owned, growable sequence of bytes. Operations take ByteView as argument.
using Data = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

// Bytes viewed as characters, and the reverse. REQUIRES: the argument outlives the view.
[[nodiscard]] inline std::string_view asCharacters(ByteView bytes) noexcept {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
[[nodiscard]] inline ByteView asBytes(std::string_view characters) noexcept {
  return {reinterpret_cast<const std::uint8_t*>(characters.data()), characters.size()};
}

// The buffer's length and its bytes in upper-case hexadecimal, in groups of four bytes, as in
// "5 bytes: 0A0B0C0D 0E". It is meant for log lines. Nothing parses this form. "..." stands for
// what follows the first `most` bytes.
[[nodiscard]] BRISVANE_EXPORT std::string describe(ByteView bytes, std::size_t most = SIZE_MAX);

// Prints the description. Argument-dependent lookup does not find it, because Data is a type of the
// standard library: `using brisvane::operator<<;` makes it known outside this namespace.
BRISVANE_EXPORT std::ostream& operator<<(std::ostream& stream, const Data& data);

}  // namespace brisvane
