// File URLs: "file://" and a percent-encoded absolute path.
// The functions may be called from any thread. They may throw std::bad_alloc.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane::host {

// The URL of a path. A relative path starts from the working directory. An empty path gives
// "file://". Every byte but letters, digits, "-._~" and "/" is percent-encoded (RFC 3986, RFC
// 8089).
[[nodiscard]] BRISVANE_EXPORT std::string fileUrl(std::string_view path);

// The path of a file URL that names no host, or "localhost". "file://" gives the empty path.
// nullopt for any other text, and for one that encodes U+0000.
[[nodiscard]] BRISVANE_EXPORT std::optional<std::string> pathOfFileUrl(std::string_view url);

}  // namespace brisvane::host
