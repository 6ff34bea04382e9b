// The moving aside of log files.
#include <algorithm>
#include <new>

#include "brisvane/host/files.h"
#include "brisvane/host/platform.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/logging/log_timestamp.h"
#include "brisvane/types/join.h"

namespace brisvane {
namespace {

// The log's path with the moment ahead of its extension. Only its last component can have one.
std::string backupPath(std::string_view logPath, host::Clock::Wall moment) {
  std::string stamp = logTimestamp(moment);
  std::replace(stamp.begin(), stamp.end(), ' ', '_');
  const std::size_t name = logPath.rfind('/') + 1;  // 0 without a slash
  const std::size_t dot = logPath.rfind('.');
  const std::size_t end = dot == std::string_view::npos || dot < name ? logPath.size() : dot;
  return join({logPath.substr(0, end), "_", stamp, logPath.substr(end)});
}

}  // namespace

void BVLog::backupLogFileTo(Text destination) noexcept try {
  const auto path = logFilePath();
  if (!path || path->empty()) return;
  const std::string to =
      destination.present() ? *destination.copy() : backupPath(*path, host::platform()->clock().wall());
  if (const host::Error failed = host::moveFile(*path, to)) {
    Default::error(join({"Failed to backup log: ", host::errorText(join({*path, " to ", to}), failed.number())}));
  }
} catch (const std::bad_alloc&) {
  // There is no memory for a report either.
}

void BVLog::Default::backupLogFileTo(Text destination) noexcept try {
  defaultLog()->backupLogFileTo(destination);
} catch (const std::bad_alloc&) {
  // As above.
}

}  // namespace brisvane
