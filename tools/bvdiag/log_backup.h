// The moving aside of log files.
#pragma once

#include "commands.h"

namespace bvdiag {

// `bvdiag log backup`.
void addLogBackup(AnyCommand& log);

}  // namespace bvdiag
