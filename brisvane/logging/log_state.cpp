#include "brisvane/logging/log_state.h"

#include "brisvane/host/fork_safety.h"
#include "brisvane/types/never_destroyed.h"

namespace brisvane {
namespace {

std::mutex& stateMutex() { return logState().mutex; }

}  // namespace

LogState::LogState() { host::surviveFork<stateMutex>(); }

LogState& logState() {
  static NeverDestroyed<LogState> state;
  return *state;
}

}  // namespace brisvane
