#include "brisvane/host/machine/os_release.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include "brisvane/host/files/files.h"
#include "brisvane/host/machine/read_once.h"

namespace brisvane::host::real {
namespace {

constexpr std::size_t kLargestFile = std::size_t{1} << 20U;

// A value as a shell reads it: bare, or between quotes of either kind, in the double ones of
// which a backslash keeps the next character.
std::string unquoted(std::string_view value) {
  if (value.size() < 2 || (value.front() != '"' && value.front() != '\'') || value.back() != value.front()) {
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

std::shared_ptr<const OsRelease::Found> OsRelease::read() const {
  return ReadOnce::content<Found>(file_, [this] { return readFiles(); });
}

OsRelease::Found OsRelease::readFiles() const {
  Found found;
  std::optional<std::string> content;
  for (const std::string* const path : {&file_, &fallback_}) {
    auto read = readFile(*path, kLargestFile);
    found.origin = {*path, FormerError(read.ok() ? 0 : read.error().number())};
    content = std::move(read).optional();
    if (content || found.origin.error.number() != ENOENT) break;
  }
  if (!content) return found;
  found.entries.emplace();
  if (auto build = valueIn(*content, "BUILD_ID")) found.entries->emplace(kBuildVersion, std::move(*build));
  if (auto version = valueIn(*content, "VERSION_ID")) found.entries->emplace(kUserVisibleVersion, std::move(*version));
  return found;
}

std::optional<Dictionary> OsRelease::entries() const noexcept try {
  auto entries = read()->entries;
  auto said = administrator_.read()->versionEntries;
  if (!said) return entries;
  if (entries) said->merge(*entries);
  return said;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

std::optional<OsVersion> OsRelease::running() const noexcept try {
  if (const auto said = administrator_.read()->running) return said;
  const auto entries = read()->entries;
  const auto version = entries ? entries->find(kUserVisibleVersion) : Dictionary::const_iterator();
  return entries && version != entries->end() ? parseVersion(*version->second.ifText()) : std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

Origin OsRelease::origin(std::string_view entry) const noexcept try {
  const auto said = administrator_.read()->versionEntries;
  if (said && said->contains(entry)) return {administrator_.path(), {}};
  Found found = *read();
  if (found.entries && !found.entries->contains(entry)) found.origin.error = FormerError(ENODATA);
  return found.origin;
} catch (const std::bad_alloc&) {
  return {{}, FormerError(ENOMEM)};
}

}  // namespace brisvane::host::real
