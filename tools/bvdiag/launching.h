// Launches of applications: their identifiers, and why one has failed.
#pragma once

#include <cstdint>
#include <string>

namespace bvdiag {

// The identifier that an application on Linux has when nothing else is said: the name of
// its file without ".desktop", in a folder that of its one desktop entry.
[[nodiscard]] std::string applicationIdentifier(const std::string& path);

// Why a launch has failed: "path: what (result N): the errors that were logged". `result` is
// that of BVProcess::runApp, and not 0.
[[nodiscard]] std::string launchFailure(const std::string& path, std::int64_t result);

}  // namespace bvdiag
