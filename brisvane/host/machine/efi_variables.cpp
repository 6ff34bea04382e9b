#include "brisvane/host/machine/efi_variables.h"

#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/statfs.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <optional>

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

// The content of a variable's file. `attributes` is nullopt when the file is too short for them: it
// is no variable then.
struct Variable {
  std::optional<Attributes> attributes;
  Data value;
};

Variable variableIn(ByteView file) {
  Variable variable;
  if (file.size() < kNewAttributes.size()) return variable;
  std::copy_n(file.begin(), kNewAttributes.size(), variable.attributes.emplace().begin());
  variable.value.assign(file.begin() + kNewAttributes.size(), file.end());
  return variable;
}

// The whole file, by as few reads as it takes: the kernel lets ordinary users have about
// a hundred a second. What it says of the file's size is not to be trusted.
Result<Variable> readWhole(int descriptor) {
  std::size_t size = std::size_t{64} << 10U;
  auto bytes = std::make_unique_for_overwrite<std::uint8_t[]>(size);
  std::size_t length = 0;
  for (;;) {
    const ssize_t count = ::read(descriptor, bytes.get() + length, size - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return Error::last();
    length += static_cast<std::size_t>(count);
    if (length < size) return variableIn({bytes.get(), length});
    if (length > kLargestVariable) return Error(EFBIG);
    size *= 2;
    auto larger = std::make_unique_for_overwrite<std::uint8_t[]>(size);
    std::copy_n(bytes.get(), length, larger.get());
    bytes = std::move(larger);
  }
}

Result<Variable> readFileOf(const std::string& path) {
  const Descriptor file = openDescriptor(path.c_str(), O_RDONLY | kOpenFlags);
  if (!file.valid()) return Error::last(path);
  auto variable = readWhole(file.get());
  return variable.ok() ? std::move(variable) : variable.error().of(path);
}

// Takes the immutable flag of a file away, where it has one, and on request puts it back.
class ImmutableFlag {
 public:
  explicit ImmutableFlag(const std::string& path) noexcept
      : file_(openDescriptor(path.c_str(), O_RDONLY | kOpenFlags)) {
    const bool isKnown = file_.valid() && ::ioctl(file_.get(), FS_IOC_GETFLAGS, &flags_) == 0;
    const bool isSet = isKnown && (flags_ & FS_IMMUTABLE_FL) != 0;
    isTaken_ = isSet && set(flags_ & ~FS_IMMUTABLE_FL);
    if (isSet && !isTaken_) taking_ = Error::last(path);
  }
  // Fails when it is there still.
  [[nodiscard]] const Result<>& taking() const noexcept { return taking_; }
  void putBack() noexcept {
    if (isTaken_) static_cast<void>(set(flags_));
  }

 private:
  [[nodiscard]] bool set(int flags) noexcept {
    return ::ioctl(file_.get(), FS_IOC_SETFLAGS, &flags) == 0;
  }

  Descriptor file_;
  int flags_ = 0;  // an int for the kernel, whatever the request's name says
  bool isTaken_ = false;
  Result<> taking_;
};

// One write, as firmware wants it. `isOpened` is whether it came so far.
Result<> writeOnce(const std::string& path, int flags, ByteView bytes, bool cutsRest,
                   bool& isOpened) noexcept {
  const Descriptor file = openDescriptor(path.c_str(), O_WRONLY | kOpenFlags | flags, kNewFileMode);
  isOpened = file.valid();
  if (!isOpened) return Error::last(path);
  ssize_t written = -1;
  do {
    written = ::write(file.get(), bytes.data(), bytes.size());
  } while (written < 0 && errno == EINTR);
  if (written < 0) return Error::last(path);
  if (static_cast<std::size_t>(written) != bytes.size()) return Error(EIO, path);
  if (cutsRest && ::ftruncate(file.get(), written) != 0) return Error::last(path);
  return {};
}

// A refused write of a new variable leaves a file without a value, which would pass for a
// variable in listings. A rollback: it needs no memory.
void removeLeftover(const std::string& path) noexcept {
  const Descriptor file = openDescriptor(path.c_str(), O_RDONLY | kOpenFlags);
  if (!file.valid()) return;
  Attributes start{};
  ssize_t length = -1;
  do {
    length = ::read(file.get(), start.data(), start.size());
  } while (length < 0 && errno == EINTR);
  if (length < 0 || static_cast<std::size_t>(length) >= start.size()) return;
  const ImmutableFlag flag(path);
  ::unlink(path.c_str());
}

}  // namespace

