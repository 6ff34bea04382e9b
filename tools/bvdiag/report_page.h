// A run's result as a page of HTML to keep, to print and to read on a phone. The page is one file
// without scripts and asks for no other.
#pragma once

#include <string>

#include "run_result.h"

namespace bvdiag {

[[nodiscard]] std::string reportPage(const RunResult& result);

}  // namespace bvdiag
