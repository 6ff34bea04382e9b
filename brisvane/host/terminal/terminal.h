// A serial line as the kernel offers it: opening, settings, and transfers that tell
// silence from a line that is gone.
// The functions keep no state. Any number of threads may use different descriptors
// at the same time; who shares one descriptor keeps its own order.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"

namespace brisvane::host::terminal {

// How long a read waits for the first byte: VTIME 1, in tenths of a second.
inline constexpr std::chrono::milliseconds kQuietTime{100};

// A descriptor of at least 3 for the device, opened for reading and writing, without
// becoming the controlling terminal, without waiting for a carrier, and closed on
// exec; -1 on failure with errno set.
[[nodiscard]] BRISVANE_EXPORT int open(const std::string& path) noexcept;

// Who marked a terminal as in exclusive use. The mark is the terminal's, not the
// descriptor's: it is only its owner's to take back.
enum class Mark : std::uint8_t { kOwn, kOthers };

// Takes exclusive use, by an advisory lock and the mark TIOCEXCL. nullopt with errno set when
// another program has the lock, or the device takes no mark; nothing has changed then. The
// mark keeps all other programs out but the superuser's, the lock also those, as far as
// they ask for it. kOthers: the mark stood there already.
[[nodiscard]] BRISVANE_EXPORT std::optional<Mark> claim(int descriptor) noexcept;

// Gives exclusive use back, even where another thread or a child about to exec keeps the open
// file: the mark if it is our own, then the lock. Failures are ignored.
BRISVANE_EXPORT void release(int descriptor, Mark mark) noexcept;

// Clears every file status flag, O_NONBLOCK included.
[[nodiscard]] BRISVANE_EXPORT bool clearStatusFlags(int descriptor) noexcept;

// Raw mode (cfmakeraw), VMIN 0, VTIME 1 and the speed in bits per second for both
// directions; all else stays as the device reported it. False when the settings
// cannot be read or applied, or when the driver settled for a speed more than 3 % off.
[[nodiscard]] BRISVANE_EXPORT bool makeRaw(int descriptor, std::uint32_t speed) noexcept;

// Asserts DTR. A terminal without modem lines has nothing to assert: true.
[[nodiscard]] BRISVANE_EXPORT bool assertDtr(int descriptor) noexcept;

// Waits until the descriptor is readable or the time is over. A line that has hung
// up counts as readable. False on time-out and on failure.
[[nodiscard]] BRISVANE_EXPORT bool waitReadable(int descriptor, std::chrono::microseconds time) noexcept;

// Reads once into `buffer`, waiting `time` for the first byte (and kQuietTime more when
// another reader takes it). The number of bytes, 0 for a quiet line; nullopt when the read
// failed or the line has hung up, with errno set (EIO for the latter).
[[nodiscard]] BRISVANE_EXPORT std::optional<std::size_t> read(int descriptor, std::span<std::uint8_t> buffer,
                                                              std::chrono::microseconds time = kQuietTime) noexcept;

// One write of as many bytes as the device takes, blocking until it takes some. The
// number of bytes; nullopt on failure with errno set.
[[nodiscard]] BRISVANE_EXPORT std::optional<std::size_t> write(int descriptor, ByteView bytes) noexcept;

// Waits until all queued output has been transmitted. Failures are ignored.
BRISVANE_EXPORT void drainOutput(int descriptor) noexcept;

// Closes the descriptor, and no more: see release. Failures are ignored.
BRISVANE_EXPORT void close(int descriptor) noexcept;

}  // namespace brisvane::host::terminal
