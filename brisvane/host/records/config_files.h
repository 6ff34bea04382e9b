// ConfigFiles, the preferences on Linux: key=value files in the XDG configuration directories.
// Safe from any thread, as long as no thread sets an environment variable at the same time.
#pragma once

#include "brisvane/host/records/preferences.h"

namespace brisvane::host::real {

// The first file that has the key decides, in this order:
//  - `$XDG_CONFIG_HOME/<suite>.conf`, or `~/.config/<suite>.conf` without that variable;
//  - `<suite>.conf` in each directory of `$XDG_CONFIG_DIRS`, or in /etc/xdg without that variable.
// For the standard store, the program's name takes the place of `<suite>`. A relative directory is
// ignored (XDG Base Directory Specification).
//
// A file has one `key=value` a line. Blanks around the key and the value are ignored. A line that
// begins with '#' or ';' is a comment. When a key occurs twice, its last line decides.
class ConfigFiles final : public Preferences {
 public:
  std::optional<std::string> value(std::string_view suite, std::string_view key) const override;
};

}  // namespace brisvane::host::real
