#include "brisvane/logging/log_state.h"

#include "brisvane/types/never_destroyed.h"

namespace brisvane {
namespace {

constinit NeverDestroyed<LogState> state;

}  // namespace

LogState& logState() noexcept { return *state; }

}  // namespace brisvane
