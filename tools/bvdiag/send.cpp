// `bvdiag send`: one command to a fixture, and its reply.
#include <chrono>
#include <limits>
#include <memory>
#include <optional>

#include <brisvane/all.h>
#include <brisvane/host/formats/pattern.h>

#include "commands.h"
#include "interrupt.h"
#include "port_choice.h"
#include "status_line.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct SendOptions {
  PortOptions port;
  std::string command;
  double timeout = 2;
  std::optional<std::string> accept;
  std::optional<std::int32_t> bytes;
  bool hex = false;
  bool hexOutput = false;
  bool newline = false;
  bool drain = true;
  std::string log;
  bv::Data commandBytes;  // for a byte exchange

  [[nodiscard]] bool endsBySilence() const { return !accept && !bytes; }
  [[nodiscard]] bool showsHex() const { return hexOutput || bytes; }
};

struct Exchange {
  std::string path;
  bv::Data reply;
  double seconds = 0;
  std::string error;  // empty for a success
};

bv::Data bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

// Gives whether the exchange succeeded.
bool exchange(const SendOptions& options, bv::BVSerialPort& port, bv::Data& reply) {
  if (options.bytes)
    return port.sendDataCommand(options.commandBytes, reply, *options.bytes, options.timeout);
  std::string text;
  const std::string line = options.command + (options.newline ? "\n" : "");
  const bool answered = options.accept ? port.sendStringCommand(options.command, text,
                                                                *options.accept, options.timeout)
                                       : port.sendStringCommand(line, text, options.timeout);
  reply = bytesOf(text);
  return answered;
}

std::string explainFailure(const SendOptions& options, const bv::BVSerialPort& port) {
  if (interrupted()) return port.path() + ": interrupted";
  if (auto failure = lineFailure(port)) return *failure;
  const std::string limit = " within " + secondsText(options.timeout);
  if (options.accept) {
    return port.path() + ": no reply matched \"" + *options.accept + "\"" + limit +
           "; try a longer --timeout, or omit --accept to see the whole reply";
  }
  if (options.bytes) {
    return port.path() + ": fewer than " + std::to_string(*options.bytes) + " bytes arrived" +
           limit + "; try a longer --timeout or a smaller --bytes";
  }
  return port.path() + ": the command was not sent completely; check the adapter";
}

Exchange converse(const SendOptions& options) {
  OpenedPort opened = openPort(options.port);
  Exchange result{opened.path, {}, 0, opened.error};
  if (opened.port == nullptr) return result;
  bv::BVSerialPort& port = *opened.port;
  bv::BVLog::Default::info("opened " + port.path() + " at " + std::to_string(options.port.speed));
  if (options.drain) discardInput(port);
  const auto start = std::chrono::steady_clock::now();
  bool answered = false;
  {
    const StatusLine line("waiting for the reply", timeLeft(options.timeout));
    answered = exchange(options, port, result.reply);
  }
  result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  // Silence that an interrupt has cut short ends no reply.
  if (!answered || (interrupted() && options.endsBySilence()))
    result.error = explainFailure(options, port);
  // Closing waits for the output, which an interrupt shall not; the destructor does not.
  if (!interrupted()) port.closePort();
  return result;
}

void printJson(const SendOptions& options, const Exchange& result, Output& output) {
  const bool ok = result.error.empty();
  bv::Dictionary object{
      {"command", options.command}, {"port", result.path}, {"seconds", result.seconds}};
  if (ok || !result.reply.empty()) {
    if (options.showsHex()) object.emplace("replyHex", result.reply);
    if (!options.showsHex())
      object.emplace("reply", std::string(result.reply.begin(), result.reply.end()));
  }
  output.printResult(std::move(object));
}

void printText(const SendOptions& options, const Exchange& result, Output& output) {
  if (!result.reply.empty()) {
    output.print(options.showsHex() ? hexDump(result.reply) : escaped(result.reply) + "\n");
  } else if (result.error.empty()) {
    output.remark(result.path + ": no reply");
  }
}

int run(const SendOptions& options, Session& session) {
  Output& output = session.output();
  if (!options.log.empty() && !session.startLog(options.log)) return kFailure;
  const Exchange result = converse(options);
  if (!output.json()) printText(options, result, output);
  if (!result.error.empty()) output.complain(result.error);
  const bool isLogged = session.logIsComplete();
  if (output.json()) printJson(options, result, output);
  return isLogged && result.error.empty() ? kSuccess : kFailure;
}

// What the command line alone cannot know to be wrong.
void check(SendOptions& options) {
  if (options.accept) {
    const auto pattern = bv::host::Pattern::compile(*options.accept);
    if (!pattern.ok()) {
      throw WrongUsage("--accept: not a regular expression: " + escaped(*options.accept) + ": " +
                       pattern.error().reason());
    }
  }
  if (!options.bytes && !bv::isAscii(options.command)) {
    throw WrongUsage("COMMAND: a text command must be ASCII; use --bytes N for other bytes");
  }
  const auto bytes = options.hex ? bv::parseHex(options.command) : bytesOf(options.command);
  if (!bytes)
    throw WrongUsage("COMMAND: not pairs of hexadecimal digits: " + escaped(options.command));
  options.commandBytes = *bytes;
}

void addModes(Command<SendOptions>& command) {
  const Option accept =
      command.option("--accept", &SendOptions::accept, "PATTERN",
                     "The reply is complete as soon as it matches this regular expression");
  const Option bytes =
      command
          .option("--bytes", &SendOptions::bytes, "N",
                  "Sends and receives bytes: the reply is complete with N bytes or more")
          .between(0, std::numeric_limits<std::int32_t>::max())
          .excludes(accept);
  command.flag("--hex", &SendOptions::hex, "COMMAND is hexadecimal, as in \"02 10 03\"")
      .needs(bytes);
  command.flag("--hex-output", &SendOptions::hexOutput,
               "Prints the reply as a hex dump; so does --bytes");
  command
      .flag("--newline", &SendOptions::newline,
            "Appends a line feed to COMMAND; --accept always does")
      .excludes(accept)
      .excludes(bytes);
}

}  // namespace

void addSend(AnyCommand& program) {
  auto command = program.command<SendOptions>(
      "send",
      "Sends one command and prints the reply. It ends when the line is silent, or as\n"
      "--accept or --bytes say");
  command.argument("COMMAND", &SendOptions::command, "The command to send")
      .required()
      .valueName("");
  addPortOptions(command, command.options().port);
  addModes(command);
  command
      .option("--timeout", &SendOptions::timeout, "",
              "Time limit; without --accept and --bytes: the silence that ends the reply")
      .showsDefault()
      .secondsUpTo(kLongestTimeout);
  command.flag("--drain,!--no-drain", &SendOptions::drain,
               "First discards what arrived earlier (default)");
  command.option("--log", &SendOptions::log, "FILE",
                 "Also logs to this file; default: the system log only");
  command.footer(exitStatusText(
      "success", "the port cannot be opened, no such reply came, or the log cannot be written"));
  command.runs(run, {}, check);
}

}  // namespace bvdiag
