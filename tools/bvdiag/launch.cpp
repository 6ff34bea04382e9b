// `bvdiag launch`: starts an application and reports whether it came up in time.
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <brisvane/all.h>
#include <brisvane/host/formats/file_url.h>

#include "commands.h"
#include "interrupt.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::BVProcess;

struct LaunchOptions {
  std::string path;
  std::vector<std::string> arguments;
  std::string identifier;
  std::int32_t timeout = 10;
  bool openOnly = false;
  std::string log;
};

// The identifier that an application on Linux has when nothing else is said: the name of
// its file without ".desktop", in a folder that of its one desktop entry.
std::string identifierOf(const std::string& path) {
  namespace fs = std::filesystem;
  const fs::path ending = ".desktop";
  std::error_code failed;
  for (const fs::directory_entry& entry : fs::directory_iterator(path, failed)) {
    if (entry.path().extension() == ending) return entry.path().stem();
  }
  const fs::path name = fs::path(path).filename();
  return name.extension() == ending ? name.stem() : name;
}

std::string adviceFor(std::int64_t result) {
  switch (result) {
    case BVProcess::kRunAppNoNotifications:
      return "not launched, because launches cannot be watched: no descriptor or thread is left";
    case BVProcess::kRunAppTimedOut:
      return "launched, but not up in time: check --id, or try a longer --timeout";
    default:
      return "not launched";
  }
}

// The errors that the operation has logged, on one line.
std::string reportedErrors() {
  std::string text = bv::BVLog::aggregatedErrorDescription();
  while (text.ends_with('\n')) text.pop_back();
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at))
    text.replace(at, 1, "; ");
  return text;
}

int run(const LaunchOptions& options, Session& session) {
  Output& output = session.output();
  if (!options.log.empty() && !session.startLog(options.log)) return kFailure;
  const auto start = std::chrono::steady_clock::now();
  const std::string identifier =
      options.identifier.empty() ? identifierOf(options.path) : options.identifier;
  std::int64_t result = BVProcess::kRunAppUp;
  if (options.openOnly) {
    const bool isOpened = BVProcess::openItemWithURL(bv::host::fileUrl(options.path),
                                                     options.arguments, options.timeout);
    result = isOpened ? BVProcess::kRunAppUp : BVProcess::kRunAppNotLaunched;
  } else {
    result = BVProcess::runApp(options.path, options.arguments, identifier, options.timeout);
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const bool isUp = result == BVProcess::kRunAppUp;
  if (!output.json() && isUp) {
    output.print(escaped(identifier) + (options.openOnly ? " is launched" : " is up") + " after " +
                 secondsText(seconds) + "\n");
  }
  if (!isUp) {
    // The operation itself gives a number. The reasons are in the aggregated errors.
    output.complain(options.path + ": " + (interrupted() ? "interrupted" : adviceFor(result)) +
                    " (result " + std::to_string(result) + "): " + reportedErrors());
  }
  const bool isLogged = session.logIsComplete();
  if (output.json()) {
    output.printResult(bv::Dictionary{{"path", options.path},
                                      {"identifier", identifier},
                                      {"result", result},
                                      {"seconds", seconds}});
  }
  return isLogged && isUp ? kSuccess : kFailure;
}

}  // namespace

void addLaunch(AnyCommand& program) {
  constexpr std::int32_t kLongest = 86'400;
  auto command =
      program.command<LaunchOptions>("launch", "Launches an application and waits until it is up");
  command.argument("PATH", &LaunchOptions::path, "An executable, an AppDir or a desktop entry")
      .required();
  command.programArguments(&LaunchOptions::arguments);
  command.option("--id", &LaunchOptions::identifier, "ID",
                 "The application's identifier; default: the file's name without .desktop");
  command
      .option("--timeout", &LaunchOptions::timeout, "SECONDS",
              "The time limit for launching, and again for coming up")
      .between(0, kLongest)
      .showsDefault();
  command.flag("--open-only", &LaunchOptions::openOnly,
               "Waits until it is launched, not until it is up");
  command.option("--log", &LaunchOptions::log, "FILE",
                 "Also logs to this file; default: the system log only");
  command.footer(
      exitStatusText("it is up, or launched with --open-only", "it is not, within the time limit"));
  command.runs(run);
}

}  // namespace bvdiag
