#include "brisvane/host/linux/new_file.h"

#include <signal.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <cstdio>

#include "brisvane/types/hex.h"

namespace brisvane::host::real {
namespace {

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

// Keeps SIGPIPE from this thread while it writes to what is no file. One that was pending before stays.
class NoBrokenPipeSignal {
 public:
  explicit NoBrokenPipeSignal(int descriptor) noexcept {
    struct stat status {};
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) return;
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

Error lastError() noexcept { return Error(errno); }

bool canExist(std::string_view path) noexcept { return !path.empty() && path.find('\0') == std::string_view::npos; }

Descriptor openExisting(const std::string& path, int flags) noexcept {
  Descriptor file = openDescriptor(path.c_str(), flags | O_NOCTTY | O_NONBLOCK);
  if (file.valid() || errno != EWOULDBLOCK) return file;
  file = openDescriptor(path.c_str(), flags | O_NOCTTY);
  if (file.valid() && ::fcntl(file.get(), F_SETFL, (flags & O_APPEND) | O_NONBLOCK) != 0) file.reset(-1);
  return file;
}

Error writeAll(int descriptor, std::string_view bytes) noexcept {
  const NoBrokenPipeSignal guard(descriptor);
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return lastError();
    if (written == 0) return Error(EIO);
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return {};
}

Descriptor createBeside(const std::string& path, std::string& name, mode_t mode) {
  constexpr int kTries = 16;
  Descriptor file;
  for (int i = 0; i < kTries; ++i) {
    name = nameBeside(path);
    file = openDescriptor(name.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_CREAT | O_EXCL, mode);
    if (file.valid() || errno != EEXIST) break;
  }
  return file;
}

Error renameWithoutReplacing(const std::string& from, const std::string& to) noexcept {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return {};
  const auto cannot = [](int error) { return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP; };
  if (!cannot(errno)) return lastError();
  // A file system without RENAME_NOREPLACE. Without hard links too (EPERM), there is no way.
  if (::link(from.c_str(), to.c_str()) != 0) return cannot(errno) || errno == EPERM ? Error(EXDEV) : lastError();
  if (::unlink(from.c_str()) == 0) return {};
  const Error failed = lastError();
  ::unlink(to.c_str());  // two names for one file are no move
  return failed;
}

}  // namespace brisvane::host::real
