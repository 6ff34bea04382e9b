// bvdiag, the command line of Brisvane.
#include <csignal>

#include <exception>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <brisvane/version.h>

#include "commands.h"
#include "interrupt.h"

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

std::string failureMessage(const CLI::App* program, const CLI::Error& error) {
  const auto unknown = program->get_subcommands().empty() ? program->remaining() : std::vector<std::string>();
  const std::string what = unknown.empty() ? error.what() : "there is no command \"" + unknown.front() + "\"";
  return "bvdiag: " + escaped(what) + "; `bvdiag --help` tells the usage\n";
}

void addGlobalOptions(CLI::App& program, GlobalOptions& options) {
  CLI::Option* const machine =
      program.add_option("--machine", options.machineFile, "Uses the simulated machine that this file describes");
  machine->type_name("FILE");
  program.add_flag("--simulated", options.simulated, "Uses the built-in simulated machine")->excludes(machine);
  program.add_flag("--json", options.json, "Prints each result as one line of JSON");
  program.add_option("--color", options.color, "auto (for a terminal, unless NO_COLOR is set), always or never")
      ->type_name("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->capture_default_str();
  program.set_version_flag("--version", versionText(), "Prints the version");
}

int run(int count, char** arguments) {
  CLI::App program("Talks to test fixtures on serial adapters, or plays one; tells who the machine is.", "bvdiag");
  GlobalOptions options;
  Chosen chosen;
  addGlobalOptions(program, options);
  program.fallthrough()->require_subcommand(1)->failure_message(failureMessage);
  program.footer(
      "Exit status: 0 success; 1 a failed operation, told on standard error; 2 wrong usage.\n"
      "`bvdiag COMMAND --help` tells of one command.");
  for (const auto add : {addDemo,    addPorts,  addSend,     addMonitor,    addFixture, addLog,    addExec, addLaunch,
                         addProfile, addNvram,  addRegistry, addInterfaces, addMachine, addDigest, addHmac, addCrc32,
                         addHex,     addBase64, addEncrypt,  addDecrypt,    addRandom,  addPlist}) {
    add(program, chosen);
  }
  try {
    program.parse(count, arguments);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? kSuccess : kWrongUsage;
  }
  watchForInterrupt();
  Output output(options.json, options.color);
  options.simulated |= chosen.needsMachine && options.machineFile.empty();
  const auto session = Session::start(options, output);
  if (session == nullptr) return kFailure;
  const int status = chosen.run(*session);
  return output.isBroken() ? kFailure : status;
}

}  // namespace
}  // namespace bvdiag

int main(int count, char** arguments) {
  // A reader that goes away is told as a failed write, after which links are removed.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  try {
    return bvdiag::run(count, arguments);
  } catch (const std::exception& error) {
    std::cerr << "bvdiag: " + bvdiag::escaped(error.what()) + "\n";
    return bvdiag::kFailure;
  }
}
