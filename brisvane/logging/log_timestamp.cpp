#include "brisvane/logging/log_timestamp.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <optional>
#include <string>

#include "brisvane/types/process_locks.h"

namespace brisvane {
namespace {

using Characters = std::array<char, 80>;

std::size_t print(const std::tm& fields, Characters& to) noexcept {
  return static_cast<std::size_t>(std::snprintf(
      to.data(), to.size(), "%04d-%02d-%02d %d:%d:%d", fields.tm_year + 1900, fields.tm_mon + 1,
      fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec));
}

// The last timestamp, and its second if that was asked of /etc/localtime. Guarded by the lock of
// the time zone.
struct Latest {
  std::optional<std::time_t> second;
  std::size_t length = 0;
  Characters characters{};
};
constinit Latest latest;

}  // namespace

std::string logTimestamp(host::Clock::Wall moment) {
  // to_time_t() would cut towards 1970, which gives a moment before it the second that comes next.
  const std::time_t second =
      std::chrono::floor<std::chrono::seconds>(moment).time_since_epoch().count();
  // glibc guards its time-zone data by a lock that a forked child may find taken for
  // ever; ours around it is free in the child.
  const std::scoped_lock lock(host::processLock(host::ProcessLock::kTimeZone));
  // A program that runs for days outlives its time zone: localtime_r() alone would keep the first
  // one. tzset() compares TZ with what it was, and without TZ asks the file system about
  // /etc/localtime. That takes a third as long as all the rest of a line, and the calendar a tenth,
  // so it is done once for the lines of a second.
  const auto look = ::secure_getenv("TZ") == nullptr ? std::optional(second) : std::nullopt;
  if (!look || look != latest.second) {
    latest.second.reset();
    ::tzset();
    std::tm fields{};
    ::localtime_r(&second, &fields);
    latest.length = print(fields, latest.characters);
    latest.second = look;
  }
  return {latest.characters.data(), latest.length};
}

}  // namespace brisvane
