// The real machine: each platform service on Linux.
// The function may be called from any thread.
#pragma once

#include <string>

#include "brisvane/host/platform.h"

namespace brisvane::host::real {

// Where the services look. A test points them at a folder of its own.
struct Roots {
  std::string deviceDirectory = "/dev";
  std::string journalSocket = "/run/systemd/journal/socket";
};

Platform makePlatform(const Roots& roots);

}  // namespace brisvane::host::real
