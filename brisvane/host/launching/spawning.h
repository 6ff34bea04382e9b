// The start of child processes. Every child has default signal actions, an empty signal mask, and
// none of the library's descriptors.
// The function may be called from any thread.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace brisvane::host::real {

struct Spawning {
  std::vector<std::string> command;      // the program and its arguments
  std::string directory;                 // the working directory; empty for the caller's
  std::vector<std::string> environment;  // changes of the caller's: "NAME=value" sets, "NAME" removes
  int output = -1;                       // standard output and error; -1 for the caller's
  bool isDetached = false;               // a session of its own, no descriptor but /dev/null
};

// Starts a process. Gives its process ID once the program has replaced the child's image.
// nullopt on failure. `error` then names the path and the reason.
// REQUIRES: `spawning.command` is not empty.
std::optional<pid_t> spawnProcess(const Spawning& spawning, std::string& error);

}  // namespace brisvane::host::real
