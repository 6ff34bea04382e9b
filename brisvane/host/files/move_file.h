// The moving of a log file, while others may still write to it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "brisvane/host/files/files.h"
#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// How a move ended.
struct MoveOutcome {
  Result<> result;                   // a failure concerns "FROM to TO"
  std::vector<std::string> remains;  // where a failed move has left the file, the earliest lines
                                     // first; empty when all stands where it was
  bool hasLostLines = false;         // lines written meanwhile could be kept nowhere
};

// Moves the regular file at `from` to `to`. It blocks for a rename, or for a copy to another file
// system. May be called from any thread.
//
// - Something at `to` is EEXIST. It is never replaced.
// - A folder is refused with EISDIR, a device and the like with EINVAL.
// - Of a symbolic link, the link is moved, as it is. A relative one may lead elsewhere from its new
//   folder. To another file system, the file it leads to is copied, and the link alone removed.
//
// To another file system:
// - The file is first moved aside in its own folder. Whoever appends to `from` meanwhile, opening
//   it for each line, begins a new file there. A line that is under way is waited for.
// - It is then copied, with its mode and, where permitted, its owner. The copy is synced, and the
//   file removed.
// - EBUSY: a program keeps the file open for writing for more than a second.
// - EACCES: the file belongs to someone else. Only its owner and the superuser can find its
//   writers.
// - Some file systems, as a network's, know no writers. There, what a program writes that keeps
//   the file open for longer than 50 ms is lost.
//
// When that fails:
// - The copy is removed and the file moved back. Lines that have begun at `from` meanwhile are
//   added.
// - If it cannot be moved back, nothing is removed: `remains` has the paths beside `from`.
// - If only the last lines fail, written when the copy stood at `to` already, the copy stays:
//   `remains` has `to`, and `from` when these lines have gone back to it.
//
// ELOOP: `from` or a folder of it is a symbolic link, and `links` is kRefused. That is looked at
// first: someone who may change these folders can still put one there before the move.
[[nodiscard]] BRISVANE_EXPORT MoveOutcome moveFile(std::string_view from, std::string_view to,
                                                   Links links = Links::kFollowed);

}  // namespace brisvane::host
