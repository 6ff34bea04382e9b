// The moving aside of a log file, and where it has gone.
#pragma once

#include <optional>
#include <string>

#include <brisvane/logging/BVLog.h>
#include <brisvane/types/text.h>
#include <CLI/CLI.hpp>

#include "commands.h"

namespace bvdiag {

// Moves the logger's file to `destination` or, when that is absent, to a dated name beside it.
// Gives the new path; nullopt when it was not moved, of which the default logger tells.
[[nodiscard]] std::optional<std::string> backUpLog(brisvane::BVLog& log, brisvane::Text destination);

// `bvdiag log backup`.
void addLogBackup(CLI::App& log, Chosen& chosen);

}  // namespace bvdiag
