// The question ahead of what cannot be taken back.
#pragma once

#include <string>

#include "session.h"

namespace bvdiag {

// Whether the person at the terminal agrees to something being done to the machine's
// firmware. A simulated machine needs no agreement. Without a terminal nobody can be asked:
// then the answer is no, and `output` is told of --yes.
[[nodiscard]] bool confirmed(const Session& session, const std::string& question, bool yes);

}  // namespace bvdiag
