// Files and folders, as the logger and the descriptions of machines need them.
// The functions keep no state and may be called from any thread; they block for as
// long as the file system does. A path that holds U+0000 does not exist.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "brisvane/host/error.h"
#include "brisvane/types/export.h"

namespace brisvane::host {

// Appends `bytes` to the end of the file at `path`, opening and closing it, in one
// write: lines of several threads and processes neither tear nor overwrite each other on
// a local file system. Never waits for the reader of a pipe; one that went away raises
// SIGPIPE, as any write does.
//
// A file that does not exist is made beside `path` with mode 0666 under the umask and
// moved into place complete; a file that someone else has put there meanwhile is
// appended to, never replaced. A file that exists and cannot be opened is an error.
//
// On failure the file holds what it held before, but for the part of `bytes` that a
// full disk still took.
BRISVANE_EXPORT Error appendToFile(std::string_view path, std::string_view bytes) noexcept;

// The content of a file of at most `limit` bytes. On failure `error` says why; a
// larger file is EFBIG.
BRISVANE_EXPORT std::optional<std::string> readFile(std::string_view path, std::size_t limit, Error& error) noexcept;

enum class FileKind : std::uint8_t { kNone, kFolder, kOther };

// What is at `path`, symbolic links followed; kNone also when that cannot be found out.
[[nodiscard]] BRISVANE_EXPORT FileKind fileKind(std::string_view path) noexcept;

// Makes the folder at `path` and every missing one above it, mode 0777 under the umask.
// A folder that is there already is no error.
BRISVANE_EXPORT Error createFolders(std::string_view path) noexcept;

}  // namespace brisvane::host
