// JSON, as Objects: strict reading and plain writing.
// The functions keep no state and may be called from any thread. They may throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// The deepest nesting of arrays and objects that is read.
inline constexpr std::size_t kJsonDepthLimit = 512;

// The longest text that is written, in bytes. A small value whose parts share parts can need more
// than any memory holds.
inline constexpr std::size_t kJsonTextLimit = std::size_t{256} << 20U;

// What equal keys in one object mean: that the last counts, or that the text is wrong.
enum class RepeatedKeys { kLastCounts, kRefused };

// Parses a text by RFC 8259. Whole numbers within 64 bits become integers, other numbers become
// reals.
//
// Fails when the text is not JSON, is not UTF-8, nests too deep or has a key twice that is refused.
// The error's reason says where and why. It quotes at most 200 bytes, and shows what is not
// printable as escapes.
[[nodiscard]] BRISVANE_EXPORT Result<Object> parseJson(
    std::string_view text, RepeatedKeys repeatedKeys = RepeatedKeys::kLastCounts);

// The line, counted from 1, on which a value stands in a JSON text. `place` names the value, as in
// "devices[0].name". The line of a member is that of its key. For a place that the text does not
// have, it is the line of the nearest value around it. The time grows with the length of both
// texts.
// REQUIRES: `text` is JSON.
[[nodiscard]] BRISVANE_EXPORT std::size_t jsonLine(std::string_view text, std::string_view place);

enum class JsonLayout { kOneLine, kIndented };

// Writes a value as JSON, with the keys of each dictionary in byte order. nullopt when the text
// would be longer than kJsonTextLimit. The time grows with the length of the text.
//
// Data is written in hexadecimal, and a date as seconds since 1970. A real that is no number
// becomes null, and so does what nests deeper than kJsonDepthLimit. A byte that is not UTF-8
// becomes U+FFFD. Of two keys that are equal after that, the one that was first in byte order
// stays.
[[nodiscard]] BRISVANE_EXPORT std::optional<std::string> jsonText(
    const Object& value, JsonLayout layout = JsonLayout::kOneLine);

}  // namespace brisvane::host
