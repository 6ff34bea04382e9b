// New files: complete before they can be seen, and in nobody's place.
// The functions keep no state and may be called from any thread.
#pragma once

#include <string>

#include "brisvane/host/files/descriptor.h"
#include "brisvane/types/result.h"

namespace brisvane::host::real {

inline constexpr mode_t kNewFileMode = 0666;  // under the umask

struct NewFile {
  std::string path;
  Descriptor file;  // open for appending
};

// Makes an empty file beside `path`, of a name that is short enough for any file system.
Result<NewFile> createBeside(const std::string& path, mode_t mode = kNewFileMode);

// Moves a file within its file system; EEXIST when something is at `to` already. EXDEV when it is
// another file system, and when this one cannot move without replacing.
Result<> renameWithoutReplacing(const std::string& from, const std::string& to) noexcept;

}  // namespace brisvane::host::real
