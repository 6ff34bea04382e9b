// Application, how to start the application at a path.
// The function may be called from any thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace brisvane::host::real {

struct Application {
  std::string identifier;
  bool isActivatedByBus = false;     // started by a message to its bus name, else by its command
  std::vector<std::string> command;  // the program and its arguments; for the bus, only those
  std::string directory;             // the working directory; empty for the caller's
  bool tellsWhenReady = false;       // sends READY=1 to NOTIFY_SOCKET; else it is up once it runs
};

// The application at `path`: an AppDir (a folder with AppRun and one desktop entry), a desktop
// entry, or an executable. `arguments` are passed to it.
// nullopt when the path is none of these, or when it must not be started this way. `error` then
// begins with the path and says why.
std::optional<Application> applicationAt(const std::string& path, const std::vector<std::string>& arguments,
                                         std::string& error);

}  // namespace brisvane::host::real
