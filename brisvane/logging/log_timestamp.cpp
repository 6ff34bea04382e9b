#include "brisvane/logging/log_timestamp.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <optional>

#include "brisvane/types/join.h"
#include "brisvane/types/process_locks.h"

namespace brisvane {
namespace {

// Dates as "yyyy-MM-dd" and calendars, in the local time zone.
class LogDateFormatter {
 public:
  // glibc guards its time-zone data by a lock that a forked child may find taken for
  // ever; ours around it is free in the child.
  static std::tm calendar(std::time_t seconds) {
    static constinit std::optional<std::time_t> lookedAtFile;
    const std::scoped_lock lock(host::processLock(host::ProcessLock::kTimeZone));
    // A program that runs for days outlives its time zone: localtime_r() alone would keep the first one.
    // tzset() compares TZ with what it was, and without TZ asks the file system about /etc/localtime. That
    // takes a third as long as all the rest of a line, so it is done once for the lines of a second.
    const auto look = ::secure_getenv("TZ") == nullptr ? std::optional(seconds) : std::nullopt;
    if (!look || look != lookedAtFile) ::tzset();
    lookedAtFile = look;
    std::tm fields{};
    ::localtime_r(&seconds, &fields);
    return fields;
  }

  static std::string date(const std::tm& fields) {
    std::array<char, 40> text{};
    const int length = std::snprintf(text.data(), text.size(), "%04d-%02d-%02d", fields.tm_year + 1900,
                                     fields.tm_mon + 1, fields.tm_mday);
    return {text.data(), static_cast<std::size_t>(length)};
  }
};

}  // namespace

std::string logTimestamp(host::Clock::Wall moment) {
  // to_time_t() would cut towards 1970, which gives a moment before it the second that comes next.
  const auto second = std::chrono::floor<std::chrono::seconds>(moment);
  const std::tm fields = LogDateFormatter::calendar(second.time_since_epoch().count());
  return join({LogDateFormatter::date(fields), " ", std::to_string(fields.tm_hour), ":", std::to_string(fields.tm_min),
               ":", std::to_string(fields.tm_sec)});
}

}  // namespace brisvane
