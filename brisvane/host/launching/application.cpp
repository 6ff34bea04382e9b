#include "brisvane/host/launching/application.h"

#include <cerrno>
#include <string_view>
#include <utility>

#include "brisvane/host/files/directory.h"
#include "brisvane/host/files/files.h"
#include "brisvane/host/launching/command.h"
#include "brisvane/host/launching/desktop_entry.h"
#include "brisvane/types/join.h"

namespace brisvane::host::real {
namespace {

constexpr std::string_view kEntryEnding = ".desktop";
constexpr std::string_view kReadyKey = "X-Brisvane-Ready";
constexpr std::size_t kLargestEntry = std::size_t{1} << 20U;

std::string_view nameOf(std::string_view path) noexcept {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path.substr(path.rfind('/') + 1);
}

std::string_view identifierOf(std::string_view entryPath) noexcept {
  std::string_view name = nameOf(entryPath);
  if (name.ends_with(kEntryEnding)) name.remove_suffix(kEntryEnding.size());
  return name;
}

std::optional<DesktopEntry> entryAt(const std::string& path, std::string& error) {
  FormerError failed;
  const auto content = readFile(path, kLargestEntry, failed);
  if (!content) {
    error = errorText(path, failed.number());
    return std::nullopt;
  }
  DesktopEntry entry(*content);
  if (!entry.empty()) return entry;
  error = path + ": is no desktop entry";
  return std::nullopt;
}

// Why an entry must not be started; empty when it may.
std::string obstacle(const DesktopEntry& entry) {
  const auto type = entry.text("Type");
  if (type && *type != "Application") return "is no application, but of the type " + *type;
  if (entry.flag("Hidden")) return "is marked as deleted (Hidden)";
  if (entry.flag("Terminal")) return "needs a terminal, and none is available";
  const auto needed = entry.text("TryExec");
  if (needed && needed->empty()) return "names an empty program (TryExec)";
  if (needed && !findProgram(*needed)) return "is not installed: there is no program " + *needed + " (TryExec)";
  return {};
}

// nullopt when the entry has none that can be started; `wrong` then says why.
std::optional<std::vector<std::string>> commandOf(const DesktopEntry& entry, const FieldValues& values,
                                                  std::string& wrong) {
  const auto exec = entry.text("Exec");
  auto words = exec ? commandWords(*exec, values, wrong) : std::nullopt;
  if (!words) {
    wrong = exec ? "its command (Exec) " + wrong : "has no command (Exec)";
    return std::nullopt;
  }
  std::string& program = words->front();
  const bool isPath = program.find('/') != std::string::npos;
  auto found = isPath ? std::optional(program) : findProgram(program);
  if (!found) {
    wrong = program.empty() ? "names an empty program (Exec)"
                            : join({"is not installed: there is no program ", program, " (Exec)"});
    return std::nullopt;
  }
  program = std::move(*found);  // where it is now, whichever folder it is started in
  return words;
}

std::optional<Application> applicationOfEntry(const std::string& path, const std::vector<std::string>& arguments,
                                              std::string& error) {
  const auto entry = entryAt(path, error);
  if (!entry) return std::nullopt;
  Application application;
  application.identifier = identifierOf(path);
  application.isActivatedByBus = entry->flag("DBusActivatable");
  application.tellsWhenReady = entry->text(kReadyKey) == "notify";
  application.directory = entry->text("Path").value_or("");
  std::string wrong = obstacle(*entry);
  if (wrong.empty() && application.isActivatedByBus) {
    application.command = arguments;
    return application;
  }
  const FieldValues values{arguments, entry->text("Name").value_or(""), entry->text("Icon").value_or(""), path};
  if (wrong.empty()) {
    if (auto command = commandOf(*entry, values, wrong)) {
      application.command = std::move(*command);
      return application;
    }
  }
  error = path + ": " + wrong;
  return std::nullopt;
}

std::optional<Application> applicationOfFolder(const std::string& path, const std::vector<std::string>& arguments,
                                               std::string& error) {
  FormerError failed;
  std::vector<std::string> entries;
  for (std::string& name : listDirectory(path, failed).value_or(std::vector<std::string>())) {
    if (name.ends_with(kEntryEnding)) entries.push_back(std::move(name));
  }
  if (failed || entries.size() != 1) {
    error = failed ? errorText(path, failed.number())
                   : path + ": is no AppDir, which has AppRun and exactly one desktop entry";
    return std::nullopt;
  }
  const std::string entryPath = join({path, "/", entries.front()});
  const auto entry = entryAt(entryPath, error);
  if (!entry) return std::nullopt;
  if (const std::string wrong = obstacle(*entry); !wrong.empty()) {
    error = entryPath + ": " + wrong;
    return std::nullopt;
  }
  Application application;
  application.identifier = identifierOf(entries.front());
  application.command = {join({path, "/AppRun"})};
  application.command.insert(application.command.end(), arguments.begin(), arguments.end());
  application.tellsWhenReady = entry->text(kReadyKey) == "notify";
  return application;
}

}  // namespace

std::optional<Application> applicationAt(const std::string& path, const std::vector<std::string>& arguments,
                                         std::string& error) {
  const FileKind kind = fileKind(path);
  if (kind == FileKind::kFolder) return applicationOfFolder(path, arguments, error);
  if (path.ends_with(kEntryEnding)) return applicationOfEntry(path, arguments, error);
  if (kind == FileKind::kNone) {
    error = errorText(path, ENOENT);
    return std::nullopt;
  }
  Application application;
  application.identifier = nameOf(path);
  application.command = {path};
  application.command.insert(application.command.end(), arguments.begin(), arguments.end());
  return application;
}

}  // namespace brisvane::host::real
