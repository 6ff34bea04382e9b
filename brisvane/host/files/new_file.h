// New files: complete before they can be seen, and in nobody's place.
// The functions keep no state and may be called from any thread.
#pragma once

#include <string>

#include "brisvane/host/files/descriptor.h"
#include "brisvane/types/former_error.h"

namespace brisvane::host::real {

inline constexpr mode_t kNewFileMode = 0666;  // under the umask

// A new, empty file beside `path` for appending to, whose name it gives: short enough for any
// file system. Invalid with errno set on failure.
[[nodiscard]] Descriptor createBeside(const std::string& path, std::string& name, mode_t mode = kNewFileMode);

// Moves a file within its file system; EEXIST when something is at `to` already. EXDEV when it is another
// file system, and when this one cannot move without replacing.
FormerError renameWithoutReplacing(const std::string& from, const std::string& to) noexcept;

}  // namespace brisvane::host::real
