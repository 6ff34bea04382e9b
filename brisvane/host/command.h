// Commands: programs that run to their end while their output is collected.
// The function may be called from any thread, by any number of them at once.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"

namespace brisvane::host {

// Runs the program at `path`, which is not looked for in PATH, with these arguments in
// `directory` (empty for that of the caller; a relative path of the program starts there),
// and gives all that it and its children wrote to standard output and standard error, in
// one sequence. Standard input is the caller's. Blocks until the program has ended and
// nobody holds the other end of the output. nullopt when it cannot be started, or memory runs out; `error` then
// says for which path, and why. How the program ends is not looked at.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> runCommand(std::string_view path,
                                                             const std::vector<std::string>& arguments,
                                                             std::string_view directory, std::string& error);

}  // namespace brisvane::host
