// bvdiag, the command line of Brisvane.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <iomanip>
#include <iostream>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <brisvane/version.h>

#include "commands.h"
#include "interrupt.h"
#include "terminal_columns.h"

namespace bvdiag {
namespace {

std::string versionText() {
  constexpr std::string_view kMark = "PROJECT:";
  const std::string text = BrisvaneVersionString;
  const std::size_t project = text.find(kMark) + kMark.size();
  std::ostringstream version;
  version << "bvdiag " << std::fixed << std::setprecision(1) << BrisvaneVersionNumber;
  return version.str() + " (" + text.substr(project, text.find('\n') - project) + ")";
}

// Gives the flag --json, which also answers obey.
Option addGlobalOptions(CommandLine& line, GlobalOptions& options) {
  AnyCommand program = line.program();
  const Option machine = program.option("--machine", &options.machineFile, "FILE",
                                        "Uses the simulated machine that this file describes");
  program.flag("--simulated", options.simulated, "Uses the built-in simulated machine")
      .excludes(machine);
  const Option json =
      program.flag("--json", options.json, "Prints each result as one line of JSON");
  program
      .option("--color", &options.color, "WHEN",
              "auto (for a terminal, unless NO_COLOR is set), always or never")
      .oneOf({"auto", "always", "never"})
      .showsDefault();
  line.addVersion(versionText());
  return json;
}

// The columns that help takes: on a terminal as many as read well.
std::size_t helpColumns() {
  constexpr std::size_t kLeast = 30;
  constexpr std::size_t kMost = 100;
  return std::clamp(terminalColumns(STDOUT_FILENO), kLeast, kMost);
}

void addCommands(AnyCommand& program) {
  struct Group {
    const char* heading;
    std::vector<void (*)(AnyCommand&)> commands;
  };
  const std::vector<Group> groups{
      {"The line", {addPorts, addSend, addRepeat, addTerminal, addMonitor}},
      {"The bench", {addRun, addFixture, addDemo, addLog}},
      {"This machine", {addProfile, addNvram, addRegistry, addInterfaces, addMachine}},
      {"Programs", {addExec, addLaunch}},
      {"Bytes",
       {addDigest, addHmac, addCrc32, addHex, addBase64, addEncrypt, addDecrypt, addRandom,
        addPlist}}};
  for (const Group& group : groups) {
    program.group(group.heading);
    for (const auto add : group.commands) add(program);
  }
}

// Prints the help, or reports what is wrong.
int print(const Answer& answer, bool asJson) {
  Output output(asJson, "auto");
  if (!answer.isHelp) {
    output.complain(answer.text + "; see `" + answer.command + " --help`");
    output.finish();
    return kWrongUsage;
  }
  output.print(answer.text);
  return output.isBroken() ? kFailure : kSuccess;
}

int execute(const GlobalOptions& options, const Chosen& chosen, Output& output) {
  try {
    const auto session = Session::start(options, output);
    return session == nullptr ? kFailure : chosen.run(*session);
  } catch (const std::bad_alloc&) {
    output.complain("there is not enough memory; free some and try again");
  } catch (const std::exception& error) {
    output.complain(error.what());
  }
  return kFailure;
}

int run(std::vector<std::string> words) {
  constexpr int kSignalBase = 128;
  CommandLine line(
      "bvdiag",
      "Talks to test fixtures on serial adapters, simulates one, and identifies the machine.");
  GlobalOptions options;
  const Option json = addGlobalOptions(line, options);
  AnyCommand program = line.program();
  program.example("bvdiag --simulated send version --accept 'FW .*\\r\\n'");
  program.footer(
      "Exit status: 0 success; 1 failure, reported on standard error; 2 wrong usage; 128 + n after "
      "signal n, "
      "130 after Ctrl-C. `exec` ends with the status of its program.\n"
      "`bvdiag COMMAND --help` describes a command.");
  addCommands(program);
  const auto parsed = line.parse(std::move(words), helpColumns());
  if (const auto* const answer = std::get_if<Answer>(&parsed))
    return print(*answer, json.isGiven());
  const auto& chosen = std::get<Chosen>(parsed);
  watchForInterrupt();
  Output output(options.json, options.color);
  options.simulated |= chosen.nature.needsMachine && options.machineFile.empty();
  const int status = execute(options, chosen, output);
  output.finish();
  if (interrupted() && !chosen.nature.endsAsAProgram) return kSignalBase + raisingSignal();
  return output.isBroken() ? kFailure : status;
}

// Closed standard streams stay closed: what is opened later does not take their place.
void keepStandardStreams() {
  for (int stream = 0; stream <= STDERR_FILENO; ++stream) {
    // Neither to be read nor to be written, and in the lowest number that is free.
    if (::fcntl(stream, F_GETFD) == -1) static_cast<void>(::open("/dev/null", O_PATH));
  }
}

}  // namespace
}  // namespace bvdiag

int main(int count, char** arguments) {
  bvdiag::keepStandardStreams();
  // A reader that goes away is noticed by a failed write, after which links are removed.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  // The parent may ignore it, and then the status of a program that is started here is lost.
  static_cast<void>(std::signal(SIGCHLD, SIG_DFL));
  try {
    return bvdiag::run({arguments + std::min(count, 1), arguments + count});
  } catch (const std::exception& error) {
    std::cerr << "bvdiag: " + bvdiag::escaped(error.what()) + "\n";
    return bvdiag::kFailure;
  }
}
