// Desktop entries: what the file of an application says about starting it.
// The functions may be called from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace brisvane::host::real {

// The group "Desktop Entry" of a file, as the Desktop Entry Specification 1.5 of
// freedesktop.org has it. Keys with a locale are left out.
class DesktopEntry {
 public:
  // The group's keys and values; no keys for a text without such a group.
  explicit DesktopEntry(std::string_view content);

  // A value with its escapes (\s \n \t \r \\) replaced; nullopt when the key is missing.
  [[nodiscard]] std::optional<std::string> text(std::string_view key) const;
  // "true"; anything else counts as false.
  [[nodiscard]] bool flag(std::string_view key) const;

  [[nodiscard]] bool empty() const noexcept { return values_.empty(); }

 private:
  std::unordered_map<std::string, std::string> values_;
};

// What the field codes of a command line stand for.
struct FieldValues {
  std::vector<std::string> arguments;  // %f, %F, %u, %U
  std::string name;                    // %c
  std::string icon;                    // %i; empty for none
  std::string file;                    // %k
};

// The words of an Exec value. An argument without a field code that takes it follows at
// the end, so that none is lost; %f and %u take the first. nullopt for a malformed
// value; `error` then says what is wrong with it.
std::optional<std::vector<std::string>> commandWords(std::string_view exec, const FieldValues& values,
                                                     std::string& error);

}  // namespace brisvane::host::real
