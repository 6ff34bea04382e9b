// `bvdiag terminal`: a person and a serial line.
#include <string>

#include <brisvane/all.h>

#include "commands.h"
#include "interrupt.h"
#include "terminal_session.h"

namespace bvdiag {
namespace {

int run(const TerminalOptions& options, Session& session) {
  if (!options.log.empty() && !session.startLog(options.log)) return kFailure;
  bool succeeded = false;
  {
    TerminalSession terminal(options, session.output());
    succeeded = terminal.run();
  }
  return session.logIsComplete() && succeeded ? kSuccess : kFailure;
}

}  // namespace

void addTerminal(AnyCommand& program) {
  auto command = program.command<TerminalOptions>(
      "terminal",
      "Connects this terminal with a serial line, both ways. Ctrl-T q leaves, Ctrl-T ? lists "
      "the keys. Sends what comes from a pipe, and leaves when the line is silent after its end");
  addPortOptions(command, command.options().port);
  command.flag("--reconnect,!--no-reconnect", &TerminalOptions::reconnect,
               "Waits for an adapter that is absent or pulled (default)");
  command.flag("--timestamps", &TerminalOptions::timestamps,
               "Shows the time of day ahead of each line");
  command.flag("--hex", &TerminalOptions::hex, "Shows what comes as a hex dump");
  command.flag("--echo", &TerminalOptions::echo, "Shows what is sent, too");
  command
      .option("--line-ends-out", &TerminalOptions::lineEndsOut, "END",
              "What CR, LF and CR LF are sent as; as they are, Enter sends CR")
      .oneOf({"as-is", "cr", "lf", "crlf"})
      .showsDefault();
  command
      .option("--line-ends-in", &TerminalOptions::lineEndsIn, "END",
              "What begins a new line on this terminal: LF, any of CR, LF and CR LF, or what the "
              "terminal makes of it")
      .oneOf({"lf", "any", "as-is"})
      .showsDefault();
  command
      .option("--wait", &TerminalOptions::wait, "",
              "The silence after the end of a pipe that ends the session")
      .showsDefault()
      .secondsUpTo(kLongestTimeout);
  command.option("--log", &TerminalOptions::log, "FILE",
                 "Logs each line of either direction to this file, and to the system log");
  command.example("bvdiag terminal --speed 9600");
  command.example(R"(printf 'version\n' | bvdiag terminal)");
  command.footer(
      exitStatusText("you left, or the pipe's input is sent and the line silent",
                     "the port cannot be opened, the line hung up, or the log cannot be written"));
  command.runs(run);
}

}  // namespace bvdiag
