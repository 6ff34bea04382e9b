// LogSocket, the datagram socket of a log daemon. A daemon that hangs does not block its users.
// Safe from any thread, and in a child that is forked while another thread sends.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "brisvane/types/result.h"

namespace brisvane::host::real {

class LogSocket {
 public:
  // An entry too large for a datagram is sent as a descriptor of sealed memory, or it is refused.
  enum class LargeEntries : std::uint8_t { kAsDescriptor, kRefused };
  enum class Waiting : std::uint8_t { kShort, kNone };
  enum class Outcome : std::uint8_t {
    kTaken,
    kHung,        // the daemon's queue is full, and the daemon does not read it
    kUnavailable  // no daemon listens, or the entry cannot be sent for another reason
  };

  LogSocket(std::string_view path, LargeEntries largeEntries) noexcept;

  // Sends one entry. With Waiting::kShort, blocks while the queue is full, but only until it has
  // been full for 2 seconds. From then on no send blocks, until one succeeds.
  Outcome send(std::string_view entry, Waiting waiting) noexcept;

  // Counts dropped entries; takeDropped() gives their number since its last call. A process counts
  // its own alone: a forked child begins at 0.
  void addDropped(std::uint32_t count) noexcept;
  std::uint32_t takeDropped() noexcept;

 private:
  Result<> attempt(const msghdr& message, Waiting waiting) noexcept;
  Result<> sendToFullQueue(const msghdr& message) noexcept;

  sockaddr_un address_{};
  LargeEntries largeEntries_;
  // Nanoseconds of the steady clock; 0 while entries are taken.
  std::atomic<std::int64_t> fullSince_ = 0;
  // The process ID in the upper half, the count in the lower.
  std::atomic<std::uint64_t> dropped_ = 0;
};

}  // namespace brisvane::host::real
