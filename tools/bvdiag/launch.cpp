// `bvdiag launch`: starts an application and reports whether it came up in time.
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <brisvane/all.h>
#include <brisvane/host/formats/file_url.h>

#include "commands.h"
#include "launching.h"

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

int run(const LaunchOptions& options, Session& session) {
  Output& output = session.output();
  if (!options.log.empty() && !session.startLog(options.log)) return kFailure;
  const auto start = std::chrono::steady_clock::now();
  const std::string identifier =
      options.identifier.empty() ? applicationIdentifier(options.path) : options.identifier;
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
  if (!isUp) output.complain(launchFailure(options.path, result));
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
  command.example("bvdiag launch --timeout 20 helper.desktop");
  command.footer(
      exitStatusText("it is up, or launched with --open-only", "it is not, within the time limit"));
  command.runs(run);
}

}  // namespace bvdiag
