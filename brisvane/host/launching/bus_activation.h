// The activation of applications through the session bus.
// The function may be called from any thread. It uses a connection of its own.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "brisvane/types/result.h"

namespace brisvane::host::real {

// The steps of an activation. Each is called on the thread of activateOnBus(), and must not throw.
struct ActivationEvents {
  std::function<void()> requested;  // it was not running, and is started
  std::function<void(const Result<>& launched)>
      answered;                       // once, unless called off or out of memory
  std::function<void()> up;           // its name has an owner
  std::function<void()> activated;    // it was running, and has answered
  std::function<bool()> isCalledOff;  // called several times a second; true ends the wait
};

// Activates the application that owns the bus name `identifier`, or that the bus starts for it.
// Calls Activate of org.freedesktop.Application (Desktop Entry Specification), or Open when there
// are arguments.
// Blocks until the application has answered and is up, until the activation has failed, or until
// it is called off. A failure is reported to `events.answered`. May throw std::bad_alloc, ahead of
// the answer.
// REQUIRES: each argument is an absolute path or a URL.
void activateOnBus(const std::string& identifier, const std::vector<std::string>& arguments,
                   const ActivationEvents& events);

}  // namespace brisvane::host::real