bool EfiVariables::exists() const noexcept {
  struct statfs status {};
  if (::statfs(folder_.c_str(), &status) != 0) return false;
  return anyFileSystem_ || status.f_type == EFIVARFS_MAGIC;
}

std::vector<std::string> EfiVariables::propertyNames() const {
  constexpr std::size_t kSuffix = kGuidTextLength + 1;
  std::vector<std::string> names;
  for (const std::string& file :
       listDirectory(folder_).optional().value_or(std::vector<std::string>())) {
    if (file.size() <= kSuffix || file[file.size() - kSuffix] != '-') continue;
    const auto space = parseGuid(std::string_view(file).substr(file.size() - kGuidTextLength));
    if (space) names.push_back(VariableName{*space, file.substr(0, file.size() - kSuffix)}.text());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string EfiVariables::place(const VariableName& name) const {
  std::string guid = guidText(name.space);
  for (char& digit : guid) {
    if (digit >= 'A' && digit <= 'F') digit = static_cast<char>(digit - 'A' + 'a');
  }
  return join({folder_, "/", name.name, "-", guid});
}

Result<Data> EfiVariables::read(const VariableName& name) const {
  const std::string path = place(name);
  auto variable = readFileOf(path);
  if (!variable.ok()) return variable.error();
  if (!variable.value().attributes) return Error(ENOENT, path);
  return std::move(variable.value().value);
}

Result<> EfiVariables::write(const VariableName& name, ByteView value) const {
  const std::string path = place(name);
  Result<> written;
  // A further round is for another writer, who has made the variable, deleted it or put the
  // flag back in between.
  for (int round = 0; round < kRounds; ++round) {
    const auto before = readFileOf(path);
    const bool isNew = !before.ok();
    if (isNew && before.error().number() != ENOENT) return before.error();
    const Attributes attributes =
        (isNew ? std::nullopt : before.value().attributes).value_or(kNewAttributes);
    Data bytes(attributes.begin(), attributes.end());
    bytes.insert(bytes.end(), value.begin(), value.end());
    // From here on nothing needs memory: the flag is put back.
    ImmutableFlag flag(path);
    if (!flag.taking().ok()) return flag.taking();
    bool isOpened = false;
    written = writeOnce(path, isNew ? O_CREAT | O_EXCL : 0, bytes, anyFileSystem_, isOpened);
    flag.putBack();
    // Only what has been made here: someone else may be about to write what looks the same.
    if (!written.ok() && isOpened && isNew) removeLeftover(path);
    if (written.ok() || isOpened) break;
    const int number = written.error().number();
    if (number != EPERM && number != (isNew ? EEXIST : ENOENT)) break;
  }
  return written;
}

Result<> EfiVariables::remove(const VariableName& name) const {
  const std::string path = place(name);
  Result<> removed;
  for (int round = 0; round < kRounds; ++round) {
    ImmutableFlag flag(path);
    if (!flag.taking().ok()) return flag.taking();
    if (::unlink(path.c_str()) == 0) return {};
    removed = Error::last(path);
    flag.putBack();
    if (removed.error().number() != EPERM) break;
  }
  return removed;
}

Result<> EfiVariables::commit() const {
  const Descriptor folder = openDescriptor(folder_.c_str(), O_RDONLY | O_DIRECTORY);
  if (!folder.valid() || ::syncfs(folder.get()) != 0) return Error::last(folder_);
  return {};
}

}  // namespace brisvane::host::real
