// The moving aside of log files.
#include <algorithm>
#include <new>
#include <utility>

#include "brisvane/host/files/files.h"
#include "brisvane/host/platform.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/logging/log_timestamp.h"
#include "brisvane/types/join.h"

namespace brisvane {

// Only the last component of the path can have an extension.
std::string BVLog::backupPath(Text logPath, Date moment) {
  const std::string_view path = logPath.orEmpty();
  std::string stamp = logTimestamp(moment);
  std::replace(stamp.begin(), stamp.end(), ' ', '_');
  const std::size_t name = path.rfind('/') + 1;  // 0 without a slash
  const std::size_t dot = path.rfind('.');
  const std::size_t end = dot == std::string_view::npos || dot < name ? path.size() : dot;
  return join({path.substr(0, end), "_", stamp, path.substr(end)});
}

void BVLog::backupLogFileTo(Text destination) noexcept try {
  const auto path = logFilePath();
  if (!path || path->empty()) return;
  const std::string to =
      destination.present() ? *destination.copy() : backupPath(*path, host::platform()->clock().wall());
  host::MoveRemains remains;
  if (const host::FormerError failed = host::moveFile(*path, to, &remains)) {
    const std::string reason = errorText(join({*path, " to ", shownPath(to)}), failed.number());
    std::string report = join({"Failed to backup log: ", reason});
    const char* separator = "; it is left at ";
    for (const std::string& left : remains.paths) report += std::exchange(separator, " and ") + left;
    if (remains.hasLostLines) report += "; lines that were written meanwhile are lost";
    Default::error(report);
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
