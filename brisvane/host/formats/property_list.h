// Property lists, in their binary form.
// The function keeps no state and may be called from any thread.
#pragma once

#include <cstddef>
#include <optional>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/object.h"

namespace brisvane::host {

// The deepest nesting of arrays and dictionaries that is written.
inline constexpr std::size_t kPropertyListDepthLimit = 512;

// The value as a binary property list, version 00 ("bplist00"). Equal values of one kind stand in
// it once, the entries of dictionaries in the order of their keys' bytes, and every number has
// the smallest size that holds it: equal values give equal bytes. Strict readers read it too: an offset
// has the size that the position of the offset table takes, a reference the size that the number of
// objects takes. Dates are kept to what a double holds of seconds since 2001-01-01 00:00:00 UTC.
//
// nullopt when the value cannot be written: when it is or holds a null marker, holds a text or a
// key that is not UTF-8, or nests deeper than the limit; and when memory runs out.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> binaryPropertyList(const Object& value) noexcept;

}  // namespace brisvane::host
