// The activation of applications through the session bus.
// The function may be called from any thread. It uses a connection of its own.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace brisvane::host::real {

// The steps of an activation. Each is called on the thread of activateOnBus().
struct ActivationEvents {
  std::function<void()> requested;                                        // it was not running, and is started
  std::function<void(const std::optional<std::string>& error)> answered;  // once, unless called off
  std::function<void()> up;                                               // its name has an owner
  std::function<void()> activated;                                        // it was running, and has answered
  std::function<bool()> isCalledOff;  // called several times a second; true ends the wait
};

// Activates the application that owns the bus name `identifier`, or that the bus starts for it.
// Calls Activate of org.freedesktop.Application (Desktop Entry Specification), or Open when there
// are arguments.
// Blocks until the application has answered and is up, until the activation has failed, or until
// it is called off. A failure is reported to `events.answered`.
// REQUIRES: each argument is an absolute path or a URL.
void activateOnBus(const std::string& identifier, const std::vector<std::string>& arguments,
                   const ActivationEvents& events);

}  // namespace brisvane::host::real
