#include "brisvane/host/files/move_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <tuple>
#include <utility>

#include "brisvane/host/files/file_access.h"
#include "brisvane/host/files/files.h"
#include "brisvane/host/files/new_file.h"
#include "brisvane/host/files/open_writers.h"
#include "brisvane/host/files/path_without_links.h"
#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"

namespace brisvane::host {
namespace {

using real::copyWithLastLines;
using real::createBeside;
using real::Descriptor;
using real::failedWith;
using real::NewFile;
using real::openDescriptor;
using real::openExisting;
using real::refuseLinks;
using real::renameWithoutReplacing;
using real::Writers;
using real::writersOf;

// What is no regular file is no log: moving a device or a folder would do harm.
Result<> refuseWhatIsNoFile(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return Error::last();
  if (S_ISDIR(status.st_mode)) return Error(EISDIR);
  if (!S_ISREG(status.st_mode)) return Error(EINVAL);
  return {};
}

// Whose writers cannot be found is left to its owner: a line could get lost.
Result<> refuseOthersFile(const std::string& path) {
  const Result<Descriptor> file = openExisting(path, O_RDONLY);
  if (!file.ok()) return file.error();
  if (writersOf(file.value().get()) == Writers::kNotOurs) return Error(EACCES);
  return {};
}

bool exists(const std::string& path) noexcept {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

// On a file system that cannot move without replacing, looking first has to do.
Result<> move(const std::string& from, const std::string& to) noexcept {
  Result<> moved = renameWithoutReplacing(from, to);
  if (!failedWith(moved, EXDEV)) return moved;
  if (exists(to)) return Error(EEXIST);
  if (::rename(from.c_str(), to.c_str()) != 0) return Error::last();
  return {};
}

Descriptor openFolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  return openDescriptor(folder.c_str(), O_RDONLY | O_DIRECTORY);
}

Result<> syncFolder(const Descriptor& folder) noexcept {
  if (!folder.valid() || ::fsync(folder.get()) == 0) return {};
  const bool cannotBeSynced = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
  if (!cannotBeSynced) return Error::last();
  return {};
}

// Moves a file to a name beside it that nobody else has, and gives the name.
Result<std::string> moveAside(const std::string& path) {
  Result<NewFile> beside = createBeside(path);
  if (!beside.ok()) return beside.error();
  std::string& name = beside.value().path;
  if (::rename(path.c_str(), name.c_str()) == 0) return std::move(name);
  const Error failed = Error::last();
  ::unlink(name.c_str());
  return failed;
}

// A file, with its owner and mode, to a new one.
Result<> copyFile(int from, int to) noexcept {
  struct stat status {};
  if (::fstat(from, &status) != 0) return Error::last();
  if (Result<> copied = copyWithLastLines(from, to); !copied.ok()) return copied;
  // The mode last, which a change of the owner cuts. Only the superuser can give a file away.
  std::ignore = ::fchown(to, status.st_uid, status.st_gid);
  constexpr mode_t kPermissions = 0777;
  if (::fchmod(to, status.st_mode & kPermissions) != 0 && errno != EPERM) return Error::last();
  if (::fsync(to) != 0) return Error::last();
  return {};
}

// A move to another file system, in its steps. Each step that fails has undone itself.
class MoveAcross {
 public:
  MoveAcross(const std::string& from, const std::string& to, MoveOutcome& outcome)
      : from_(from), to_(to), outcome_(outcome) {
    outcome_.remains.reserve(2);  // for the failure paths, which must not need memory
  }

  Result<> run() {
    if (exists(to_)) return Error(EEXIST);
    if (Result<> mine = refuseOthersFile(from_); !mine.ok()) return mine;
    folder_ = openFolderOf(to_);
    if (Result<> made = makeCopyAndMoveAside(); !made.ok()) return made;
    Result<> moved = copy();
    if (moved.ok()) moved = replaceByCopy();
    if (!moved.ok()) {
      ::unlink(copy_.path.c_str());
      moveBack();
      return moved;
    }
    outcome_.remains.clear();
    return copyLateLines();
  }

 private:
  // The file is then at remains.front(), and an empty copy stands beside `to_`.
  Result<> makeCopyAndMoveAside() {
    constexpr mode_t kOwnersAlone = 0600;  // until it has the mode of the file
    Result<NewFile> made = createBeside(to_, kOwnersAlone);
    if (!made.ok()) return made.error();
    copy_ = std::move(made).value();
    Result<std::string> aside = memoryPermitting(Error(ENOMEM), [&] { return moveAside(from_); });
    if (!aside.ok()) {
      ::unlink(copy_.path.c_str());
      return aside.error();
    }
    outcome_.remains.push_back(std::move(aside).value());
    return {};
  }

  Result<> copy() noexcept {
    Result<Descriptor> file =
        memoryPermitting(Error(ENOMEM), [&] { return openExisting(aside(), O_RDONLY); });
    if (!file.ok()) return file.error();
    file_ = std::move(file).value();
    return copyFile(file_.get(), copy_.file.get());
  }

