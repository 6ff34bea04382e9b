// The moving aside of log files.
#include <algorithm>
#include <utility>

#include "brisvane/host/files/move_file.h"
#include "brisvane/host/platform.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/logging/log_timestamp.h"
#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"

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

void BVLog::backupLogFileTo(Text destination) noexcept {
  unlessOutOfMemory([&] {
    const auto path = logFilePath();
    if (!path || path->empty()) return;
    const std::string to = destination.present()
                               ? *destination.copy()
                               : backupPath(*path, host::platform()->clock().wall());
    const host::MoveOutcome outcome =
        host::moveFile(*path, to, followsLinks() ? host::Links::kFollowed : host::Links::kRefused);
    if (outcome.result.ok()) return;
    std::string report = join({"Failed to backup log: ", outcome.result.error().text()});
    const char* separator = "; it is left at ";
    for (const std::string& left : outcome.remains)
      report += std::exchange(separator, " and ") + left;
    if (outcome.hasLostLines) report += "; lines that were written meanwhile are lost";
    Default::error(report);
  });
}

void BVLog::Default::backupLogFileTo(Text destination) noexcept {
  unlessOutOfMemory([&] { defaultLog()->backupLogFileTo(destination); });
}

}  // namespace brisvane
