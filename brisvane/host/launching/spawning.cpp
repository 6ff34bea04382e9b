#include "brisvane/host/launching/spawning.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>
#include <utility>

#include "brisvane/host/files/descriptor.h"
#include "brisvane/host/formats/json.h"
#include "brisvane/types/join.h"

namespace brisvane::host::real {
namespace {

constexpr int kFirstFurtherDescriptor = 3;

// What a child does to its descriptors and directory, ahead of the program.
class FileActions {
 public:
  FileActions() noexcept { check(::posix_spawn_file_actions_init(&actions_)); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }

  void changeDirectory(int directory) noexcept {
    check(::posix_spawn_file_actions_addfchdir_np(&actions_, directory));
  }
  void duplicate(int from, int to) noexcept {
    check(::posix_spawn_file_actions_adddup2(&actions_, from, to));
  }
  void openNull(int descriptor) noexcept {
    check(::posix_spawn_file_actions_addopen(&actions_, descriptor, "/dev/null", O_RDWR, 0));
  }
  void closeFrom(int descriptor) noexcept {
    check(::posix_spawn_file_actions_addclosefrom_np(&actions_, descriptor));
  }

  [[nodiscard]] const posix_spawn_file_actions_t* get() const noexcept { return &actions_; }
  // Whether all of them could be set up.
  [[nodiscard]] Result<> areSetUp() const noexcept {
    return error_ == 0 ? Result<>() : Error(error_);
  }

 private:
  void check(int result) noexcept {
    if (error_ == 0) error_ = result;
  }
  posix_spawn_file_actions_t actions_{};
  int error_ = 0;
};

// Default signals, an empty mask and, for a detached child, a session of its own.
class Attributes {
 public:
  explicit Attributes(bool isDetached) noexcept {
    ::posix_spawnattr_init(&attributes_);
    sigset_t signals;
    ::sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes_, &signals);
    const int session = isDetached ? POSIX_SPAWN_SETSID : 0;
    ::posix_spawnattr_setflags(
        &attributes_, static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | session));
  }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  ~Attributes() { ::posix_spawnattr_destroy(&attributes_); }

  [[nodiscard]] const posix_spawnattr_t* get() const noexcept { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

std::string_view nameOf(std::string_view setting) noexcept {
  return setting.substr(0, setting.find('='));
}

std::vector<std::string> environmentWith(const std::vector<std::string>& changes) {
  std::vector<std::string> variables;
  for (char* const* variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    const auto isSame = [variable](const std::string& change) {
      return nameOf(change) == nameOf(*variable);
    };
    if (std::none_of(changes.begin(), changes.end(), isSame)) variables.emplace_back(*variable);
  }
  for (const std::string& change : changes) {
    if (change.find('=') != std::string::npos) variables.push_back(change);
  }
  return variables;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

void setUpDescriptors(const Spawning& spawning, FileActions& actions) noexcept {
  if (spawning.isDetached) {
    for (int descriptor = 0; descriptor < kFirstFurtherDescriptor; ++descriptor)
      actions.openNull(descriptor);
    actions.closeFrom(kFirstFurtherDescriptor);
  }
  if (spawning.output < 0) return;
  actions.duplicate(spawning.output, STDOUT_FILENO);
  actions.duplicate(spawning.output, STDERR_FILENO);
}

// Of a path that is relative to `start`, as below.
bool isRunnable(int start, const std::string& path) noexcept {
  struct stat status {};
  return ::fstatat(start, path.c_str(), &status, 0) == 0 && S_ISREG(status.st_mode) &&
         ::faccessat(start, path.c_str(), X_OK, AT_EACCESS) == 0;
}

// The interpreter that a script names in its first line, read as the kernel does; empty when it is
// none.
std::string interpreterOf(int start, const std::string& path) {
  constexpr std::string_view kMark = "#!";
  constexpr std::string_view kBlanks = " \t";
  const Descriptor file = Descriptor::aboveStandardStreams(
      ::openat(start, path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  std::array<char, 256> head{};  // as much as the kernel looks at
  const ssize_t count = file.valid() ? ::pread(file.get(), head.data(), head.size(), 0) : 0;
  std::string_view line(head.data(), static_cast<std::size_t>(std::max(count, ssize_t{0})));
  if (!line.starts_with(kMark)) return {};
  line = line.substr(kMark.size(), line.find_first_of(std::string_view("\n\0", 2)) - kMark.size());
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  return std::string(line.substr(0, line.find_first_of(kBlanks)));
}

// The kernel's refusal may be about what the program needs to run, whose name it does not report.
Error refusal(int start, const std::string& program, int number) {
  constexpr int kDeepest = 5;  // interpreters of interpreters that the kernel follows
  std::string what(shownPath(program));
  std::string needed = program;
  for (int depth = 0; depth <= kDeepest && isRunnable(start, needed); ++depth) {
    std::string interpreter = interpreterOf(start, needed);
    if (interpreter.empty() && number == ENOENT) return Error(number, what + ": its loader");
    if (interpreter.empty()) return Error(number, shownPath(program));
    what += join({": its interpreter ", jsonText(interpreter).value_or("")});
    needed = std::move(interpreter);
  }
  return Error(number, what);
}

bool holdsZero(const std::string& text) noexcept { return text.find('\0') != std::string::npos; }

// The folder that a program starts in; not valid for the caller's.
Result<Descriptor> workingDirectory(const std::string& path) {
  if (path.empty()) return Descriptor();
  if (holdsZero(path)) return Error(ENOENT, path);
  Descriptor directory = openDescriptor(path.c_str(), O_PATH | O_DIRECTORY);
  // A folder that may not be entered can be opened so, but nothing can be found in it.
  struct stat status {};
  if (!directory.valid() || ::fstatat(directory.get(), ".", &status, 0) != 0)
    return Error::last(path);
  return directory;
}

}  // namespace

Result<Child> spawnProcess(const Spawning& spawning) {
  const std::string& program = spawning.command.front();
  if (holdsZero(program)) return Error(ENOENT, program);
  if (std::any_of(spawning.command.begin(), spawning.command.end(), holdsZero))
    return Error(EINVAL, shownPath(program));
  const auto directory = workingDirectory(spawning.directory);
  if (!directory.ok()) return directory.error();
  FileActions actions;
  if (directory.value().valid()) actions.changeDirectory(directory.value().get());
  setUpDescriptors(spawning, actions);
  if (const auto done = actions.areSetUp(); !done.ok()) return done.error().of(shownPath(program));
  const Attributes attributes(spawning.isDetached);
  std::vector<std::string> command = spawning.command;
  std::vector<std::string> environment = environmentWith(spawning.environment);
  pid_t process = -1;
  const int result = ::posix_spawn(&process, program.c_str(), actions.get(), attributes.get(),
                                   pointersTo(command).data(), pointersTo(environment).data());
  if (result == 0) return Child{process};
  return refusal(directory.value().valid() ? directory.value().get() : AT_FDCWD, program, result);
}

}  // namespace brisvane::host::real
