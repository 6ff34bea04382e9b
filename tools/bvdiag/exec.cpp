// `bvdiag exec`: runs a command-line program and shows what it printed.
#include <memory>
#include <string>
#include <vector>

#include <brisvane/all.h>
#include <brisvane/host/command.h>

#include "commands.h"
#include "countdown.h"
#include "interrupt.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct ExecOptions {
  std::string program;
  std::vector<std::string> arguments;
  std::string directory;
  std::string log;
};

int run(const ExecOptions& options, Session& session) {
  Output& output = session.output();
  if (!options.log.empty() && !session.startLog(options.log)) return kFailure;
  const std::string path = bv::host::findProgram(options.program).value_or(options.program);
  const bv::Text directory = options.directory.empty() ? bv::Text() : bv::Text(options.directory);
  std::optional<std::string> text;
  bool ran = false;
  {
    const Countdown waiting("waiting for " + escaped(options.program));
    ran = bv::Brisvane::runCommandWithLaunchPath(path, options.arguments, directory, text);
  }
  if (output.json()) {
    output.printJson(bv::Dictionary{
        {"program", path}, {"ran", ran}, {ran ? "output" : "error", text ? bv::Object(*text) : bv::Object()}});
  } else if (ran && text) {
    output.print(*text);
  }
  if (!ran) output.complain(text.value_or("no memory") + "; check the path and the folder");
  if (ran && !text) output.complain(path + ": its output is no UTF-8 text");
  if (interrupted()) output.complain(path + ": interrupted");
  return session.logIsComplete() && ran && text && !interrupted() ? kSuccess : kFailure;
}

}  // namespace

void addExec(CLI::App& program, Chosen& chosen) {
  CLI::App* const command =
      program.add_subcommand("exec", "Runs a program to its end, then shows all that it printed, on either stream");
  const auto options = std::make_shared<ExecOptions>();
  command->add_option("PROGRAM", options->program, "A path, or a name that is looked for in PATH")->required();
  command->add_option("ARGUMENT", options->arguments, "Its arguments; after -- they may begin with a dash");
  command->add_option("--dir", options->directory, "The folder to run it in; default: this one")->type_name("FOLDER");
  command->add_option("--log", options->log, "The log file; default: the system log alone")->type_name("FILE");
  command->footer(exitStatusText("run, however it ended", "not run, or its output is no text"));
  command->callback(
      [&chosen, options] { chosen.run = [options](Session& session) { return run(*options, session); }; });
}

}  // namespace bvdiag
