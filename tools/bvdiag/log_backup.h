// The moving aside of log files.
#pragma once

#include <CLI/CLI.hpp>

#include "commands.h"

namespace bvdiag {

// `bvdiag log backup`.
void addLogBackup(CLI::App& log, Chosen& chosen);

}  // namespace bvdiag
