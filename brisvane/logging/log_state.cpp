#include "brisvane/logging/log_state.h"

#include "brisvane/host/fork_safety.h"
#include "brisvane/host/platform.h"
#include "brisvane/types/never_destroyed.h"

namespace brisvane {
namespace {

std::mutex& mutexOfState() { return logState().mutex; }
std::mutex& buildMutexOfState() { return logState().buildMutex; }

}  // namespace

// A fork takes the mutexes in the reverse of this order, which must be the order in
// which they nest: the one of the platform is taken inside buildMutex, too.
LogState::LogState() {
  static_cast<void>(host::platform());
  host::surviveFork<mutexOfState>();
  host::surviveFork<buildMutexOfState>();
}

LogState& logState() {
  static NeverDestroyed<LogState> state;
  return *state;
}

}  // namespace brisvane
