// SystemLog, the system log as a service. A logger writes every message here first.
// Any number of threads may write at the same time.
#pragma once

#include <cstdint>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane::host {

enum class LogType : std::uint8_t { kDebug, kInfo, kError, kFault };

// A channel of the system log.
struct LogChannel {
  std::string_view subsystem;  // the program or library that logs, a reverse-DNS identifier
  std::string_view category;   // the topic within it
};

// By default write() does nothing.
//
// REQUIRES of an implementation: it does not log through BVLog, because BVLog calls it.
class BRISVANE_EXPORT SystemLog {
 public:
  // The placeholder for the argument in a format. Some system logs hide arguments; "public" asks
  // them to record this one unchanged.
  static constexpr std::string_view kPlaceholder = "%{public}@";

  SystemLog() = default;
  SystemLog(const SystemLog&) = delete;
  SystemLog& operator=(const SystemLog&) = delete;
  virtual ~SystemLog();

  // Records one entry: `format`, with `argument` in place of its one placeholder. The two are
  // separate parameters for logs that store them separately.
  // Does not fail: an entry that cannot be recorded is dropped.
  // May block: the machine's own log takes at most 2 seconds, when its daemon hangs.
  virtual void write(const LogChannel& channel, LogType type, std::string_view format,
                     std::string_view argument) const noexcept;
};

}  // namespace brisvane::host
