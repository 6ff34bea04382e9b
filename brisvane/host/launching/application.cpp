#include "brisvane/host/launching/application.h"

#include <cerrno>
#include <optional>
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

Result<DesktopEntry> entryAt(const std::string& path) {
  const auto content = readFile(path, kLargestEntry);
  if (!content.ok()) return content.error();
  DesktopEntry entry(content.value());
  if (entry.empty()) return Error::because("is no desktop entry", path);
  return entry;
}

// Fails for an entry that must not be started.
Result<> mayBeStarted(const DesktopEntry& entry) {
  const auto type = entry.text("Type");
  if (type && *type != "Application")
    return Error::because("is no application, but of the type " + *type);
  if (entry.flag("Hidden")) return Error::because("is marked as deleted (Hidden)");
  if (entry.flag("Terminal")) return Error::because("needs a terminal, and none is available");
  const auto needed = entry.text("TryExec");
  if (needed && needed->empty()) return Error::because("names an empty program (TryExec)");
  if (needed && !findProgram(*needed)) {
    return Error::because("is not installed: there is no program " + *needed + " (TryExec)");
  }
  return {};
}

// Fails for an entry without a command that can be started.
Result<std::vector<std::string>> commandOf(const DesktopEntry& entry, const FieldValues& values) {
  const auto exec = entry.text("Exec");
  if (!exec) return Error::because("has no command (Exec)");
  auto words = commandWords(*exec, values);
  if (!words.ok()) return Error::because(join({"its command (Exec) ", words.error().reason()}));
  std::string& program = words.value().front();
  const bool isPath = program.find('/') != std::string::npos;
  auto found = isPath ? std::optional(program) : findProgram(program);
  if (!found) {
    return Error::because(
        program.empty() ? "names an empty program (Exec)"
                        : join({"is not installed: there is no program ", program, " (Exec)"}));
  }
  program = std::move(*found);  // where it is now, whichever folder it is started in
  return words;
}

Result<Application> applicationOfEntry(const std::string& path,
                                       const std::vector<std::string>& arguments) {
  const auto read = entryAt(path);
  if (!read.ok()) return read.error();
  const DesktopEntry& entry = read.value();
  if (const auto permitted = mayBeStarted(entry); !permitted.ok())
    return permitted.error().of(path);
  Application application;
  application.identifier = identifierOf(path);
  application.isActivatedByBus = entry.flag("DBusActivatable");
  application.tellsWhenReady = entry.text(kReadyKey) == "notify";
  application.directory = entry.text("Path").value_or("");
  application.command = arguments;
  if (application.isActivatedByBus) return application;
  auto command = commandOf(
      entry, {arguments, entry.text("Name").value_or(""), entry.text("Icon").value_or(""), path});
  if (!command.ok()) return command.error().of(path);
  application.command = std::move(command).value();
  return application;
}

Result<Application> applicationOfFolder(const std::string& path,
                                        const std::vector<std::string>& arguments) {
  auto entries = listDirectory(path);
  if (!entries.ok()) return entries.error();
  std::erase_if(entries.value(),
                [](const std::string& name) { return !name.ends_with(kEntryEnding); });
  if (entries.value().size() != 1) {
    return Error::because("is no AppDir, which has AppRun and exactly one desktop entry", path);
  }
  const std::string entryPath = join({path, "/", entries.value().front()});
  const auto entry = entryAt(entryPath);
  if (!entry.ok()) return entry.error();
  if (const auto permitted = mayBeStarted(entry.value()); !permitted.ok())
    return permitted.error().of(entryPath);
  Application application;
  application.identifier = identifierOf(entries.value().front());
  application.command = {join({path, "/AppRun"})};
  application.command.insert(application.command.end(), arguments.begin(), arguments.end());
  application.tellsWhenReady = entry.value().text(kReadyKey) == "notify";
  return application;
}

}  // namespace

Result<Application> applicationAt(const std::string& path,
                                  const std::vector<std::string>& arguments) {
  const FileKind kind = fileKind(path);
  if (kind == FileKind::kFolder) return applicationOfFolder(path, arguments);
  if (path.ends_with(kEntryEnding)) return applicationOfEntry(path, arguments);
  if (kind == FileKind::kNone) return Error(ENOENT, shownPath(path));
  Application application;
  application.identifier = nameOf(path);
  application.command = {path};
  application.command.insert(application.command.end(), arguments.begin(), arguments.end());
  return application;
}

}  // namespace brisvane::host::real
