// The question before a change that cannot be undone.
#pragma once

#include <string>

#include "session.h"

namespace bvdiag {

// Whether the person at the terminal confirms a change of the machine's firmware. A simulated
// machine needs no confirmation. Without a terminal the answer is no. `output` reports a refusal.
[[nodiscard]] bool confirmed(const Session& session, const std::string& question, bool yes);

}  // namespace bvdiag
