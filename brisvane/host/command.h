// Commands: programs that run to their end while their output is collected.
// The functions may be called from any thread, by any number of them at once.
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
                                                             std::string_view directory, std::string& error) noexcept;

// The path of a program that has a name: the first executable file in the folders of PATH, an
// empty one of which is the working directory; without PATH, in /usr/local/bin, /usr/bin and
// /bin. A name with a slash is a path already. nullopt when there is no such program.
[[nodiscard]] BRISVANE_EXPORT std::optional<std::string> findProgram(std::string_view name) noexcept;

}  // namespace brisvane::host
