#include "brisvane/host/terminal/terminal.h"

#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "brisvane/host/files/descriptor.h"
#include "brisvane/host/files/file_access.h"
#include "brisvane/host/terminal/framing.h"
#include "brisvane/host/terminal/termios2.h"
#include "brisvane/types/join.h"

namespace brisvane::host::terminal {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Below this a number could be taken for one of glibc's symbolic speed codes (13 is
// B9600); no standard rate lies there.
constexpr std::uint32_t kSlowestStandardRate = 50;

// Whether the line runs within 3 % of the speed asked for, the most that an
// asynchronous line bears.
bool runsAt(int descriptor, std::uint32_t speed) noexcept {
  const auto isNear = [speed](std::uint32_t actual) {
    constexpr double kTolerance = 0.03;
    return std::abs(static_cast<double>(actual) - speed) <= kTolerance * speed;
  };
  const auto actual = real::lineSpeed(descriptor);
  return actual.ok() && isNear(actual.value().input) && isNear(actual.value().output);
}

// Takes exclusive use. Nothing has changed when it fails.
Result<Mark> claim(int descriptor) noexcept {
  // Only a lock that another holds is a refusal; a device without locks is not.
  if (::flock(descriptor, LOCK_EX | LOCK_NB) == -1 && errno == EWOULDBLOCK) return Error::last();
  int alreadyExclusive = 0;
  ::ioctl(descriptor, TIOCGEXCL, &alreadyExclusive);
  if (::ioctl(descriptor, TIOCEXCL) != -1)
    return alreadyExclusive == 0 ? Mark::kOwn : Mark::kOthers;
  const Error refused = Error::last();
  release(descriptor, Mark::kOthers);
  return refused;
}

Result<> makeRaw(int descriptor, const LineOptions& options) {
  const std::uint32_t speed = options.speed;
  const auto wrongSpeed = [speed] {
    return Error(ERANGE, {}, join({"does not run at ", std::to_string(speed), " bits per second"}));
  };
  if (speed == 0) return wrongSpeed();  // B0 hangs up instead of setting a speed
  termios settings{};
  if (::tcgetattr(descriptor, &settings) == -1) return Error::last();
  ::cfmakeraw(&settings);
  // What glibc's cfmakeraw leaves of input processing, and the receiver.
  settings.c_iflag &= ~static_cast<tcflag_t>(INPCK | IXOFF | IXANY);
  settings.c_cflag |= CREAD;
  settings.c_cflag &= ~static_cast<tcflag_t>(CIBAUD);  // an input speed of its own, if it had one
  if (const auto set = real::setOptions(settings, options); !set.ok()) return set.error();
  settings.c_cc[VMIN] = 0;
  settings.c_cc[VTIME] = 1;
  if (speed >= kSlowestStandardRate) ::cfsetspeed(&settings, speed);
  // glibc fails with EINVAL for some of the options that the driver ignored.
  const bool isSet = ::tcsetattr(descriptor, TCSANOW, &settings) != -1;
  const Error refused = Error::last();
  termios reported{};
  if (::tcgetattr(descriptor, &reported) == -1) return Error::last();
  if (const auto taken = real::checkOptions(reported, options); !taken.ok()) return taken.error();
  if (!isSet) return refused;
  if (runsAt(descriptor, speed)) return {};
  // Not a standard rate: cfsetspeed has left the old one, or taken a number for a code.
  const bool runs = real::setLineSpeed(descriptor, speed).ok() && runsAt(descriptor, speed);
  return runs ? Result<>() : wrongSpeed();
}

Result<> assertDtr(int descriptor) noexcept {
  const int line = TIOCM_DTR;
  if (::ioctl(descriptor, TIOCMBIS, &line) != -1) return {};
  // Pseudo-terminals and some USB gadgets have no modem lines.
  return errno == ENOTTY || errno == EINVAL ? Result<>() : Error::last();
}

// Polls until there is something to report or the time is over; a signal takes nothing
// from the time and adds nothing. The events; 0 on time-out.
Result<short> pollFor(int descriptor, microseconds time) noexcept {
  if (descriptor < 0) return Error(EBADF);  // poll would only wait
  const auto deadline = steady_clock::now() + time;
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
    pollfd request{descriptor, POLLIN, 0};
    const int ready =
        ::poll(&request, 1, static_cast<int>(std::max(left, milliseconds::zero()).count()));
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) return Error::last();
    if ((request.revents & POLLNVAL) != 0) return Error(EBADF);
    return request.revents;
  }
}

// A tty that has hung up reads 0 bytes at once, for ever, just as a silent one does
// after its wait; only poll distinguishes them.
bool hasHungUp(int descriptor) noexcept {
  const auto events = pollFor(descriptor, microseconds::zero());
  return !events.ok() || (events.value() & (POLLHUP | POLLERR)) != 0;
}

}  // namespace

Result<Line> Line::open(const std::string& path, const LineOptions& options) {
  if (!real::canExist(path)) return Error(ENOENT, path);
  real::Descriptor opened = real::openDescriptor(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  if (!opened.valid()) return Error::last(path);
  const auto mark = claim(opened.get());
  if (!mark.ok()) return mark.error().of(path);
  Line line(opened.release(), mark.value());
  if (::fcntl(line.descriptor(), F_SETFL, 0) == -1) return Error::last(path);
  if (const auto raw = makeRaw(line.descriptor(), options); !raw.ok()) return raw.error().of(path);
  if (const auto ready = assertDtr(line.descriptor()); !ready.ok()) return ready.error().of(path);
  return line;
}

Line::~Line() {
  if (descriptor_ < 0) return;
  terminal::release(descriptor_, mark_);
  terminal::close(descriptor_);
}

void release(int descriptor, Mark mark) noexcept {
  // In this order: who has the lock next may set a mark of its own.
  if (mark == Mark::kOwn) ::ioctl(descriptor, TIOCNXCL);
  ::flock(descriptor, LOCK_UN);
}

bool waitReadable(int descriptor, microseconds time) noexcept {
  const auto events = pollFor(descriptor, time);
  return events.ok() && (events.value() & (POLLIN | POLLHUP | POLLERR)) != 0;
}

Result<std::size_t> read(int descriptor, std::span<std::uint8_t> buffer,
                         microseconds time) noexcept {
  const auto deadline = steady_clock::now() + time;
  for (;;) {
    const auto left = std::chrono::ceil<microseconds>(deadline - steady_clock::now());
    const auto events = pollFor(descriptor, std::max(left, microseconds::zero()));
    if (!events.ok()) return events.error();
    if (events.value() == 0) return 0;
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count < 0) return Error::last();
    if (count > 0 || !hasHungUp(descriptor)) return static_cast<std::size_t>(count);
    return Error(EIO);
  }
}

Result<std::size_t> write(int descriptor, ByteView bytes) noexcept {
  ssize_t count = -1;
  do {
    count = ::write(descriptor, bytes.data(), bytes.size());
  } while (count < 0 && errno == EINTR);
  if (count < 0) return Error::last();
  return static_cast<std::size_t>(count);
}

void drainOutput(int descriptor) noexcept {
  while (::tcdrain(descriptor) == -1 && errno == EINTR) {
  }
}

void close(int descriptor) noexcept { ::close(descriptor); }

}  // namespace brisvane::host::terminal
