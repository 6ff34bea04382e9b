#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <new>
#include <thread>
#include <utility>

#include "brisvane/host/files/file_access.h"
#include "brisvane/host/files/files.h"
#include "brisvane/host/files/new_file.h"

namespace brisvane::host {
namespace {

using real::createBeside;
using real::Descriptor;
using real::lastError;
using real::openDescriptor;
using real::openExisting;
using real::renameWithoutReplacing;
using real::writeAll;

// What is no regular file is no log: moving a device or a folder would do harm.
FormerError refusal(const std::string& path) noexcept {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return lastError();
  if (S_ISDIR(status.st_mode)) return FormerError(EISDIR);
  return FormerError(S_ISREG(status.st_mode) ? 0 : EINVAL);
}

bool exists(const std::string& path) noexcept {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

// On a file system that cannot move without replacing, looking first has to do.
FormerError move(const std::string& from, const std::string& to) noexcept {
  const FormerError failed = renameWithoutReplacing(from, to);
  if (failed.number() != EXDEV) return failed;
  if (exists(to)) return FormerError(EEXIST);
  return ::rename(from.c_str(), to.c_str()) == 0 ? FormerError() : lastError();
}

FormerError copyToEnd(int from, int to) noexcept {
  char chunk[std::size_t{16} << 10U];
  for (;;) {
    const ssize_t count = ::read(from, chunk, sizeof chunk);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return lastError();
    if (count == 0) return {};
    if (const FormerError failed = writeAll(to, {chunk, static_cast<std::size_t>(count)})) return failed;
  }
}

enum class Writers : std::uint8_t { kNone, kSome, kUnknown, kNotOurs };

// Whether some program has the file open for writing: the kernel grants a read lease on it only
// when none has. REQUIRES: `file` is open for reading only.
Writers writersOf(int file) noexcept {
  // Who opened it while the lease stands, for a moment, would have it broken by a signal. SIGIO, the
  // usual one, ends a program; this one is ignored unless a program asks for it.
  if (::fcntl(file, F_SETSIG, SIGURG) != 0) return Writers::kUnknown;
  if (::fcntl(file, F_SETLEASE, F_RDLCK) == 0) {
    ::fcntl(file, F_SETLEASE, F_UNLCK);
    return Writers::kNone;
  }
  if (errno == EACCES) return Writers::kNotOurs;                // the file belongs to someone else
  return errno == EAGAIN ? Writers::kSome : Writers::kUnknown;  // EINVAL: the file system has no leases
}

// Whose writers cannot be told is left to its owner: a line could get lost.
FormerError refusalOfOthersFile(const std::string& path) noexcept {
  const Descriptor file = openExisting(path, O_RDONLY);
  if (!file.valid()) return lastError();
  return FormerError(writersOf(file.get()) == Writers::kNotOurs ? EACCES : 0);
}

// Copies a file that no path leads to any more but for ours, and what those still write who
// opened it earlier.
FormerError copyWithLastLines(int from, int to) noexcept {
  using std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kPause{1};
  constexpr std::chrono::milliseconds kLongestWrite{1000};
  constexpr std::chrono::milliseconds kUsualWrite{50};  // where nothing tells of it
  const auto start = steady_clock::now();
  for (;;) {
    const Writers writers = writersOf(from);
    if (const FormerError failed = copyToEnd(from, to)) return failed;
    if (writers == Writers::kNone) return {};
    const auto elapsed = steady_clock::now() - start;
    if (writers != Writers::kSome && elapsed > kUsualWrite) return {};
    if (elapsed > kLongestWrite) return FormerError(EBUSY);
    std::this_thread::sleep_for(kPause);
  }
}

Descriptor openFolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  return openDescriptor(folder.c_str(), O_RDONLY | O_DIRECTORY);
}

// A file, with its owner and mode, to a new one.
FormerError copyFile(int from, int to) noexcept {
  struct stat status {};
  if (::fstat(from, &status) != 0) return lastError();
  if (const FormerError failed = copyWithLastLines(from, to)) return failed;
  // The mode last, which a change of the owner cuts. Only the superuser can give a file away.
  static_cast<void>(::fchown(to, status.st_uid, status.st_gid));
  constexpr mode_t kPermissions = 0777;
  if (::fchmod(to, status.st_mode & kPermissions) != 0 && errno != EPERM) return lastError();
  return ::fsync(to) == 0 ? FormerError() : lastError();
}

// Moves a file to a name beside it that nobody else has.
FormerError moveAside(const std::string& path, std::string& name) noexcept try {
  if (!createBeside(path, name).valid()) return lastError();
  if (::rename(path.c_str(), name.c_str()) == 0) return {};
  const FormerError failed = lastError();
  ::unlink(name.c_str());
  return failed;
} catch (const std::bad_alloc&) {
  return FormerError(ENOMEM);
}

// Moves what the file `newer` holds, and is still being written to it, to the end of `older`. A line that is written to
// it after it was removed and that `older` does not take, as on a full disk, is lost.
FormerError addTo(const std::string& older, const std::string& newer, bool& hasLostLines) noexcept {
  const Descriptor from = openExisting(newer, O_RDONLY);
  if (!from.valid()) return lastError();
  const Descriptor to = openExisting(older, O_WRONLY | O_APPEND);
  if (!to.valid()) return lastError();
  if (const FormerError failed = copyWithLastLines(from.get(), to.get())) return failed;
  ::unlink(newer.c_str());
  if (copyWithLastLines(from.get(), to.get())) hasLostLines = true;
  return {};
}

// Undoes the moving aside to remains.paths.front(): the file itself, which a program may still have open, stands
// at `path` again. One that has begun there meanwhile is added to it. The paths are then those of what could not be
// put back. REQUIRES: there is room for one path more.
void moveBack(MoveRemains& remains, const std::string& path) noexcept {
  constexpr int kRounds = 100;  // of further lines, each with a file of its own
  for (int round = 0; round < kRounds; ++round) {
    const FormerError failed = move(remains.paths.front(), path);
    if (!failed) return remains.paths.clear();
    if (failed.number() != EEXIST) return;
    std::string newer;
    if (moveAside(path, newer)) continue;  // it has been moved by others
    if (addTo(remains.paths.front(), newer, remains.hasLostLines)) {
      if (move(newer, path)) remains.paths.push_back(std::move(newer));
      return;
    }
  }
}

FormerError syncFolder(const Descriptor& folder) noexcept {
  if (!folder.valid() || ::fsync(folder.get()) == 0) return {};
  const bool cannotBeSynced = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
  return cannotBeSynced ? FormerError() : lastError();
}

// Puts a complete copy in its place and removes what it was made of; on failure there is no copy any more.
FormerError replaceByCopy(const std::string& file, const std::string& copy, const std::string& to,
                          const Descriptor& folder) noexcept {
  FormerError failed = move(copy, to);
  if (failed) {
    ::unlink(copy.c_str());
    return failed;
  }
  failed = syncFolder(folder);
  if (!failed && ::unlink(file.c_str()) != 0) failed = lastError();
  if (failed) ::unlink(to.c_str());
  return failed;
}

// Adds what a removed file holds from `position` on to the log at `path`.
void giveBackLines(int removed, off_t position, const std::string& path, MoveRemains& remains) {
  std::string lines;
  char chunk[std::size_t{4} << 10U];
  ssize_t count = 0;
  for (; (count = ::pread(removed, chunk, sizeof chunk, position)) > 0; position += count) {
    lines.append(chunk, static_cast<std::size_t>(count));
  }
  if (lines.empty() && count == 0) return;
  if (count < 0 || appendToFile(path, lines)) {
    remains.hasLostLines = true;
  } else {
    remains.paths.push_back(path);
  }
}

// Copies the lines of those who found a file before it was moved aside, and opened it only when it had been copied to
// `to` and removed. Those that cannot be copied go back to where the file was.
FormerError copyLateLines(int removed, int copy, const std::string& from, const std::string& to, MoveRemains& remains) {
  struct stat before {};
  const off_t position = ::lseek(removed, 0, SEEK_CUR);
  if (position < 0 || ::fstat(copy, &before) != 0) return lastError();
  FormerError failed = copyWithLastLines(removed, copy);
  const bool isUncopied = static_cast<bool>(failed);
  if (!failed && ::lseek(removed, 0, SEEK_CUR) != position && ::fsync(copy) != 0) failed = lastError();
  if (!failed) return {};
  remains.paths.push_back(to);
  if (isUncopied) {
    static_cast<void>(::ftruncate(copy, before.st_size));  // no line stands in both
    giveBackLines(removed, position, from, remains);
  }
  return failed;
}

FormerError moveAcross(const std::string& from, const std::string& to, MoveRemains& remains) {
  if (exists(to)) return FormerError(EEXIST);
  if (const FormerError refused = refusalOfOthersFile(from)) return refused;
  const Descriptor folder = openFolderOf(to);
  remains.paths.reserve(2);
  constexpr mode_t kOwnersAlone = 0600;  // until it has the mode of the file
  std::string copyName;
  const Descriptor copy = createBeside(to, copyName, kOwnersAlone);
  if (!copy.valid()) return lastError();
  FormerError failed = moveAside(from, remains.paths.emplace_back());
  if (failed) {
    remains.paths.clear();
    ::unlink(copyName.c_str());
    return failed;
  }
  const Descriptor file = openExisting(remains.paths.front(), O_RDONLY);
  failed = file.valid() ? copyFile(file.get(), copy.get()) : lastError();
  if (failed) {
    ::unlink(copyName.c_str());
  } else {
    failed = replaceByCopy(remains.paths.front(), copyName, to, folder);
  }
  if (failed) {
    moveBack(remains, from);
    return failed;
  }
  remains.paths.clear();
  return copyLateLines(file.get(), copy.get(), from, to, remains);
}

}  // namespace

FormerError moveFile(std::string_view from, std::string_view to, MoveRemains* remains) noexcept try {
  MoveRemains unasked;
  MoveRemains& left = remains != nullptr ? *remains : unasked;
  left = {};
  if (!real::canExist(from) || !real::canExist(to)) return FormerError(ENOENT);
  const std::string source(from);
  const std::string destination(to);
  if (const FormerError refused = refusal(source)) return refused;
  const FormerError failed = renameWithoutReplacing(source, destination);
  return failed.number() == EXDEV ? moveAcross(source, destination, left) : failed;
} catch (const std::bad_alloc&) {
  return FormerError(ENOMEM);
}

}  // namespace brisvane::host
