// Property lists, in their binary form.
// The function keeps no state and may be called from any thread.
#pragma once

#include <cstddef>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// The deepest nesting of arrays and dictionaries that is written.
inline constexpr std::size_t kPropertyListDepthLimit = 512;

// Encodes a value as a binary property list, version 00 ("bplist00"). It may throw std::bad_alloc.
//
// Equal values give equal bytes:
// - equal values of one kind stand in the list once;
// - the entries of a dictionary stand in the order of their keys' bytes;
// - every number has the smallest size that holds it.
// Strict readers accept the list: an offset has the size that the position of the offset table
// needs, and a reference has the size that the number of objects needs. A date is kept as a double
// holds it, in seconds since 2001-01-01 00:00:00 UTC.
//
// Fails when the value is or holds a null marker, when a text or a key is not UTF-8, and when it
// nests deeper than the limit. The error's reason says which.
[[nodiscard]] BRISVANE_EXPORT Result<Data> binaryPropertyList(const Object& value);

}  // namespace brisvane::host
