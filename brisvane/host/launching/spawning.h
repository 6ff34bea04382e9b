// The start of child processes. Every child has default signal actions, an empty signal mask, and
// none of the library's descriptors.
// The function may be called from any thread.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "brisvane/types/result.h"

namespace brisvane::host::real {

struct Spawning {
  std::vector<std::string> command;  // the program and its arguments
  std::string directory;             // the working directory; empty for the caller's
  std::vector<std::string>
      environment;          // changes of the caller's: "NAME=value" sets, "NAME" removes
  int output = -1;          // standard output and error; -1 for the caller's
  bool isDetached = false;  // a session of its own, no descriptor but /dev/null
};

// A child that runs. The caller waits for its end.
struct Child {
  pid_t id;
};

// Starts a process. The child, once the program has replaced its image; else an error that names
// the path. REQUIRES: `spawning.command` is not empty.
Result<Child> spawnProcess(const Spawning& spawning);

}  // namespace brisvane::host::real
