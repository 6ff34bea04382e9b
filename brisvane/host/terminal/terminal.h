// The kernel's operations on a serial line: opening, settings, and transfers that distinguish a
// quiet line from one that has hung up.
// The functions keep no state. Any number of threads may use different descriptors at the same
// time. Callers that share a descriptor order their calls themselves.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "brisvane/host/terminal/line_options.h"
#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host::terminal {

// How long a read waits for the first byte: VTIME 1, a tenth of a second.
inline constexpr std::chrono::milliseconds kQuietTime{100};

// Who set the mark of exclusive use on a terminal. The mark belongs to the terminal, not to the
// descriptor. So only the one that set it may clear it.
enum class Mark : std::uint8_t { kOwn, kOthers };

// A serial line that is open for exclusive use. Its destructor ends that use and closes the line.
class BRISVANE_EXPORT Line {
 public:
  // Opens the device for reading and writing, in these steps:
  //  - The descriptor is at least 3 and is closed on exec. The device does not become the
  //    controlling terminal. Opening does not wait for a carrier.
  //  - Exclusive use is an advisory lock and the mark TIOCEXCL. The mark keeps all programs out
  //    except the superuser's. The lock keeps those out, too, if they ask for it.
  //  - Every file status flag is cleared, O_NONBLOCK among them.
  //  - Raw mode is set (cfmakeraw), with VMIN 0, VTIME 1 and the options. All other settings keep
  //    the values that the device reported.
  //  - DTR is asserted, on a terminal that has modem lines.
  // Fails with the error of the step that failed. The line is closed again then, and its use by
  // another program goes on. EWOULDBLOCK means that another program has the lock. ERANGE means that
  // the driver does not come within 3 % of the speed, ENOTSUP that it ignored another option, and
  // EINVAL that an option is out of its range.
  [[nodiscard]] static Result<Line> open(const std::string& path, const LineOptions& options);

  Line(Line&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)), mark_(other.mark_) {}
  Line& operator=(Line&&) = delete;
  ~Line();

  [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

  // kOthers when the mark was already set. It stays then.
  [[nodiscard]] Mark mark() const noexcept { return mark_; }

  // The descriptor. The caller ends its exclusive use and closes it from then on.
  [[nodiscard]] int giveUp() noexcept { return std::exchange(descriptor_, -1); }

 private:
  Line(int descriptor, Mark mark) noexcept : descriptor_(descriptor), mark_(mark) {}

  int descriptor_;
  Mark mark_;
};

// Ends exclusive use: clears the mark if `mark` is kOwn, then releases the lock. This works even
// while another thread, or a child about to exec, keeps the file open. Failures are ignored.
BRISVANE_EXPORT void release(int descriptor, Mark mark) noexcept;

// Blocks until the descriptor is readable, for at most `time`. A line that has hung up is readable.
// False on time-out, and when the wait fails. A read afterwards shows which of the two it was.
[[nodiscard]] BRISVANE_EXPORT bool waitReadable(int descriptor,
                                                std::chrono::microseconds time) noexcept;

// Reads once into `buffer`. The number of bytes; 0 for a quiet line.
// Fails when the read fails, and with EIO when the line has hung up.
// Blocks for at most `time` until the first byte, and for kQuietTime more when another reader takes
// that byte.
[[nodiscard]] BRISVANE_EXPORT Result<std::size_t> read(
    int descriptor, std::span<std::uint8_t> buffer,
    std::chrono::microseconds time = kQuietTime) noexcept;

// Writes once. The number of bytes that the device took, which may be fewer than all.
// Blocks until the device takes some bytes.
[[nodiscard]] BRISVANE_EXPORT Result<std::size_t> write(int descriptor, ByteView bytes) noexcept;

// Blocks until all queued output has been transmitted. Failures are ignored.
BRISVANE_EXPORT void drainOutput(int descriptor) noexcept;

// Closes the descriptor. Does not end exclusive use: see release(). Failures are ignored.
BRISVANE_EXPORT void close(int descriptor) noexcept;

}  // namespace brisvane::host::terminal
