#include "brisvane/host/files/open_writers.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

#include "brisvane/host/files/file_access.h"

namespace brisvane::host::real {
namespace {

Result<> copyToEnd(int from, int to) noexcept {
  char chunk[std::size_t{16} << 10U];
  for (;;) {
    const ssize_t count = ::read(from, chunk, sizeof chunk);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return Error::last();
    if (count == 0) return {};
    Result<> written = writeAll(to, Target::kAny, {chunk, static_cast<std::size_t>(count)});
    if (!written.ok()) return written;
  }
}

}  // namespace

Writers writersOf(int file) noexcept {
  // Who opened it while the lease stands, for a moment, would have it broken by a signal. SIGIO,
  // the usual one, ends a program; this one is ignored unless a program asks for it.
  if (::fcntl(file, F_SETSIG, SIGURG) != 0) return Writers::kUnknown;
  if (::fcntl(file, F_SETLEASE, F_RDLCK) == 0) {
    ::fcntl(file, F_SETLEASE, F_UNLCK);
    return Writers::kNone;
  }
  if (errno == EACCES) return Writers::kNotOurs;  // the file belongs to someone else
  return errno == EAGAIN ? Writers::kSome
                         : Writers::kUnknown;  // EINVAL: the file system has no leases
}

Result<> copyWithLastLines(int from, int to) noexcept {
  using std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kPause{1};
  constexpr std::chrono::milliseconds kLongestWrite{1000};
  constexpr std::chrono::milliseconds kUsualWrite{50};  // where its end is not reported
  const auto start = steady_clock::now();
  for (;;) {
    const Writers writers = writersOf(from);
    if (Result<> copied = copyToEnd(from, to); !copied.ok()) return copied;
    if (writers == Writers::kNone) return {};
    const auto elapsed = steady_clock::now() - start;
    if (writers != Writers::kSome && elapsed > kUsualWrite) return {};
    if (elapsed > kLongestWrite) return Error(EBUSY);
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace brisvane::host::real
