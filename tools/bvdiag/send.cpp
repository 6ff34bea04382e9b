// `bvdiag send`: one command to a fixture, and its reply.
#include <string>
#include <utility>

#include <brisvane/all.h>

#include "commands.h"
#include "exchange.h"
#include "interrupt.h"
#include "port_choice.h"
#include "status_line.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct SendOptions {
  PortOptions port;
  ExchangeOptions exchange;
  bool hexOutput = false;
  bool drain = true;
  std::string log;

  [[nodiscard]] bool showsHex() const { return hexOutput || exchange.bytes; }
};

struct Conversation {
  std::string path;
  Exchange exchange;
};

Conversation converse(const SendOptions& options) {
  OpenedPort opened = openPort(options.port);
  Conversation result{opened.path, {{}, 0, opened.error, {}}};
  if (opened.port == nullptr) return result;
  bv::BVSerialPort& port = *opened.port;
  bv::BVLog::Default::info("opened " + port.path() + " at " + std::to_string(options.port.speed));
  if (options.drain) discardInput(port);
  {
    const StatusLine line("waiting for the reply", timeLeft(options.exchange.timeout));
    result.exchange = exchange(options.exchange, port);
  }
  // Closing waits for the output, which an interrupt shall not; the destructor does not.
  if (!interrupted()) port.closePort();
  return result;
}

void printJson(const SendOptions& options, const Conversation& result, Output& output) {
  const bv::Data& reply = result.exchange.reply;
  bv::Dictionary object{{"command", options.exchange.command},
                        {"port", result.path},
                        {"seconds", result.exchange.seconds}};
  if (result.exchange.error.empty() || !reply.empty()) {
    if (options.showsHex()) object.emplace("replyHex", reply);
    if (!options.showsHex()) object.emplace("reply", std::string(reply.begin(), reply.end()));
  }
  output.printResult(std::move(object));
}

void printText(const SendOptions& options, const Conversation& result, Output& output) {
  const bv::Data& reply = result.exchange.reply;
  if (!reply.empty()) {
    output.print(options.showsHex() ? hexDump(reply) : escaped(reply) + "\n");
  } else if (result.exchange.error.empty()) {
    output.remark(result.path + ": no reply");
  }
}

int run(const SendOptions& options, Session& session) {
  Output& output = session.output();
  if (!options.log.empty() && !session.startLog(options.log)) return kFailure;
  const Conversation result = converse(options);
  const std::string& error = result.exchange.error;
  if (!output.json()) printText(options, result, output);
  if (!error.empty()) output.complain(error + result.exchange.advice);
  const bool isLogged = session.logIsComplete();
  if (output.json()) printJson(options, result, output);
  return isLogged && error.empty() ? kSuccess : kFailure;
}

}  // namespace

void addSend(AnyCommand& program) {
  auto command = program.command<SendOptions>(
      "send",
      "Sends one command and prints the reply. It ends when the line is silent, or as "
      "--accept or --bytes say");
  SendOptions& options = command.options();
  addPortOptions(command, options.port);
  addExchangeOptions(command, options.exchange,
                     "Time limit; without --accept and --bytes: the silence that ends the reply");
  command.flag("--hex-output", &SendOptions::hexOutput,
               "Prints the reply as a hex dump; so does --bytes");
  command.flag("--drain,!--no-drain", &SendOptions::drain,
               "First discards what arrived earlier (default)");
  command.option("--log", &SendOptions::log, "FILE",
                 "Also logs to this file; default: the system log only");
  command.example(R"(bvdiag send version --accept 'FW .*\r\n')");
  command.example("bvdiag send '02 10 03' --hex --bytes 5");
  command.footer(exitStatusText(
      "success", "the port cannot be opened, no such reply came, or the log cannot be written"));
  command.runs(run, {}, [](SendOptions& given) { checkExchange(given.exchange); });
}

}  // namespace bvdiag
