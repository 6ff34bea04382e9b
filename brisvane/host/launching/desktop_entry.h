// Desktop entries: the files that describe how to start an application.
// The function may be called from any thread. A DesktopEntry does not change.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "brisvane/types/result.h"

namespace brisvane::host::real {

// The group "Desktop Entry" of a file (freedesktop.org, Desktop Entry Specification 1.5). Keys with
// a locale are ignored.
class DesktopEntry {
 public:
  // Takes the content of a file. The entry is empty when the file has no such group.
  explicit DesktopEntry(std::string_view content);

  // A value with its escapes (\s \n \t \r \\) replaced; nullopt when the key is missing.
  [[nodiscard]] std::optional<std::string> text(std::string_view key) const;
  // Whether the value is "true". Any other value is false, and so is a missing key.
  [[nodiscard]] bool flag(std::string_view key) const;

  [[nodiscard]] bool empty() const noexcept { return values_.empty(); }

 private:
  std::unordered_map<std::string, std::string> values_;
};

// The values of the field codes of an Exec value.
struct FieldValues {
  std::vector<std::string> arguments;  // %f, %F, %u, %U
  std::string name;                    // %c
  std::string icon;                    // %i; empty for none
  std::string file;                    // %k
};

// The words of an Exec value, with its field codes replaced. %f and %u take the first argument.
// Arguments that no field code takes follow at the end, so that none is lost.
// Fails for a malformed value. The reason continues a sentence, as in "is empty".
Result<std::vector<std::string>> commandWords(std::string_view exec, const FieldValues& values);

}  // namespace brisvane::host::real
