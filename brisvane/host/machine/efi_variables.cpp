#include "brisvane/host/machine/efi_variables.h"

#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/statfs.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>

#include "brisvane/host/files/descriptor.h"
#include "brisvane/host/files/directory.h"
#include "brisvane/types/join.h"

namespace brisvane::host::real {
namespace {

// In the order in which a file begins with them, as the UEFI Specification has them:
// EFI_VARIABLE_NON_VOLATILE, _BOOTSERVICE_ACCESS and _RUNTIME_ACCESS, little-endian.
using Attributes = std::array<std::uint8_t, 4>;
constexpr Attributes kNewAttributes{7, 0, 0, 0};

constexpr int kOpenFlags = O_NOCTTY | O_NONBLOCK | O_NOFOLLOW;
constexpr mode_t kNewFileMode = 0644;  // the kernel's own for a variable
constexpr int kRounds = 10;
constexpr std::size_t kLargestVariable = std::size_t{1} << 20U;

FormerError lastError() noexcept { return FormerError(errno); }

// The whole file, by as few reads as it takes: the kernel lets ordinary users have about
// a hundred a second. What it says of the file's size is not to be trusted.
std::optional<Data> readWhole(int descriptor, FormerError& error) {
  constexpr std::size_t kFirst = std::size_t{64} << 10U;
  Data content(kFirst);
  std::size_t length = 0;
  for (;;) {
    const ssize_t count = ::read(descriptor, content.data() + length, content.size() - length);
    if (count < 0 && errno == EINTR) continue;
    error = count < 0 ? lastError() : FormerError();
    if (error) return std::nullopt;
    length += static_cast<std::size_t>(count);
    if (length < content.size()) break;
    if (length > kLargestVariable) error = FormerError(EFBIG);
    if (error) return std::nullopt;
    content.resize(content.size() * 2);
  }
  content.resize(length);
  return content;
}

// The content of a variable's file.
std::optional<Data> readFileOf(const std::string& path, FormerError& error) {
  const Descriptor file = openDescriptor(path.c_str(), O_RDONLY | kOpenFlags);
  if (file.valid()) return readWhole(file.get(), error);
  error = lastError();
  return std::nullopt;
}

// Takes the immutable flag of a file away, where it has one, and on request puts it back.
class ImmutableFlag {
 public:
  explicit ImmutableFlag(const std::string& path) noexcept
      : file_(openDescriptor(path.c_str(), O_RDONLY | kOpenFlags)) {
    const bool isKnown = file_.valid() && ::ioctl(file_.get(), FS_IOC_GETFLAGS, &flags_) == 0;
    const bool isSet = isKnown && (flags_ & FS_IMMUTABLE_FL) != 0;
    isTaken_ = isSet && set(flags_ & ~FS_IMMUTABLE_FL);
    if (isSet && !isTaken_) error_ = lastError();
  }
  // Why it is there still.
  [[nodiscard]] FormerError error() const noexcept { return error_; }
  void putBack() noexcept {
    if (isTaken_) static_cast<void>(set(flags_));
  }

 private:
  [[nodiscard]] bool set(int flags) noexcept { return ::ioctl(file_.get(), FS_IOC_SETFLAGS, &flags) == 0; }

