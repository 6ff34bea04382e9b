// Whether other programs still write to a file, and the copying of what they write.
// Private to the room.
#pragma once

#include <cstdint>

#include "brisvane/types/result.h"

namespace brisvane::host::real {

enum class Writers : std::uint8_t { kNone, kSome, kUnknown, kNotOurs };

// Whether some program has the file open for writing: the kernel grants a read lease on it only
// when none has. kNotOurs when the file belongs to someone else, kUnknown when its file system has
// no leases. REQUIRES: `file` is open for reading only.
Writers writersOf(int file) noexcept;

// Copies a file that no path leads to any more but for ours, and what those still write who
// opened it earlier. EBUSY when one of them keeps it open for more than a second.
Result<> copyWithLastLines(int from, int to) noexcept;

}  // namespace brisvane::host::real
