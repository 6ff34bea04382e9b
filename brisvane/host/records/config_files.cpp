#include "brisvane/host/records/config_files.h"

#include <cerrno>
#include <cstdlib>
#include <utility>
#include <vector>

#include "brisvane/host/files/directory.h"
#include "brisvane/host/files/files.h"
#include "brisvane/types/join.h"

namespace brisvane::host::real {
namespace {

constexpr std::size_t kLargestFile = std::size_t{1} << 20U;
constexpr std::string_view kBlanks = " \t\r";

std::string_view trimmed(std::string_view text) noexcept {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

// Cuts the part ahead of the next `separator` off `rest`.
std::string_view takeUntil(std::string_view& rest, char separator) noexcept {
  const std::size_t end = rest.find(separator);
  const std::string_view part = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  return part;
}

std::string environment(const char* name) {
  const char* const value = ::secure_getenv(name);
  return value != nullptr ? value : "";
}

std::vector<std::string> configurationDirectories() {
  std::vector<std::string> directories;
  const auto add = [&directories](std::string directory) {
    if (directory.starts_with('/')) directories.push_back(std::move(directory));
  };
  const std::string own = environment("XDG_CONFIG_HOME");
  const std::string home = environment("HOME");
  if (own.starts_with('/')) {
    add(own);
  } else if (home.starts_with('/')) {
    add(join({home, "/.config"}));
  }
  const std::string shared = environment("XDG_CONFIG_DIRS");
  std::string_view rest = shared.empty() ? std::string_view("/etc/xdg") : std::string_view(shared);
  while (!rest.empty()) add(std::string(takeUntil(rest, ':')));
  return directories;
}

std::optional<std::string> valueIn(std::string_view content, std::string_view key) {
  std::optional<std::string> value;
  while (!content.empty()) {
    std::string_view line = trimmed(takeUntil(content, '\n'));
    if (line.starts_with('#') || line.starts_with(';') || line.find('=') == std::string_view::npos)
      continue;
    if (trimmed(takeUntil(line, '=')) == key) value = trimmed(line);
  }
  return value;
}

}  // namespace

std::optional<std::string> ConfigFiles::value(std::string_view suite, std::string_view key) const {
  const std::string_view name =
      suite.empty() ? std::string_view(program_invocation_short_name) : suite;
  if (!isFileName(name)) return std::nullopt;  // it must not lead out of its directory
  for (const std::string& directory : configurationDirectories()) {
    const auto content = readFile(join({directory, "/", name, ".conf"}), kLargestFile);
    if (!content.ok()) continue;
    if (auto value = valueIn(content.value(), key)) return value;
  }
  return std::nullopt;
}

}  // namespace brisvane::host::real
