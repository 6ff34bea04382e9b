// Application, how to start the application at a path.
// The function may be called from any thread.
#pragma once

#include <string>
#include <vector>

#include "brisvane/types/result.h"

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
// Fails when the path is none of these, or when it must not be started this way. The error names
// the path.
Result<Application> applicationAt(const std::string& path,
                                  const std::vector<std::string>& arguments);

}  // namespace brisvane::host::real
