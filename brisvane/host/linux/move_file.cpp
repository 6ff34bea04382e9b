#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <memory>
#include <new>
#include <thread>

#include "brisvane/host/files.h"
#include "brisvane/host/linux/new_file.h"

namespace brisvane::host {
namespace {

using real::createBeside;
using real::Descriptor;
using real::lastError;
using real::openDescriptor;
using real::renameWithoutReplacing;
using real::writeAll;

// What is no regular file is no log: moving a device or a folder would do harm.
Error refusal(const std::string& path) noexcept {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return lastError();
  if (S_ISDIR(status.st_mode)) return Error(EISDIR);
  return Error(S_ISREG(status.st_mode) ? 0 : EINVAL);
}

bool exists(const std::string& path) noexcept {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

// On a file system that cannot move without replacing, looking first has to do.
Error move(const std::string& from, const std::string& to) noexcept {
  const Error failed = renameWithoutReplacing(from, to);
  if (failed.number() != EXDEV) return failed;
  if (exists(to)) return Error(EEXIST);
  return ::rename(from.c_str(), to.c_str()) == 0 ? Error() : lastError();
}

Error copyToEnd(int from, int to) {
  constexpr std::size_t kChunk = std::size_t{64} << 10U;
  const auto chunk = std::make_unique_for_overwrite<char[]>(kChunk);
  for (;;) {
    const ssize_t count = ::read(from, chunk.get(), kChunk);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return lastError();
    if (count == 0) return {};
    if (const Error failed = writeAll(to, {chunk.get(), static_cast<std::size_t>(count)})) return failed;
  }
}

enum class Writers : std::uint8_t { kNone, kSome, kUnknown };

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
  // EINVAL: the file system has no leases. EACCES: the file belongs to someone else.
  return errno == EAGAIN ? Writers::kSome : Writers::kUnknown;
}

// Copies a file that no path leads to any more but for ours, and what those still write who
// opened it earlier.
Error copyWithLastLines(int from, int to) {
  using std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kPause{1};
  constexpr std::chrono::milliseconds kLongestWrite{1000};
  constexpr std::chrono::milliseconds kUsualWrite{50};  // where nothing tells of it
  const auto start = steady_clock::now();
  for (;;) {
    const Writers writers = writersOf(from);
    if (const Error failed = copyToEnd(from, to)) return failed;
    if (writers == Writers::kNone) return {};
    const auto elapsed = steady_clock::now() - start;
    if (writers == Writers::kUnknown && elapsed > kUsualWrite) return {};
    if (elapsed > kLongestWrite) return Error(EBUSY);
    std::this_thread::sleep_for(kPause);
  }
}

void syncFolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const Descriptor descriptor = openDescriptor(folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (descriptor.valid()) ::fsync(descriptor.get());
}

// The file at `from`, with its owner and mode, to a new one.
Error copyFile(const std::string& from, int to) {
  const Descriptor file = openDescriptor(from.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK);
  if (!file.valid()) return lastError();
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return lastError();
  if (const Error failed = copyWithLastLines(file.get(), to)) return failed;
  // The mode last, which a change of the owner cuts. Only the superuser can give a file away.
  static_cast<void>(::fchown(to, status.st_uid, status.st_gid));
  constexpr mode_t kPermissions = 0777;
  if (::fchmod(to, status.st_mode & kPermissions) != 0 && errno != EPERM) return lastError();
  return ::fsync(to) == 0 ? Error() : lastError();
}

// Undoes the moving aside. What has begun at `path` meanwhile stays, and takes the lines in.
void moveBack(const std::string& aside, const std::string& path) {
  if (move(aside, path).number() != EEXIST) return;
  const Descriptor from = openDescriptor(aside.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK);
  const Descriptor to = openDescriptor(path.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_NONBLOCK);
  if (from.valid() && to.valid() && !copyToEnd(from.get(), to.get())) ::unlink(aside.c_str());
}

Error moveAcross(const std::string& from, const std::string& to) {
  if (exists(to)) return Error(EEXIST);
  constexpr mode_t kOwnersAlone = 0600;  // until it has the mode of the file
  std::string copyName;
  const Descriptor copy = createBeside(to, copyName, kOwnersAlone);
  if (!copy.valid()) return lastError();
  std::string aside;
  const bool isReserved = createBeside(from, aside).valid();
  if (!isReserved || ::rename(from.c_str(), aside.c_str()) != 0) {
    const Error failed = lastError();
    if (isReserved) ::unlink(aside.c_str());
    ::unlink(copyName.c_str());
    return failed;
  }
  Error failed = copyFile(aside, copy.get());
  if (!failed) failed = move(copyName, to);
  if (failed) {
    ::unlink(copyName.c_str());
    moveBack(aside, from);
    return failed;
  }
  syncFolderOf(to);
  ::unlink(aside.c_str());
  return {};
}

}  // namespace

Error moveFile(std::string_view from, std::string_view to) noexcept try {
  if (!real::canExist(from) || !real::canExist(to)) return Error(ENOENT);
  const std::string source(from);
  const std::string destination(to);
  if (const Error refused = refusal(source)) return refused;
  const Error failed = renameWithoutReplacing(source, destination);
  return failed.number() == EXDEV ? moveAcross(source, destination) : failed;
} catch (const std::bad_alloc&) {
  return Error(ENOMEM);
}

}  // namespace brisvane::host
