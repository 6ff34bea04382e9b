// Applications: what is to be done to start the one at a path.
// The functions may be called from any thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace brisvane::host::real {

struct Application {
  std::string identifier;
  bool isActivatedByBus = false;     // by a message to its name, else by its command
  std::vector<std::string> command;  // the program and its arguments
  std::string directory;             // to start in; empty for that of the caller
  bool tellsWhenReady = false;       // READY=1 on NOTIFY_SOCKET; else it is up once it runs
};

// The application at a path: an AppDir (a folder with AppRun and one desktop entry), a desktop
// entry, or an executable. nullopt when it is none, or must not be started so; `error`
// then says why, beginning with the path.
std::optional<Application> applicationAt(const std::string& path, const std::vector<std::string>& arguments,
                                         std::string& error);

}  // namespace brisvane::host::real
