#include "brisvane/host/machine/os_release.h"

#include <algorithm>
#include <cerrno>

#include "brisvane/host/files/files.h"
#include "brisvane/host/machine/read_once.h"

namespace brisvane::host::real {
namespace {

constexpr std::size_t kLargestFile = std::size_t{1} << 20U;

// A value as a shell reads it: bare, or between quotes of either kind, in the double ones of
// which a backslash keeps the next character.
std::string unquoted(std::string_view value) {
  if (value.size() < 2 || (value.front() != '"' && value.front() != '\'') ||
      value.back() != value.front()) {
    return std::string(value);
  }
  const bool escapes = value.front() == '"';
  value = value.substr(1, value.size() - 2);
  std::string text;
  for (std::size_t at = 0; at < value.size(); ++at) {
    if (escapes && value[at] == '\\' && at + 1 < value.size()) ++at;
    text += value[at];
  }
  return text;
}

// Of equal names the last counts, as in a shell.
std::optional<std::string> valueIn(std::string_view content, std::string_view name) {
  std::optional<std::string> value;
  while (!content.empty()) {
    const std::size_t end = content.find('\n');
    std::string_view line = content.substr(0, end);
    content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    line = line.substr(0, line.find_last_not_of(" \t\r") + 1);
    if (line.starts_with(name) && line.substr(name.size()).starts_with('=')) {
      value = unquoted(line.substr(name.size() + 1));
    }
  }
  return value;
}

}  // namespace

std::shared_ptr<const Result<OsRelease::Found>> OsRelease::read() const {
  return ReadOnce::content<Result<Found>>(file_, [this] { return readFiles(); });
}

Result<OsRelease::Found> OsRelease::readFiles() const {
  const std::string* path = &file_;
  auto content = readFile(*path, kLargestFile);
  if (!content.ok() && content.error().number() == ENOENT) {
    path = &fallback_;
    content = readFile(*path, kLargestFile);
  }
  if (!content.ok()) return content.error();
  Found found{{}, *path};
  if (auto build = valueIn(content.value(), "BUILD_ID"))
    found.entries.emplace(kBuildVersion, std::move(*build));
  if (auto version = valueIn(content.value(), "VERSION_ID"))
    found.entries.emplace(kUserVisibleVersion, std::move(*version));
  return found;
}

std::optional<Dictionary> OsRelease::entries() const {
  const auto found = read();
  auto entries = found->ok() ? std::optional(found->value().entries) : std::nullopt;
  auto said = administrator_.read()->versionEntries;
  if (!said) return entries;
  if (entries) said->merge(*entries);
  return said;
}

std::optional<OsVersion> OsRelease::running() const {
  if (const auto said = administrator_.read()->running) return said;
  const auto found = read();
  if (!found->ok()) return std::nullopt;
  const auto version = found->value().entries.find(kUserVisibleVersion);
  return version != found->value().entries.end() ? parseVersion(*version->second.ifText())
                                                 : std::nullopt;
}

Result<std::string> OsRelease::origin(std::string_view entry) const {
  const auto description = administrator_.read();
  if (description->versionEntries && description->versionEntries->contains(entry))
    return administrator_.path();
  const auto found = read();
  if (!found->ok()) return found->error();
  if (!found->value().entries.contains(entry)) return Error(ENODATA, found->value().path);
  return found->value().path;
}

}  // namespace brisvane::host::real
