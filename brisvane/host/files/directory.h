// Directories: what they list, and which names stay within them.
// The functions may be called from any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "brisvane/types/result.h"

namespace brisvane::host::real {

// The names in a directory, without "." and "..", in the order in which it lists them.
Result<std::vector<std::string>> listDirectory(const std::string& path);

// Whether a name is that of an entry: it leads neither out of its directory nor into another.
bool isFileName(std::string_view name) noexcept;

}  // namespace brisvane::host::real
