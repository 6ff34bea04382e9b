#include "brisvane/host/files.h"

#include <sys/random.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <new>

#include "brisvane/host/linux/descriptor.h"
#include "brisvane/types/hex.h"

namespace brisvane::host {
namespace {

using real::Descriptor;
using real::openDescriptor;

// O_NONBLOCK: a file does not care, and a pipe that nobody reads is an error, not a wait.
constexpr int kAppendFlags = O_WRONLY | O_APPEND | O_NOCTTY | O_NONBLOCK;
constexpr int kReadFlags = O_RDONLY | O_NOCTTY | O_NONBLOCK;
constexpr mode_t kNewFileMode = 0666;  // under the umask

Error lastError() noexcept { return Error(errno); }

// One write in all but the odd case: only a disk that fills up takes a part.
Error writeAll(int descriptor, std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return lastError();
    if (written == 0) return Error(EIO);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return {};
}

// A name for a file beside `path`, short enough for any file system.
std::string nameBeside(const std::string& path) {
  std::uint64_t number = 0;
  if (::getrandom(&number, sizeof number, GRND_NONBLOCK) != sizeof number) {
    // Early in the boot. A name that is taken is only tried again.
    number = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
             static_cast<std::uint64_t>(::getpid()) << 32U;
  }
  std::string name = path.substr(0, path.rfind('/') + 1).append(".bv");
  for (unsigned shift = 0; shift < 64; shift += 4) name += hexDigit(static_cast<unsigned>(number >> shift));
  return name;
}

// A new file beside `path`, whose name it gives; invalid with errno set on failure.
Descriptor createBeside(const std::string& path, std::string& name) {
  constexpr int kTries = 16;
  Descriptor file;
  for (int i = 0; i < kTries; ++i) {
    name = nameBeside(path);
    file = openDescriptor(name.c_str(), kAppendFlags | O_CREAT | O_EXCL, kNewFileMode);
    if (file.valid() || errno != EEXIST) break;
  }
  return file;
}

// Moves a complete file to `path`; EEXIST when something is there already.
Error moveWithoutReplacing(const std::string& from, const std::string& path, std::string_view bytes) noexcept {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0) return {};
  if (errno == EEXIST) return lastError();
  // A file system without RENAME_NOREPLACE (EINVAL), or without hard links (EPERM).
  if (::link(from.c_str(), path.c_str()) == 0) {
    ::unlink(from.c_str());
    return {};
  }
  if (errno == EEXIST) return lastError();
  const Descriptor file = openDescriptor(path.c_str(), kAppendFlags | O_CREAT | O_EXCL, kNewFileMode);
  if (!file.valid()) return lastError();
  const Error failed = writeAll(file.get(), bytes);
  if (!failed) ::unlink(from.c_str());
  return failed;
}

// Makes the file at `path`, complete from the moment it can be seen.
Error createFile(const std::string& path, std::string_view bytes) {
  std::string beside;
  Descriptor file = createBeside(path, beside);
  if (!file.valid()) return lastError();
  Error failed = writeAll(file.get(), bytes);
  file.reset(-1);
  if (!failed) failed = moveWithoutReplacing(beside, path, bytes);
  if (failed) ::unlink(beside.c_str());
  return failed;
}

bool isSymbolicLink(const std::string& path) noexcept {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

bool canExist(std::string_view path) noexcept { return !path.empty() && path.find('\0') == std::string_view::npos; }

}  // namespace

Error appendToFile(std::string_view path, std::string_view bytes) noexcept try {
  if (!canExist(path)) return Error(ENOENT);
  const std::string name(path);
  // A further round is for a file that another writer has made in between, and then
  // moved away, and so on. A dangling symbolic link can neither be opened nor made.
  constexpr int kRounds = 100;
  for (int round = 0; round < kRounds; ++round) {
    const Descriptor file = openDescriptor(name.c_str(), kAppendFlags);
    if (file.valid()) return writeAll(file.get(), bytes);
    if (errno != ENOENT) return lastError();
    const Error failed = createFile(name, bytes);
    if (failed.number() != EEXIST) return failed;
    if (round > 0 && isSymbolicLink(name)) break;
  }
  return Error(ENOENT);
} catch (const std::bad_alloc&) {
  return Error(ENOMEM);
}

std::optional<std::string> readFile(std::string_view path, std::size_t limit, Error& error) noexcept try {
  error = canExist(path) ? Error() : Error(ENOENT);
  if (error) return std::nullopt;
  const std::string name(path);
  const Descriptor file = openDescriptor(name.c_str(), kReadFlags);
  if (!file.valid()) error = lastError();
  std::string content;
  char chunk[4096];
  while (!error) {
    const ssize_t count = ::read(file.get(), chunk, sizeof chunk);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) error = lastError();
    if (count <= 0) break;
    content.append(chunk, static_cast<std::size_t>(count));
    if (content.size() > limit) error = Error(EFBIG);
  }
  return error ? std::nullopt : std::optional<std::string>(std::move(content));
} catch (const std::bad_alloc&) {
  error = Error(ENOMEM);
  return std::nullopt;
}

FileKind fileKind(std::string_view path) noexcept try {
  struct stat status {};
  if (!canExist(path) || ::stat(std::string(path).c_str(), &status) != 0) return FileKind::kNone;
  return S_ISDIR(status.st_mode) ? FileKind::kFolder : FileKind::kOther;
} catch (const std::bad_alloc&) {
  return FileKind::kNone;
}

Error createFolders(std::string_view path) noexcept try {
  if (!canExist(path)) return Error(ENOENT);
  std::error_code failed;
  std::filesystem::create_directories(path, failed);
  return Error(failed.value());
} catch (const std::bad_alloc&) {
  return Error(ENOMEM);
}

}  // namespace brisvane::host
