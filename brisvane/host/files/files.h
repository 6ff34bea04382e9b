// Files and folders, as the logger, the file writers and the descriptions of machines need them.
// The functions keep no state and may be called from any thread; they block for as
// long as the file system does. A path that holds U+0000 does not exist.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/types/export.h"
#include "brisvane/types/former_error.h"

namespace brisvane::host {

// Appends `bytes` to the end of the file at `path`, opening and closing it, in one
// write: lines of several threads and processes neither tear nor overwrite each other on
// a local file system. Never waits for the reader of a pipe; one that went away is EPIPE, and no
// signal.
//
// A file that does not exist is made beside `path` with mode 0666 under the umask and
// moved into place complete; a file that someone else has put there meanwhile is
// appended to, never replaced. A file that exists and cannot be opened is an error; a dangling
// symbolic link is ENOENT.
//
// On failure the file holds what it held before, but for the part of `bytes` that a
// full disk still took.
BRISVANE_EXPORT FormerError appendToFile(std::string_view path, std::string_view bytes) noexcept;

// The same for a line, which ends with a line feed. When the last write of this process to the file was one of these
// two and was cut short, it goes on a line of its own: a line feed is written ahead of it.
BRISVANE_EXPORT FormerError appendLineToFile(std::string_view path, std::string_view line) noexcept;

// Whom a new file lets read it: whom the umask does, or its owner alone, as befits a key.
enum class Readers : std::uint8_t { kUsual, kOwner };

// Makes a file that holds `bytes`, mode 0666 under the umask or 0600: complete beside `path`, then moved
// into place. What is there already, be it a dangling symbolic link, stays and is an error, EEXIST.
BRISVANE_EXPORT FormerError createFile(std::string_view path, std::string_view bytes,
                                       Readers readers = Readers::kUsual) noexcept;

// Writes `bytes` over what the file at `path` holds; a missing one is ENOENT. Symbolic links are
// followed. A pipe that nobody reads is an error, one that is read is waited for, and one whose reader
// goes away is EPIPE, and no signal. On failure the file may hold a part of `bytes` ahead of what it held
// before; a disk without room for them leaves it as it was, where the file system can tell beforehand.
BRISVANE_EXPORT FormerError overwriteFile(std::string_view path, std::string_view bytes) noexcept;

// What a failed move has left elsewhere than where the file was.
struct MoveRemains {
  std::vector<std::string> paths;  // the file with the earliest lines first; empty when all stands at `from`
  bool hasLostLines = false;       // lines written meanwhile could be kept nowhere
};

// Moves the regular file at `from` to `to`, where nothing may be: EEXIST. `from` may be a symbolic
// link to one: then the link is moved, as it is, and a relative one may lead elsewhere from its new folder.
// What is no regular file, such as a folder or a device, is refused with EISDIR or EINVAL.
//
// Across file systems the file is copied, with its mode and, as far as permitted, its owner, synced and
// removed; of a link, what it leads to is copied, and the link alone removed. It is moved aside in its own folder
// first: whoever appends to `from` meanwhile, opening it for each line, begins a new file there, and a line that
// was under way is waited for. EBUSY when some program keeps the file open for writing, for more than a second.
// Only the file's owner and the superuser can tell: EACCES for everybody else. On a file system that cannot
// tell at all, as a network's, what a program writes that keeps the file open for longer than 50 ms is lost.
//
// On failure the copy is removed and the file itself moved back; what has begun at `from` meanwhile is added
// to it. Should even that fail, as on a full disk, nothing is removed: `remains` has the paths of what is left
// beside `from`. When only the last lines fail, those that were still written when the copy stood at `to` already,
// the copy stays there: `remains` has `to`, and `from` when these lines have gone back to it.
BRISVANE_EXPORT FormerError moveFile(std::string_view from, std::string_view to,
                                     MoveRemains* remains = nullptr) noexcept;

// The content of a file of at most `limit` bytes. On failure `error` says why; a
// larger file is EFBIG.
BRISVANE_EXPORT std::optional<std::string> readFile(std::string_view path, std::size_t limit,
                                                    FormerError& error) noexcept;

enum class FileKind : std::uint8_t { kNone, kFolder, kOther };

// What is at `path`, symbolic links followed; kNone also when that cannot be found out.
[[nodiscard]] BRISVANE_EXPORT FileKind fileKind(std::string_view path) noexcept;

// Makes the folder at `path` and every missing one above it, mode 0777 under the umask.
// A folder that is there already is no error.
BRISVANE_EXPORT FormerError createFolders(std::string_view path) noexcept;

}  // namespace brisvane::host
