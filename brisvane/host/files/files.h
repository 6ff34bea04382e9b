// Reading, writing and making files and folders.
// The functions keep no state and may be called from any thread. They block for as long as the file
// system does, and may throw std::bad_alloc. Nothing exists at a path that holds U+0000. An error's
// what() is the path.
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

// Whether symbolic links in a path are followed.
enum class Links : std::uint8_t { kFollowed, kRefused };

// The same for a line. When the last append of this process to the file was cut short, writes a
// line feed ahead of the line. REQUIRES: `line` ends with a line feed.
//
// ELOOP: the file or a folder of `path` is a symbolic link, and `links` is kRefused. Nothing has
// been written or made. Such a path is followed by way of /proc, which must be mounted.
BRISVANE_EXPORT Result<> appendLineToFile(std::string_view path, std::string_view line,
                                          Links links = Links::kFollowed);

// Who may read a new file: those whom the umask permits, or only its owner.
enum class Readers : std::uint8_t { kUsual, kOwner };

// Makes a file that holds `bytes`, with mode 0666 under the umask, or 0600. It is made beside
// `path` and moved into place complete. EEXIST: something is at `path` already, which may be a
// dangling symbolic link. It stays.
BRISVANE_EXPORT Result<> createFile(std::string_view path, std::string_view bytes,
                                    Readers readers = Readers::kUsual);

// Replaces the content of the file at `path` by `bytes`, in place. Symbolic links are followed.
//
// - ENOENT: there is no such file.
// - ENXIO: the file is a pipe without a reader.
// - EPIPE: the reader of a pipe goes away. No signal is raised.
// - On failure the file may hold a part of `bytes` ahead of its old content. A full disk leaves it
//   unchanged where the file system knows beforehand that there is no room.
// - Blocks until the reader of a pipe has taken all.
BRISVANE_EXPORT Result<> overwriteFile(std::string_view path, std::string_view bytes);

// The content of a file. EFBIG: it has more than `limit` bytes.
BRISVANE_EXPORT Result<std::string> readFile(std::string_view path, std::size_t limit);

enum class FileKind : std::uint8_t { kNone, kFolder, kOther };

// What is at `path`. Symbolic links are followed. kNone also when that cannot be determined.
[[nodiscard]] BRISVANE_EXPORT FileKind fileKind(std::string_view path);

// Makes the folder at `path` and every missing one above it, mode 0777 under the umask.
// A folder that is there already is no error.
BRISVANE_EXPORT Result<> createFolders(std::string_view path);

}  // namespace brisvane::host
