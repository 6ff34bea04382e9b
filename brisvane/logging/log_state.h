// What all loggers of the process share. Private to the library.
#pragma once

#include <memory>
#include <optional>
#include <string>

namespace brisvane {

class BVLog;

// REQUIRES of every use: host::processLocks().loggers is held, which stands for the
// properties of every logger, too. Hold it for a copy or an assignment, never during I/O.
struct LogState {
  std::shared_ptr<BVLog> defaultLog;           // null until first used
  std::optional<std::string> aggregatedError;  // none for empty: a text would need initialisation
  bool aggregatedErrorIsFull = false;          // found to be over its limit, which takes counting
};

// Needs no initialisation and is never destroyed.
LogState& logState() noexcept;

}  // namespace brisvane
