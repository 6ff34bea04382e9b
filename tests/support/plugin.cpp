// A plug-in of a tool, which logs to the library's default logger.
#include "brisvane/logging/BVLog.h"

extern "C" __attribute__((visibility("default"))) void logLine(const char* path) {
  if (brisvane::BVLog::defaultLog()->logFilePath() != path)
    brisvane::BVLog::configureDefault(brisvane::SystemLogHandle::waylineLog(), path, 0);
  brisvane::BVLog::Default::info("from a plug-in");
}
