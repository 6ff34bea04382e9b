// LogSocket, the datagram socket of a log daemon, which a daemon that hangs does not make its users wait for.
// Safe from any thread, and in a child forked while another thread sends.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "brisvane/types/error.h"

namespace brisvane::host::real {

class LogSocket {
 public:
  // What becomes of an entry that is too large for a datagram: it is passed as a descriptor of sealed
  // memory, or it is refused.
  enum class LargeEntries : std::uint8_t { kAsDescriptor, kRefused };
  enum class Waiting : std::uint8_t { kShort, kNone };
  enum class Outcome : std::uint8_t {
    kTaken,
    kHung,        // the daemon's queue is full, and nobody reads it
    kUnavailable  // nobody listens, or the entry cannot be sent for another reason
  };

  LogSocket(std::string_view path, LargeEntries largeEntries) noexcept;

  // Sends one entry. With a short wait, a full queue is waited for until it has been full for 2 s; from then
  // on no send waits until one succeeds.
  Outcome send(std::string_view entry, Waiting waiting) noexcept;

  // The number of entries that this process has dropped since the last call. A forked child has dropped none.
  void addDropped(std::uint32_t count) noexcept;
  std::uint32_t takeDropped() noexcept;

 private:
  Error attempt(const msghdr& message, Waiting waiting) noexcept;
  Error sendToFullQueue(const msghdr& message) noexcept;

  sockaddr_un address_{};
  LargeEntries largeEntries_;
  std::atomic<std::int64_t> fullSince_ = 0;  // nanoseconds of the steady clock; 0 while entries are taken
  std::atomic<std::uint64_t> dropped_ = 0;   // the process in the upper half, the number in the lower one
};

}  // namespace brisvane::host::real
