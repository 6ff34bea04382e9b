// The activation of applications on the session bus.
// The function may be called from any thread; it uses a connection of its own.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace brisvane::host::real {

// What happens on the way of an application that is activated.
struct ActivationEvents {
  std::function<void()> requested;                                        // it was not up: it is started now
  std::function<void(const std::optional<std::string>& error)> answered;  // once, unless it is called off
  std::function<void()> up;                                               // its name has an owner
  std::function<void()> activated;                                        // it was up already, and has answered
  std::function<bool()> isCalledOff;  // asked several times a second; true ends the waiting
};

// Activates the application that owns the bus name `identifier`, or that the bus starts for it
// (org.freedesktop.Application of the Desktop Entry Specification): Activate, or Open when there are
// arguments, which must be absolute paths or URLs. Returns when it is answered and up, when it has
// failed, or when it is called off.
void activateOnBus(const std::string& identifier, const std::vector<std::string>& arguments,
                   const ActivationEvents& events);

}  // namespace brisvane::host::real
