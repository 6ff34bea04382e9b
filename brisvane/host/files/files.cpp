#include "brisvane/host/files/files.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>

#include "brisvane/host/files/cut_lines.h"
#include "brisvane/host/files/descriptor.h"
#include "brisvane/host/files/file_access.h"
#include "brisvane/host/files/new_file.h"
#include "brisvane/host/files/path_without_links.h"
#include "brisvane/types/join.h"

namespace brisvane::host {
namespace {

using real::canExist;
using real::createBeside;
using real::Descriptor;
using real::failedWith;
using real::FileTraits;
using real::forgetCutLine;
using real::isAnyLineCut;
using real::kNewFileMode;
using real::NewFile;
using real::openDescriptor;
using real::openExisting;
using real::PathWithoutLinks;
using real::refusedLink;
using real::rememberCutLine;
using real::renameWithoutReplacing;
using real::Target;
using real::traitsOf;
using real::writeAll;

Result<> of(std::string_view path, Result<> result) {
  return result.ok() ? result : result.error().of(shownPath(path));
}

// Moves a complete file to `path`; EEXIST when something is there already.
Result<> moveWithoutReplacing(const std::string& from, const std::string& path,
                              std::string_view bytes, mode_t mode) {
  Result<> moved = renameWithoutReplacing(from, path);
  if (!failedWith(moved, EXDEV)) return moved;
  // The file system has no way to do that: what is written can be seen before it is complete.
  const Descriptor file =
      openDescriptor(path.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_CREAT | O_EXCL, mode);
  if (!file.valid()) return Error::last();
  Result<> written = writeAll(file.get(), Target::kRegularFile, bytes);
  ::unlink(written.ok() ? from.c_str() : path.c_str());
  return written;
}

// Makes the file at `path`, complete from the moment it can be seen.
Result<> create(const std::string& path, std::string_view bytes, mode_t mode = kNewFileMode) {
  Result<NewFile> beside = createBeside(path, mode);
  if (!beside.ok()) return beside.error();
  NewFile& made = beside.value();
  Result<> result = writeAll(made.file.get(), Target::kRegularFile, bytes);
  if (isAnyLineCut())
    forgetCutLine(made.file.get());  // of a removed file that had the number of this one
  made.file.reset(-1);
  if (result.ok()) result = moveWithoutReplacing(made.path, path, bytes, mode);
  if (!result.ok()) ::unlink(made.path.c_str());
  return result;
}

bool isLackOfRoom(int error) noexcept {
  return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

bool isSymbolicLink(const std::string& path) noexcept {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

enum class Content : std::uint8_t { kAny, kLine };

// `beganAnew` when the bytes begin with the line feed that a cut line lacks.
Result<> writeToEnd(int file, Target target, std::string_view bytes, bool beganAnew) noexcept {
  std::size_t count = 0;
  Result<> written = writeAll(file, target, bytes, &count);
  if (!written.ok() && (count > 0 || beganAnew)) rememberCutLine(file);
  if (written.ok() && bytes.ends_with('\n') && isAnyLineCut()) forgetCutLine(file);
  return written;
}

Result<> writeToEnd(int file, Target target, std::string_view bytes, Content content) {
  if (content == Content::kAny || !isAnyLineCut()) return writeToEnd(file, target, bytes, false);
  const std::string onItsOwn = join({"\n", bytes});
  const bool isAfterCutLine = forgetCutLine(file);
  return writeToEnd(file, target, isAfterCutLine ? onItsOwn : bytes, isAfterCutLine);
}

Result<> append(const std::string& name, std::string_view bytes, Content content, Links links) {
  const int linkFlag = links == Links::kRefused ? O_NOFOLLOW : 0;
  // A further round is for a file that another writer has made in between, or one that was moved to
  // another file system while it was being opened. A dangling symbolic link can neither be opened
  // nor made.
  constexpr int kRounds = 100;
  for (int round = 0; round < kRounds; ++round) {
    const Result<Descriptor> file = openExisting(name, O_WRONLY | O_APPEND | linkFlag);
    if (file.ok()) {
      const int descriptor = file.value().get();
      const FileTraits traits = traitsOf(descriptor);
      if (round < kRounds - 1 && traits.isRemoved) continue;
      return writeToEnd(descriptor, traits.isRegular ? Target::kRegularFile : Target::kAny, bytes,
                        content);
    }
    const int number = file.error().number();
    if (number == ELOOP && links == Links::kRefused) return refusedLink();
    if (number != ENOENT) return file.error();
    Result<> created = create(name, bytes);
    if (!failedWith(created, EEXIST)) return created;
    if (round > 0 && isSymbolicLink(name)) break;
  }
  return Error(ENOENT);
}

Result<> append(std::string_view path, std::string_view bytes, Content content,
                Links links = Links::kFollowed) {
  if (!canExist(path)) return Error(ENOENT);
  const std::string name(path);
  if (links == Links::kFollowed) return append(name, bytes, content, links);
  const auto way = PathWithoutLinks::find(name);
  if (!way.ok()) return way.error();
  return append(way.value().path(), bytes, content, links);
}

Result<> overwrite(const std::string& path, std::string_view bytes) {
  const auto size = static_cast<off_t>(bytes.size());
  const Result<Descriptor> opened = openExisting(path, O_WRONLY);
  if (!opened.ok()) return opened.error();
  const int file = opened.value().get();
  if (::fcntl(file, F_SETFL, 0) != 0) return Error::last();  // a pipe that is read is waited for
  // A disk without room for it is found out while the file still holds what it did.
  if (size > 0 && ::fallocate(file, FALLOC_FL_KEEP_SIZE, 0, size) != 0 && isLackOfRoom(errno))
    return Error::last();
  if (Result<> written = writeAll(file, Target::kAny, bytes); !written.ok()) return written;
  // Only a regular file has a length. What else there is, as a pipe, has taken the bytes.
  if (::ftruncate(file, size) != 0 && errno != EINVAL) return Error::last();
  return {};
}

}  // namespace

Result<> appendToFile(std::string_view path, std::string_view bytes) {
  return of(path, append(path, bytes, Content::kAny));
}

Result<> appendLineToFile(std::string_view path, std::string_view line, Links links) {
  return of(path, append(path, line, Content::kLine, links));
}

Result<> createFile(std::string_view path, std::string_view bytes, Readers readers) {
  constexpr mode_t kOwnersAlone = 0600;
  if (!canExist(path)) return Error(ENOENT, shownPath(path));
  return of(path, create(std::string(path), bytes,
                         readers == Readers::kOwner ? kOwnersAlone : kNewFileMode));
}

Result<> overwriteFile(std::string_view path, std::string_view bytes) {
  if (!canExist(path)) return Error(ENOENT, shownPath(path));
  return of(path, overwrite(std::string(path), bytes));
}

Result<std::string> readFile(std::string_view path, std::size_t limit) {
  if (!canExist(path)) return Error(ENOENT, shownPath(path));
  const Result<Descriptor> file = openExisting(std::string(path), O_RDONLY);
  if (!file.ok()) return file.error().of(path);
  std::string content;
  char chunk[4096];
  for (;;) {
    const ssize_t count = ::read(file.value().get(), chunk, sizeof chunk);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return Error::last(path);
    if (count == 0) return content;
    content.append(chunk, static_cast<std::size_t>(count));
    if (content.size() > limit) return Error(EFBIG, path);
  }
}

FileKind fileKind(std::string_view path) {
  struct stat status {};
  if (!canExist(path) || ::stat(std::string(path).c_str(), &status) != 0) return FileKind::kNone;
  return S_ISDIR(status.st_mode) ? FileKind::kFolder : FileKind::kOther;
}

Result<> createFolders(std::string_view path) {
  if (!canExist(path)) return Error(ENOENT, shownPath(path));
  std::error_code failed;
  std::filesystem::create_directories(path, failed);
  if (failed) return Error(failed.value(), path);
  return {};
}

}  // namespace brisvane::host
