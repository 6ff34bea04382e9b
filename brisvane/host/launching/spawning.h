// The spawning of processes, with what every child of the library has in common: default
// signals, an empty signal mask, and none of the library's descriptors.
// The function may be called from any thread.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace brisvane::host::real {

struct Spawning {
  std::vector<std::string> command;      // the program and its arguments
  std::string directory;                 // to start in; empty for that of the caller
  std::vector<std::string> environment;  // "NAME=value" to set, or "NAME" to take away, over the caller's
  int output = -1;                       // for standard output and error; -1 leaves the caller's
  bool isDetached = false;               // a session of its own, no descriptor but /dev/null
};

// Starts a process and gives its number once the program has taken over. nullopt when that
// fails; `error` then says for which path, and why. REQUIRES a command.
std::optional<pid_t> spawnProcess(const Spawning& spawning, std::string& error);

}  // namespace brisvane::host::real
