// `bvdiag exec`: runs a command-line program, shows what it printed and ends as it did.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <brisvane/all.h>
#include <brisvane/host/launching/command.h>

#include "byte_streams.h"
#include "commands.h"
#include "interrupt.h"
#include "status_line.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::host::Command;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// As shells have it.
constexpr int kCannotStart = 126;
constexpr int kNoSuchProgram = 127;
constexpr int kSignalBase = 128;

struct ExecOptions {
  std::string program;
  std::vector<std::string> arguments;
  std::string directory;
  std::string log;
};

// The path to start; nullopt for a name that is not found in PATH.
std::optional<std::string> pathOf(const std::string& program) {
  const bool isName = !program.empty() && program.find('/') == std::string::npos;
  return isName ? bv::host::findProgram(program) : program;
}

int statusOfUnstarted(const ExecOptions& options, const std::optional<std::string>& path) {
  if (!path) return kNoSuchProgram;
  std::error_code unknown;
  const auto place = std::filesystem::path(options.directory) / *path;
  const bool hasFolder =
      options.directory.empty() || std::filesystem::is_directory(options.directory, unknown);
  return hasFolder && !std::filesystem::exists(std::filesystem::symlink_status(place, unknown))
             ? kNoSuchProgram
             : kCannotStart;
}

// Waits for the end of the program and of its output, or for as long as a signal leaves time. A
// signal that has come to bvdiag alone is passed on.
void follow(Command& command) {
  constexpr milliseconds kStep{50};
  constexpr milliseconds kGrace{2000};
  int seen = 0;
  auto deadline = steady_clock::time_point::max();
  while (!command.collect(kStep)) {
    const int signal = raisingSignal();
    if (signal == 0) continue;
    if (signal != seen) {
      seen = signal;
      if (!isFromTerminal()) command.send(signal);
      // After Ctrl-C a person waits, or presses it again.
      if (signal != SIGINT) deadline = steady_clock::now() + kGrace;
    }
    // A child that the program has left behind may keep the output open.
    if (command.hasEnded() || steady_clock::now() >= deadline) {
      static_cast<void>(command.collect(milliseconds(0)));
      return;
    }
  }
}

struct Ending {
  int status = kFailure;
  std::string reason;  // empty for a success
};

Ending endingOf(Command& command, const std::string& path) {
  if (!command.hasEnded()) {
    return {kSignalBase + raisingSignal(),
            path + ": still runs, as process " + std::to_string(command.process())};
  }
  if (const int signal = command.endingSignal(); signal != 0) {
    return {kSignalBase + signal,
            path + (command.hasExceededLimit() ? ": has written more than 1 GiB, and was ended"
                                               : ": ended by signal " + std::to_string(signal))};
  }
  const int status = command.status().value_or(kFailure);
  return {status, status == 0 ? "" : path + ": exit status " + std::to_string(status)};
}

bv::Dictionary resultOf(const std::string& program, const Command* command, const Ending& ending) {
  bv::Dictionary result{
      {"program", program}, {"ran", command != nullptr}, {"status", ending.status}};
  if (!ending.reason.empty()) result.emplace("error", ending.reason);
  if (command == nullptr) return result;
  const std::string text(bv::asCharacters(command->output()));
  if (bv::isUtf8(text)) {
    result.emplace("output", text);
  } else {
    result.emplace("outputHex", command->output());
  }
  return result;
}

int run(const ExecOptions& options, Session& session) {
  Output& output = session.output();
  if (!options.log.empty() && !session.startLog(options.log)) return kCannotStart;
  const auto path = pathOf(options.program);
  bv::Array words{path.value_or(options.program)};
  words.insert(words.end(), options.arguments.begin(), options.arguments.end());
  bv::BVLog::Default::info("executing " + bv::host::jsonText(words).value_or("a long command"));
  const auto started =
      path ? Command::start(*path, options.arguments, options.directory, kMostInMemory)
           : bv::Error(ENOENT, bv::shownPath(options.program));
  Command* const command = started.ok() ? started.value().get() : nullptr;
  Ending ending;
  if (command != nullptr) {
    {
      const StatusLine waiting("waiting for " + options.program, timeSpent());
      follow(*command);
    }
    ending = endingOf(*command, *path);
    bv::BVLog::Default::info(ending.reason.empty() ? *path + ": exit status 0" : ending.reason);
    if (!command->hasEnded()) output.complain(ending.reason);
    if (!output.json()) output.print(bv::asCharacters(command->output()));
  } else {
    ending = {statusOfUnstarted(options, path), started.error().text()};
    bv::BVLog::Default::error(ending.reason);
    output.complain(ending.reason + "; check the path and the folder");
  }
  const bool isLogged = session.logIsComplete();
  if (output.json()) output.printResult(resultOf(path.value_or(options.program), command, ending));
  return isLogged || ending.status != kSuccess ? ending.status : kFailure;
}

}  // namespace

void addExec(AnyCommand& program) {
  auto command = program.command<ExecOptions>(
      "exec", "Runs a program to its end, then prints its output and ends with its exit status");
  command.argument("PROGRAM", &ExecOptions::program, "A path, or a name that is searched in PATH")
      .required();
  command.programArguments(&ExecOptions::arguments);
  command.option("--dir", &ExecOptions::directory, "FOLDER",
                 "The folder to run it in; default: the current one");
  command.option("--log", &ExecOptions::log, "FILE",
                 "Also logs to this file; default: the system log only");
  command.example("bvdiag exec --dir / ls -l");
  command.footer(
      "Exit status: the program's; 128 + n when signal n ended it; 127 no such program; 126 it "
      "cannot be started; "
      "1 its output or the log cannot be written; 2 wrong usage.\n" +
      std::string(kGlobalOptionsHint));
  command.runs(run, {.endsAsAProgram = true});
}

}  // namespace bvdiag
