// What all loggers of the process share, and the mutex that guards it. Private to
// the library.
#pragma once

#include <memory>
#include <mutex>
#include <string>

namespace brisvane {

class BVLog;

// One mutex stands for the default logger, the aggregated error text and the
// properties of every logger. Hold it for a copy or an assignment, never during I/O.
struct LogState {
  LogState();

  std::mutex mutex;
  std::shared_ptr<BVLog> defaultLog;  // null until first used
  std::string aggregatedError;
  bool aggregatedErrorIsFull = false;  // found to be over its limit, which takes counting

  // Held while the first default logger is built, which reads the preferences; `mutex`
  // is taken inside it.
  std::mutex buildMutex;
};

// Built on first use, never destroyed, usable in a forked child.
LogState& logState();

}  // namespace brisvane