  // Puts the complete copy in its place and removes the file; on failure nothing is at `to_`.
  Result<> replaceByCopy() noexcept {
    if (Result<> moved = move(copy_.path, to_); !moved.ok()) return moved;
    Result<> result = syncFolder(folder_);
    if (result.ok() && ::unlink(aside().c_str()) != 0) result = Error::last();
    if (!result.ok()) ::unlink(to_.c_str());
    return result;
  }

  // Undoes the moving aside: the file itself, which a program may still have open, stands at
  // `from_` again. One that has begun there meanwhile is added to it. The remains are then what
  // could not be put back.
  void moveBack() noexcept {
    constexpr int kRounds = 100;  // of further lines, each with a file of its own
    for (int round = 0; round < kRounds; ++round) {
      Result<> moved = move(aside(), from_);
      if (moved.ok()) return outcome_.remains.clear();
      if (!failedWith(moved, EEXIST)) return;
      Result<std::string> newer = memoryPermitting(Error(ENOMEM), [&] { return moveAside(from_); });
      if (!newer.ok()) continue;  // it has been moved by others
      Result<> added = memoryPermitting(Error(ENOMEM), [&] { return addToFile(newer.value()); });
      if (added.ok()) continue;
      if (!move(newer.value(), from_).ok()) outcome_.remains.push_back(std::move(newer).value());
      return;
    }
  }

  // Moves what the file `newer` holds, and is still being written to it, to the end of the file
  // moved aside. A line that is written to `newer` after its removal, and that the file does not
  // take, as on a full disk, is lost.
  Result<> addToFile(const std::string& newer) {
    const Result<Descriptor> from = openExisting(newer, O_RDONLY);
    if (!from.ok()) return from.error();
    const Result<Descriptor> to = openExisting(aside(), O_WRONLY | O_APPEND);
    if (!to.ok()) return to.error();
    const int source = from.value().get();
    const int target = to.value().get();
    if (Result<> copied = copyWithLastLines(source, target); !copied.ok()) return copied;
    ::unlink(newer.c_str());
    if (!copyWithLastLines(source, target).ok()) outcome_.hasLostLines = true;
    return {};
  }

  // Copies the lines of those who found the file before it was moved aside, and opened it only when
  // it had been copied and removed. Those that cannot be copied go back to where the file was.
  Result<> copyLateLines() {
    struct stat before {};
    const off_t position = ::lseek(file_.get(), 0, SEEK_CUR);
    if (position < 0 || ::fstat(copy_.file.get(), &before) != 0) return Error::last();
    Result<> result = copyWithLastLines(file_.get(), copy_.file.get());
    const bool isCopied = result.ok();
    const bool hasLateLines = ::lseek(file_.get(), 0, SEEK_CUR) != position;
    if (isCopied && hasLateLines && ::fsync(copy_.file.get()) != 0) result = Error::last();
    if (result.ok()) return {};
    outcome_.remains.push_back(to_);
    if (!isCopied) {
      std::ignore = ::ftruncate(copy_.file.get(), before.st_size);  // no line stands in both
      giveBackLines(position);
    }
    return result;
  }

  // Adds what the removed file holds from `position` on to the log where it was.
  void giveBackLines(off_t position) {
    outcome_.hasLostLines = true;  // until they are kept
    std::string lines;
    char chunk[std::size_t{4} << 10U];
    ssize_t count = 0;
    for (; (count = ::pread(file_.get(), chunk, sizeof chunk, position)) > 0; position += count) {
      lines.append(chunk, static_cast<std::size_t>(count));
    }
    if (count < 0) return;
    if (!lines.empty()) {
      if (!appendToFile(from_, lines).ok()) return;
      outcome_.remains.push_back(from_);
    }
    outcome_.hasLostLines = false;
  }

  [[nodiscard]] const std::string& aside() const noexcept { return outcome_.remains.front(); }

  const std::string& from_;
  const std::string& to_;
  MoveOutcome& outcome_;
  Descriptor folder_;
  NewFile copy_;
  Descriptor file_;
};

}  // namespace

MoveOutcome moveFile(std::string_view from, std::string_view to, Links links) {
  MoveOutcome outcome;
  const auto move = [&]() -> Result<> {
    if (!real::canExist(from) || !real::canExist(to)) return Error(ENOENT);
    const std::string source(from);
    const std::string destination(to);
    if (Result<> direct = links == Links::kRefused ? refuseLinks(source) : Result<>(); !direct.ok())
      return direct;
    if (Result<> isFile = refuseWhatIsNoFile(source); !isFile.ok()) return isFile;
    Result<> moved = renameWithoutReplacing(source, destination);
    return failedWith(moved, EXDEV) ? MoveAcross(source, destination, outcome).run() : moved;
  };
  outcome.result =
      memoryPermitting(Error(ENOMEM), move);  // what remains is reported, whatever failed
  if (!outcome.result.ok()) {
    unlessOutOfMemory([&] {
      outcome.result = outcome.result.error().of(join({shownPath(from), " to ", shownPath(to)}));
    });
  }
  return outcome;
}

}  // namespace brisvane::host
