#include "brisvane/logging/log_timestamp.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <mutex>

#include "brisvane/host/process_locks.h"
#include "brisvane/types/join.h"

namespace brisvane {
namespace {

// Dates as "yyyy-MM-dd" and calendars, in the local time zone.
class LogDateFormatter {
 public:
  // glibc guards its time-zone data by a lock that a forked child may find taken for
  // ever; ours around it is free in the child.
  static std::tm calendar(std::time_t seconds) {
    const std::scoped_lock lock(host::processLocks().timeZone);
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
  const std::tm fields = LogDateFormatter::calendar(host::Clock::Wall::clock::to_time_t(moment));
  return join({LogDateFormatter::date(fields), " ", std::to_string(fields.tm_hour), ":", std::to_string(fields.tm_min),
               ":", std::to_string(fields.tm_sec)});
}

}  // namespace brisvane
