// New files: complete before they can be seen, and in nobody's place.
// The functions keep no state and may be called from any thread.
#pragma once

#include <string>
#include <string_view>

#include "brisvane/host/error.h"
#include "brisvane/host/linux/descriptor.h"

namespace brisvane::host::real {

inline constexpr mode_t kNewFileMode = 0666;  // under the umask

// errno, as a failed call has left it.
[[nodiscard]] Error lastError() noexcept;

// Whether a file of this path can exist: it is not empty and holds no U+0000.
[[nodiscard]] bool canExist(std::string_view path) noexcept;

// Opens a file that exists, without waiting for the other end of a pipe. Waits for a lease that some
// program has on the file, such as a file server, to be given up.
[[nodiscard]] Descriptor openExisting(const std::string& path, int flags) noexcept;

// Writes all the bytes: in one write in all but the odd case, as only a disk that fills up
// takes a part. A pipe whose reader went away is EPIPE, and no signal.
Error writeAll(int descriptor, std::string_view bytes) noexcept;

// A new, empty file beside `path` for appending to, whose name it gives: short enough for any
// file system. Invalid with errno set on failure.
[[nodiscard]] Descriptor createBeside(const std::string& path, std::string& name, mode_t mode = kNewFileMode);

// Moves a file within its file system; EEXIST when something is at `to` already. EXDEV when it is another
// file system, and when this one cannot move without replacing.
Error renameWithoutReplacing(const std::string& from, const std::string& to) noexcept;

}  // namespace brisvane::host::real
