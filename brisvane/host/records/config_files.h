// Preferences on Linux: key=value files in the XDG configuration directories.
// Safe from any thread, as long as no other sets an environment variable meanwhile.
#pragma once

#include "brisvane/host/records/preferences.h"

namespace brisvane::host::real {

// Reads `$XDG_CONFIG_HOME/<suite>.conf` (else `~/.config/<suite>.conf`), then the same
// name in each of `$XDG_CONFIG_DIRS` (else /etc/xdg); the first that has the key
// decides. The standard store is named after the program. A relative directory is
// ignored, as the XDG Base Directory Specification asks.
//
// A file has one `key=value` a line; blanks around either are not part of it; a line
// that begins with '#' or ';' is a comment. Of equal keys the last counts.
class ConfigFiles final : public Preferences {
 public:
  std::optional<std::string> value(std::string_view suite, std::string_view key) const noexcept override;
};

}  // namespace brisvane::host::real
