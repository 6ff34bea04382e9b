#include "brisvane/host/files/file_access.h"

#include <signal.h>
#include <sys/stat.h>

namespace brisvane::host::real {
namespace {

// Keeps SIGPIPE from this thread while it writes to what is no file. One that was pending before
// stays.
class NoBrokenPipeSignal {
 public:
  explicit NoBrokenPipeSignal(Target target) noexcept {
    if (target == Target::kRegularFile) return;
    ::sigemptyset(&signal_);
    ::sigaddset(&signal_, SIGPIPE);
    sigset_t pending;
    isActive_ = ::sigpending(&pending) == 0 && ::sigismember(&pending, SIGPIPE) == 0 &&
                ::pthread_sigmask(SIG_BLOCK, &signal_, &before_) == 0;
  }
  NoBrokenPipeSignal(const NoBrokenPipeSignal&) = delete;
  NoBrokenPipeSignal& operator=(const NoBrokenPipeSignal&) = delete;
  ~NoBrokenPipeSignal() {
    if (!isActive_) return;
    constexpr timespec kNoWait{};
    while (::sigtimedwait(&signal_, nullptr, &kNoWait) < 0 && errno == EINTR) continue;
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  bool isActive_ = false;
  sigset_t signal_{};
  sigset_t before_{};
};

}  // namespace

bool canExist(std::string_view path) noexcept {
  return !path.empty() && path.find('\0') == std::string_view::npos;
}

Result<Descriptor> openExisting(const std::string& path, int flags) {
  Descriptor file = openDescriptor(path.c_str(), flags | O_NOCTTY | O_NONBLOCK);
  if (!file.valid() && errno == EWOULDBLOCK) {
    file = openDescriptor(path.c_str(), flags | O_NOCTTY);
    if (file.valid() && ::fcntl(file.get(), F_SETFL, (flags & O_APPEND) | O_NONBLOCK) != 0)
      file.reset(-1);
  }
  if (!file.valid()) return Error::last();
  return file;
}

// fstat() would ask for the times, too: a file whose change time was seen has its inode updated by
// the next write.
FileTraits traitsOf(int descriptor) noexcept {
  struct statx status {};
  if (::statx(descriptor, "", AT_EMPTY_PATH, STATX_TYPE | STATX_NLINK, &status) != 0) return {};
  const bool isRegular = S_ISREG(status.stx_mode);
  return {isRegular, isRegular && status.stx_nlink == 0};
}

Result<> writeAll(int descriptor, Target target, std::string_view bytes,
                  std::size_t* written) noexcept {
  const NoBrokenPipeSignal guard(target);
  if (written != nullptr) *written = 0;
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return Error::last();
    if (count == 0) return Error(EIO);
    bytes.remove_prefix(static_cast<std::size_t>(count));
    if (written != nullptr) *written += static_cast<std::size_t>(count);
  }
  return {};
}

}  // namespace brisvane::host::real
