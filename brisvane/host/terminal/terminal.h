// The kernel's operations on a serial line: opening, settings, and transfers that distinguish a
// quiet line from one that has hung up.
// The functions keep no state. Any number of threads may use different descriptors at the same
// time. Callers that share a descriptor order their calls themselves.
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

// How long a read waits for the first byte: VTIME 1, a tenth of a second.
inline constexpr std::chrono::milliseconds kQuietTime{100};

// Opens the device for reading and writing. The descriptor is at least 3 and is closed on exec. The
// device does not become the controlling terminal. Does not wait for a carrier.
// -1 on failure, with errno set.
[[nodiscard]] BRISVANE_EXPORT int open(const std::string& path) noexcept;

// Who set the mark of exclusive use on a terminal. The mark belongs to the terminal, not to the
// descriptor. So only the one that set it may clear it.
enum class Mark : std::uint8_t { kOwn, kOthers };

// Takes exclusive use of a terminal, by an advisory lock and the mark TIOCEXCL. The mark keeps all
// programs out except the superuser's. The lock keeps those out, too, if they ask for it.
// kOthers when the mark was already set. nullopt, with errno set, when another program has the
// lock, or when the device refuses the mark. Nothing has changed then.
[[nodiscard]] BRISVANE_EXPORT std::optional<Mark> claim(int descriptor) noexcept;

// Releases exclusive use: clears the mark if `mark` is kOwn, then releases the lock. This works
// even while another thread, or a child about to exec, keeps the file open. Failures are ignored.
BRISVANE_EXPORT void release(int descriptor, Mark mark) noexcept;

// Clears every file status flag, including O_NONBLOCK. False on failure.
[[nodiscard]] BRISVANE_EXPORT bool clearStatusFlags(int descriptor) noexcept;

// Sets raw mode (cfmakeraw), VMIN 0, VTIME 1 and the speed of both directions, in bits per second.
// All other settings keep the values that the device reported.
// False when the settings cannot be read or applied, or when the driver chose a speed that differs
// by more than 3 %.
[[nodiscard]] BRISVANE_EXPORT bool makeRaw(int descriptor, std::uint32_t speed) noexcept;

// Asserts DTR. True on success, and for a terminal without modem lines.
[[nodiscard]] BRISVANE_EXPORT bool assertDtr(int descriptor) noexcept;

// Blocks until the descriptor is readable, for at most `time`. A line that has hung up is readable.
// False on time-out and on failure.
[[nodiscard]] BRISVANE_EXPORT bool waitReadable(int descriptor, std::chrono::microseconds time) noexcept;

// Reads once into `buffer`. The number of bytes; 0 for a quiet line.
// nullopt, with errno set, when the read fails or the line has hung up (EIO).
// Blocks for at most `time` until the first byte, and for kQuietTime more when another reader takes
// that byte.
[[nodiscard]] BRISVANE_EXPORT std::optional<std::size_t> read(int descriptor, std::span<std::uint8_t> buffer,
                                                              std::chrono::microseconds time = kQuietTime) noexcept;

// Writes once. The number of bytes that the device took, which may be fewer than all.
// nullopt on failure, with errno set. Blocks until the device takes some bytes.
[[nodiscard]] BRISVANE_EXPORT std::optional<std::size_t> write(int descriptor, ByteView bytes) noexcept;

// Blocks until all queued output has been transmitted. Failures are ignored.
BRISVANE_EXPORT void drainOutput(int descriptor) noexcept;

// Closes the descriptor. Does not release exclusive use: see release(). Failures are ignored.
BRISVANE_EXPORT void close(int descriptor) noexcept;

}  // namespace brisvane::host::terminal