  Descriptor file_;
  int flags_ = 0;  // an int for the kernel, whatever the request's name says
  bool isTaken_ = false;
  FormerError error_;
};

// One write, as firmware wants it. `isOpened` tells whether it came so far.
FormerError writeOnce(const std::string& path, int flags, ByteView bytes, bool cutsRest, bool& isOpened) noexcept {
  const Descriptor file = openDescriptor(path.c_str(), O_WRONLY | kOpenFlags | flags, kNewFileMode);
  isOpened = file.valid();
  if (!isOpened) return lastError();
  ssize_t written = -1;
  do {
    written = ::write(file.get(), bytes.data(), bytes.size());
  } while (written < 0 && errno == EINTR);
  if (written < 0) return lastError();
  if (static_cast<std::size_t>(written) != bytes.size()) return FormerError(EIO);
  return !cutsRest || ::ftruncate(file.get(), written) == 0 ? FormerError() : lastError();
}

// A refused write of a new variable leaves a file without a value, which would pass for a
// variable in listings.
void removeLeftover(const std::string& path) {
  FormerError unread;
  const auto content = readFileOf(path, unread);
  if (!content || content->size() >= Attributes().size()) return;
  const ImmutableFlag flag(path);
  ::unlink(path.c_str());
}

}  // namespace

bool EfiVariables::exists() const noexcept {
  struct statfs status {};
  if (::statfs(folder_.c_str(), &status) != 0) return false;
  return anyFileSystem_ || status.f_type == EFIVARFS_MAGIC;
}

std::vector<std::string> EfiVariables::propertyNames() const noexcept try {
  constexpr std::size_t kSuffix = kGuidTextLength + 1;
  std::vector<std::string> names;
  for (const std::string& file : listDirectory(folder_).optional().value_or(std::vector<std::string>())) {
    if (file.size() <= kSuffix || file[file.size() - kSuffix] != '-') continue;
    const auto space = parseGuid(std::string_view(file).substr(file.size() - kGuidTextLength));
    if (space) names.push_back(VariableName{*space, file.substr(0, file.size() - kSuffix)}.text());
  }
  std::sort(names.begin(), names.end());
  return names;
} catch (const std::bad_alloc&) {
  return {};
}

std::string EfiVariables::place(const VariableName& name) const {
  std::string guid = guidText(name.space);
  for (char& digit : guid) {
    if (digit >= 'A' && digit <= 'F') digit = static_cast<char>(digit - 'A' + 'a');
  }
  return join({folder_, "/", name.name, "-", guid});
}

std::optional<Data> EfiVariables::read(const VariableName& name, FormerError& error) const {
  auto content = readFileOf(place(name), error);
  if (!content) return std::nullopt;
  if (content->size() < Attributes().size()) error = FormerError(ENOENT);
  if (error) return std::nullopt;
  content->erase(content->begin(), content->begin() + Attributes().size());
  return content;
}

FormerError EfiVariables::write(const VariableName& name, ByteView value) const {
  const std::string path = place(name);
  FormerError failed;
  // A further round is for another writer, who has made the variable, deleted it or put the
  // flag back in between.
  for (int round = 0; round < kRounds; ++round) {
    const auto before = readFileOf(path, failed);
    const bool isNew = failed.number() == ENOENT;
    if (!before && !isNew) return failed;
    Data bytes(kNewAttributes.begin(), kNewAttributes.end());
    if (before && before->size() >= bytes.size()) std::copy_n(before->begin(), bytes.size(), bytes.begin());
    bytes.insert(bytes.end(), value.begin(), value.end());
    ImmutableFlag flag(path);
    if (flag.error()) return flag.error();
    bool isOpened = false;
    failed = writeOnce(path, isNew ? O_CREAT | O_EXCL : 0, bytes, anyFileSystem_, isOpened);
    flag.putBack();
    // Only what has been made here: someone else may be about to write what looks the same.
    if (failed && isOpened && isNew) removeLeftover(path);
    const bool wasAnother = failed.number() == EPERM || failed.number() == (isNew ? EEXIST : ENOENT);
    if (isOpened || !wasAnother) break;
  }
  return failed;
}

FormerError EfiVariables::remove(const VariableName& name) const {
  const std::string path = place(name);
  FormerError failed;
  for (int round = 0; round < kRounds; ++round) {
    ImmutableFlag flag(path);
    if (flag.error()) return flag.error();
    if (::unlink(path.c_str()) == 0) return {};
    failed = lastError();
    flag.putBack();
    if (failed.number() != EPERM) break;
  }
  return failed;
}

FormerError EfiVariables::commit() const {
  const Descriptor folder = openDescriptor(folder_.c_str(), O_RDONLY | O_DIRECTORY);
  return folder.valid() && ::syncfs(folder.get()) == 0 ? FormerError() : lastError();
}

}  // namespace brisvane::host::real
