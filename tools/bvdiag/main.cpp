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

std::string usageFailure(const CLI::App& program, const CLI::Error& error) {
  const auto unknown = program.get_subcommands().empty() ? program.remaining() : std::vector<std::string>();
  std::string what = error.what();
  if (!unknown.empty()) {
    what =
        (unknown.front().starts_with('-') ? "there is no option \"" : "there is no command \"") + unknown.front() + '"';
  }
  return what + "; `bvdiag --help` tells the usage";
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

// Takes from the command line what follows the program's name of `exec` and `launch`: it belongs to that program,
// whatever it looks like.
std::vector<std::string> takeProgramArguments(CLI::App& program, std::vector<std::string>& words) {
  CLI::App* command = nullptr;
  const auto takesValue = [&](const std::string& word) {
    const CLI::Option* option = program.get_option_no_throw(word);
    if (option == nullptr && command != nullptr) option = command->get_option_no_throw(word);
    return option != nullptr && option->get_items_expected_max() > 0;
  };
  bool hasMark = false;  // after which nothing is an option
  for (auto word = words.begin(); word != words.end(); ++word) {
    if (!hasMark && *word == "--") {
      hasMark = true;
    } else if (!hasMark && word->starts_with('-')) {
      if (takesValue(*word) && word + 1 != words.end()) ++word;
    } else if (command == nullptr) {
      if (*word != "exec" && *word != "launch") return {};
      command = program.get_subcommand(*word);
    } else {
      std::vector<std::string> arguments(word + 1, words.end());
      words.erase(word + 1, words.end());
      return arguments;
    }
  }
  return {};
}

// Prints a help that was asked for, or tells what is wrong.
int answer(const CLI::App& program, const CLI::ParseError& error) {
  Output output(program.count("--json") > 0, "auto");
  if (error.get_exit_code() != 0) {
    output.complain(usageFailure(program, error));
    output.finish();
    return kWrongUsage;
  }
  std::ostringstream text;
  program.exit(error, text, text);
  output.print(text.str());
  return output.isBroken() ? kFailure : kSuccess;
}

int execute(const GlobalOptions& options, const Chosen& chosen, Output& output) try {
  const auto session = Session::start(options, output);
  return session == nullptr ? kFailure : chosen.run(*session);
} catch (const std::bad_alloc&) {
  output.complain("there is not enough memory");
  return kFailure;
} catch (const std::exception& error) {
  output.complain(error.what());
  return kFailure;
}

int run(std::vector<std::string> words) {
  constexpr int kSignalBase = 128;
  CLI::App program("Talks to test fixtures on serial adapters, or plays one; tells who the machine is.", "bvdiag");
  GlobalOptions options;
  Chosen chosen;
  addGlobalOptions(program, options);
  program.fallthrough()->require_subcommand(1);
  program.footer(
      "Exit status: 0 success; 1 a failed operation, told on standard error; 2 wrong usage; 128 + n after signal n,\n"
      "130 after Ctrl-C; of `exec` that of its program.\n"
      "`bvdiag COMMAND --help` tells of one command.");
  for (const auto add : {addDemo,    addPorts,  addSend,     addMonitor,    addFixture, addLog,    addExec, addLaunch,
                         addProfile, addNvram,  addRegistry, addInterfaces, addMachine, addDigest, addHmac, addCrc32,
                         addHex,     addBase64, addEncrypt,  addDecrypt,    addRandom,  addPlist}) {
    add(program, chosen);
  }
  chosen.programArguments = takeProgramArguments(program, words);
  try {
    std::reverse(words.begin(), words.end());  // as the parser wants them
    program.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    return answer(program, error);
  }
  watchForInterrupt();
  Output output(options.json, options.color);
  options.simulated |= chosen.needsMachine && options.machineFile.empty();
  const int status = execute(options, chosen, output);
  output.finish();
  if (interrupted() && !chosen.endsAsAProgram) return kSignalBase + raisingSignal();
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
  // Whoever started this may ignore it, and then nobody knows how a program ends that is started here.
  static_cast<void>(std::signal(SIGCHLD, SIG_DFL));
  try {
    return bvdiag::run({arguments + std::min(count, 1), arguments + count});
  } catch (const std::exception& error) {
    std::cerr << "bvdiag: " + bvdiag::escaped(error.what()) + "\n";
    return bvdiag::kFailure;
  }
}
