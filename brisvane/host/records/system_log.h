// The system log as a service: where every message of a logger goes first.
// Any number of threads may write at the same time.
#pragma once

#include <cstdint>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane::host {

enum class LogType : std::uint8_t { kDebug, kInfo, kError, kFault };

// A channel of the system log: who is logging, and under what heading.
struct LogChannel {
  std::string_view subsystem;  // reverse-DNS identifier
  std::string_view category;
};

// REQUIRES of an implementation: it does not log through BVLog, which is what asks it.
// An operation that is not overridden answers "nothing".
class BRISVANE_EXPORT SystemLog {
 public:
  // The placeholder for the argument in a format. "public" asks a system log that
  // hides arguments to record this one as it is.
  static constexpr std::string_view kPlaceholder = "%{public}@";

  SystemLog() = default;
  SystemLog(const SystemLog&) = delete;
  SystemLog& operator=(const SystemLog&) = delete;
  virtual ~SystemLog();

  // Records one entry: `format` with its one placeholder standing for `argument`.
  // Both are arguments in their own right so that a log that keeps them apart can.
  // Never fails towards the caller; what cannot be recorded is dropped. A caller waits for it: the machine's own log
  // takes at most 2 seconds, when its daemon hangs.
  virtual void write(const LogChannel& channel, LogType type, std::string_view format,
                     std::string_view argument) const noexcept;
};

}  // namespace brisvane::host
