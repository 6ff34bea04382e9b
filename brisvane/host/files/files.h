// Files and folders, as the logger, the file writers and the descriptions of machines need them.
// The functions keep no state and may be called from any thread. They block for as long as the file
// system does. A path that holds U+0000 does not exist. What a failure concerns is the path.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// Appends `bytes` to the end of the file at `path`: opens it, writes once, and closes it. Lines of
// several threads and processes neither tear nor overwrite each other on a local file system.
//
// - A missing file is made beside `path`, with mode 0666 under the umask, and moved into place
//   complete. A file that someone else has put there meanwhile is appended to, never replaced.
// - A file that exists and cannot be opened is an error. A dangling symbolic link is ENOENT.
// - A pipe without a reader is ENXIO at once. One whose reader went away is EPIPE, and no signal.
// - On failure the file holds what it held before, and the part of `bytes` that a full disk took.
BRISVANE_EXPORT Result<> appendToFile(std::string_view path, std::string_view bytes);

// The same for a line, which ends with a line feed. A line feed is written ahead of it when the last
// write of this process to the file was one of these two and was cut short.
BRISVANE_EXPORT Result<> appendLineToFile(std::string_view path, std::string_view line);

// Who may read a new file: those whom the umask lets, or its owner alone, as befits a key.
enum class Readers : std::uint8_t { kUsual, kOwner };

// Makes a file that holds `bytes`, with mode 0666 under the umask, or 0600. It is made beside `path`
// and moved into place complete. What is there already stays, be it a dangling symbolic link: EEXIST.
BRISVANE_EXPORT Result<> createFile(std::string_view path, std::string_view bytes, Readers readers = Readers::kUsual);

// Writes `bytes` over the content of the file at `path`, which must exist: ENOENT. Symbolic links are
// followed.
//
// - A pipe without a reader is ENXIO. One with a reader is waited for until it has taken all. One
//   whose reader goes away is EPIPE, and no signal.
// - On failure the file may hold a part of `bytes` ahead of its old content. A disk without room for
//   them leaves it as it was, where the file system knows beforehand.
BRISVANE_EXPORT Result<> overwriteFile(std::string_view path, std::string_view bytes);

// The content of a file of at most `limit` bytes. A larger file is EFBIG.
BRISVANE_EXPORT Result<std::string> readFile(std::string_view path, std::size_t limit);

enum class FileKind : std::uint8_t { kNone, kFolder, kOther };

// What is at `path`, symbolic links followed. It is kNone also when that cannot be found out.
[[nodiscard]] BRISVANE_EXPORT FileKind fileKind(std::string_view path);

// Makes the folder at `path` and every missing one above it, mode 0777 under the umask.
// A folder that is there already is no error.
BRISVANE_EXPORT Result<> createFolders(std::string_view path);

}  // namespace brisvane::host
