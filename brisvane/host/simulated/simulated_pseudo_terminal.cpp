#include "brisvane/host/simulated/simulated_pseudo_terminal.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "brisvane/host/files/files.h"

namespace brisvane::host::simulated {
namespace {

constexpr std::size_t kMostLocks = std::size_t{16} << 20U;  // bytes of the kernel's list

}  // namespace

void Handle::set(int descriptor) noexcept {
  constexpr int kFirstOwn = 3;
  close();
  descriptor_ = descriptor;
  if (descriptor < 0 || descriptor >= kFirstOwn) return;
  descriptor_ = ::fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstOwn);
  const int error = errno;
  ::close(descriptor);
  errno = error;
}

void Handle::close() noexcept {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
}

Result<> PseudoTerminal::open() {
  const auto failure = [] { return Error::last("pseudo-terminal"); };
  std::array<char, 64> name{};
  device_.set(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (device_.get() < 0 || ::grantpt(device_.get()) != 0 || ::unlockpt(device_.get()) != 0)
    return failure();
  if (const int number = ::ptsname_r(device_.get(), name.data(), name.size()); number != 0) {
    return Error(number, "pseudo-terminal");
  }
  node_ = name.data();
  ownEnd_.set(::open(node_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  if (ownEnd_.get() < 0 || ::tcgetattr(ownEnd_.get(), &settings) != 0) return failure();
  // A new terminal echoes: without this the device would hear itself.
  ::cfmakeraw(&settings);
  if (::tcsetattr(ownEnd_.get(), TCSANOW, &settings) != 0) return failure();
  watch_.set(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  const bool watches = watch_.get() >= 0 &&
                       ::inotify_add_watch(watch_.get(), node_.c_str(), IN_OPEN | IN_CLOSE) >= 0;
  return watches ? Result<>() : failure();
}

std::vector<bool> PseudoTerminal::openedOrClosed() {
  std::array<char, 4096> events;
  std::vector<bool> changes;
  for (;;) {
    const ssize_t count = ::read(watch_.get(), events.data(), events.size());
    if (count <= 0) return changes;
    for (std::size_t at = 0; at < static_cast<std::size_t>(count);) {
      inotify_event event{};
      std::memcpy(&event, events.data() + at, sizeof event);
      if ((event.mask & (IN_OPEN | IN_CLOSE)) != 0) changes.push_back((event.mask & IN_OPEN) != 0);
      at += sizeof event + event.len;
    }
  }
}

// Asking for the lock oneself could refuse it to a program that comes at that moment;
// /proc/locks only reports it. Its lines: "1: FLOCK  ADVISORY  WRITE 1234 00:18:5 0 EOF".
bool PseudoTerminal::isLocked() const {
  struct stat status {};
  if (::fstat(ownEnd_.get(), &status) != 0) return false;
  std::array<char, 64> id{};
  static_cast<void>(std::snprintf(id.data(), id.size(), " %02x:%02x:%ju ", major(status.st_dev),
                                  minor(status.st_dev),
                                  static_cast<std::uintmax_t>(status.st_ino)));
  std::istringstream locks(readFile("/proc/locks", kMostLocks).optional().value_or(""));
  for (std::string line; std::getline(locks, line);) {
    if (line.find(" FLOCK ") != std::string::npos && line.find(id.data()) != std::string::npos)
      return true;
  }
  return false;
}

bool PseudoTerminal::isMarked() const noexcept {
  int marked = 0;
  return ::ioctl(ownEnd_.get(), TIOCGEXCL, &marked) == 0 && marked != 0;
}

void PseudoTerminal::clearMark() {
  ::ioctl(ownEnd_.get(), TIOCNXCL);
  if (isLocked()) ::ioctl(ownEnd_.get(), TIOCEXCL);
}

void PseudoTerminal::discardUnread() noexcept { ::tcflush(ownEnd_.get(), TCIFLUSH); }

std::size_t PseudoTerminal::unread() const noexcept {
  int count = 0;
  return ::ioctl(ownEnd_.get(), FIONREAD, &count) == 0 ? static_cast<std::size_t>(count) : 0;
}

void PseudoTerminal::hangUp() noexcept {
  watch_.close();
  device_.close();
  ownEnd_.close();
}

}  // namespace brisvane::host::simulated
