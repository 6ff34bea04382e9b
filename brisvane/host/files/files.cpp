#include "brisvane/host/files/files.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <new>

#include "brisvane/host/files/cut_lines.h"
#include "brisvane/host/files/descriptor.h"
#include "brisvane/host/files/file_access.h"
#include "brisvane/host/files/new_file.h"
#include "brisvane/types/join.h"

namespace brisvane::host {
namespace {

using real::canExist;
using real::createBeside;
using real::Descriptor;
using real::forgetCutLine;
using real::isAnyLineCut;
using real::kNewFileMode;
using real::lastError;
using real::openDescriptor;
using real::openExisting;
using real::rememberCutLine;
using real::renameWithoutReplacing;
using real::writeAll;

// Moves a complete file to `path`; EEXIST when something is there already.
FormerError moveWithoutReplacing(const std::string& from, const std::string& path, std::string_view bytes,
                                 mode_t mode) noexcept {
  const FormerError failed = renameWithoutReplacing(from, path);
  if (failed.number() != EXDEV) return failed;
  // The file system has no way to do that: what is written can be seen before it is complete.
  const Descriptor file = openDescriptor(path.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_CREAT | O_EXCL, mode);
  if (!file.valid()) return lastError();
  const FormerError unwritten = writeAll(file.get(), bytes);
  ::unlink(unwritten ? path.c_str() : from.c_str());
  return unwritten;
}

// Makes the file at `path`, complete from the moment it can be seen.
FormerError create(const std::string& path, std::string_view bytes, mode_t mode = kNewFileMode) {
  std::string beside;
  Descriptor file = createBeside(path, beside, mode);
  if (!file.valid()) return lastError();
  FormerError failed = writeAll(file.get(), bytes);
  if (isAnyLineCut()) forgetCutLine(file.get());  // of a removed file that had the number of this one
  file.reset(-1);
  if (!failed) failed = moveWithoutReplacing(beside, path, bytes, mode);
  if (failed) ::unlink(beside.c_str());
  return failed;
}

bool isLackOfRoom(int error) noexcept { return error == ENOSPC || error == EDQUOT || error == EFBIG; }

// Whether no path leads to the file any more: what is written to it is gone when it is closed.
bool isRemoved(int file) noexcept {
  struct stat status {};
  return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 0;
}

bool isSymbolicLink(const std::string& path) noexcept {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

enum class Content : std::uint8_t { kAny, kLine };

// `beganAnew` when the bytes begin with the line feed that a cut line lacks.
FormerError writeToEnd(int file, std::string_view bytes, bool beganAnew) noexcept {
  std::size_t written = 0;
  const FormerError failed = writeAll(file, bytes, &written);
  if (failed && (written > 0 || beganAnew)) rememberCutLine(file);
  if (!failed && bytes.ends_with('\n') && isAnyLineCut()) forgetCutLine(file);
  return failed;
}

FormerError writeToEnd(int file, std::string_view bytes, Content content) {
  if (content == Content::kAny || !isAnyLineCut()) return writeToEnd(file, bytes, false);
  const std::string onItsOwn = join({"\n", bytes});
  const bool isAfterCutLine = forgetCutLine(file);
  return writeToEnd(file, isAfterCutLine ? onItsOwn : bytes, isAfterCutLine);
}

FormerError append(std::string_view path, std::string_view bytes, Content content) {
  if (!canExist(path)) return FormerError(ENOENT);
  const std::string name(path);
  // A further round is for a file that another writer has made in between, or one that was moved to
  // another file system while it was being opened. A dangling symbolic link can neither be opened nor made.
  constexpr int kRounds = 100;
  for (int round = 0; round < kRounds; ++round) {
    const Descriptor file = openExisting(name, O_WRONLY | O_APPEND);
    if (file.valid()) {
      if (round < kRounds - 1 && isRemoved(file.get())) continue;
      return writeToEnd(file.get(), bytes, content);
    }
    if (errno != ENOENT) return lastError();
    const FormerError failed = create(name, bytes);
    if (failed.number() != EEXIST) return failed;
    if (round > 0 && isSymbolicLink(name)) break;
  }
  return FormerError(ENOENT);
}

}  // namespace

FormerError appendToFile(std::string_view path, std::string_view bytes) noexcept try {
  return append(path, bytes, Content::kAny);
} catch (const std::bad_alloc&) {
  return FormerError(ENOMEM);
}

FormerError appendLineToFile(std::string_view path, std::string_view line) noexcept try {
  return append(path, line, Content::kLine);
} catch (const std::bad_alloc&) {
  return FormerError(ENOMEM);
}

FormerError createFile(std::string_view path, std::string_view bytes, Readers readers) noexcept try {
  constexpr mode_t kOwnersAlone = 0600;
  if (!canExist(path)) return FormerError(ENOENT);
  return create(std::string(path), bytes, readers == Readers::kOwner ? kOwnersAlone : kNewFileMode);
} catch (const std::bad_alloc&) {
  return FormerError(ENOMEM);
}

FormerError overwriteFile(std::string_view path, std::string_view bytes) noexcept try {
  if (!canExist(path)) return FormerError(ENOENT);
  const auto size = static_cast<off_t>(bytes.size());
  const Descriptor file = openExisting(std::string(path), O_WRONLY);
  if (!file.valid() || ::fcntl(file.get(), F_SETFL, 0) != 0) return lastError();  // a pipe that is read is waited for
  // A disk without room for it is found out while the file still holds what it did.
  if (size > 0 && ::fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0, size) != 0 && isLackOfRoom(errno)) return lastError();
  if (const FormerError failed = writeAll(file.get(), bytes)) return failed;
  // Only a regular file has a length. What else there is, as a pipe, has taken the bytes.
  return ::ftruncate(file.get(), size) == 0 || errno == EINVAL ? FormerError() : lastError();
} catch (const std::bad_alloc&) {
  return FormerError(ENOMEM);
}

std::optional<std::string> readFile(std::string_view path, std::size_t limit, FormerError& error) noexcept try {
  error = canExist(path) ? FormerError() : FormerError(ENOENT);
  if (error) return std::nullopt;
  const Descriptor file = openExisting(std::string(path), O_RDONLY);
  if (!file.valid()) error = lastError();
  std::string content;
  char chunk[4096];
  while (!error) {
    const ssize_t count = ::read(file.get(), chunk, sizeof chunk);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) error = lastError();
    if (count <= 0) break;
    content.append(chunk, static_cast<std::size_t>(count));
    if (content.size() > limit) error = FormerError(EFBIG);
  }
  return error ? std::nullopt : std::optional<std::string>(std::move(content));
} catch (const std::bad_alloc&) {
  error = FormerError(ENOMEM);
  return std::nullopt;
}

FileKind fileKind(std::string_view path) noexcept try {
  struct stat status {};
  if (!canExist(path) || ::stat(std::string(path).c_str(), &status) != 0) return FileKind::kNone;
  return S_ISDIR(status.st_mode) ? FileKind::kFolder : FileKind::kOther;
} catch (const std::bad_alloc&) {
  return FileKind::kNone;
}

FormerError createFolders(std::string_view path) noexcept try {
  if (!canExist(path)) return FormerError(ENOENT);
  std::error_code failed;
  std::filesystem::create_directories(path, failed);
  return FormerError(failed.value());
} catch (const std::bad_alloc&) {
  return FormerError(ENOMEM);
}

}  // namespace brisvane::host
