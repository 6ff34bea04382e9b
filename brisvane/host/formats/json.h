// JSON, as Objects: strict reading and plain writing.
// The functions keep no state and may be called from any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"

namespace brisvane::host {

// The deepest nesting of arrays and objects that is read.
inline constexpr std::size_t kJsonDepthLimit = 512;

// The longest text that is written, in bytes: a small value whose parts share parts can spell more than
// any memory holds.
inline constexpr std::size_t kJsonTextLimit = std::size_t{256} << 20U;

// The value that `text` spells, as RFC 8259 has it; nullopt when it is not JSON, is
// not UTF-8 or nests too deep. `error` then says where and why, when given: it quotes at
// most 200 bytes, with what is not printable as escapes. Whole numbers within 64 bits
// become integers, other numbers reals; of equal keys in one object the last counts.
[[nodiscard]] BRISVANE_EXPORT std::optional<Object> parseJson(std::string_view text, std::string* error = nullptr);

// The line, counted from 1, on which a value of a JSON text stands, by its place in it, as
// in "devices[0].name": that of its key, or of the element itself. For a place that is not
// there, the line of the nearest thing around it. Its time grows with the length of both
// texts. REQUIRES that `text` is JSON.
[[nodiscard]] BRISVANE_EXPORT std::size_t jsonLine(std::string_view text, std::string_view place);

enum class JsonLayout { kOneLine, kIndented };

// The value as JSON, the keys of each dictionary in byte order. Data is written
// in hexadecimal, a date as seconds since 1970; bytes that are not UTF-8 as U+FFFD (of
// two keys that then are equal one stays); a real that is no number, and what nests
// deeper than kJsonDepthLimit, as null. nullopt when the text would be longer than
// kJsonTextLimit. Its time grows with the length of the text. It may throw std::bad_alloc.
[[nodiscard]] BRISVANE_EXPORT std::optional<std::string> jsonText(const Object& value,
                                                                  JsonLayout layout = JsonLayout::kOneLine);

}  // namespace brisvane::host
