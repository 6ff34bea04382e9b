#include "exchange.h"

#include <chrono>
#include <limits>
#include <string_view>

#include <brisvane/all.h>
#include <brisvane/host/formats/pattern.h>

#include "interrupt.h"
#include "output.h"
#include "port_choice.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

bv::Data bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

// Gives whether the exchange succeeded.
bool converse(const ExchangeOptions& options, bv::BVSerialPort& port, bv::Data& reply) {
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

void explainFailure(const ExchangeOptions& options, const bv::BVSerialPort& port,
                    Exchange& failed) {
  failed.error = port.path();
  if (interrupted()) {
    failed.error += ": interrupted";
  } else if (auto failure = lineFailure(port)) {
    failed.error = *failure;
  } else if (options.endsBySilence()) {
    failed.error += ": the command was not sent completely; check the adapter";
  } else {
    failed.error += options.accept
                        ? ": no reply matched \"" + *options.accept + "\""
                        : ": fewer than " + std::to_string(*options.bytes) + " bytes arrived";
    failed.error += " within " + secondsText(options.timeout);
    failed.advice = options.accept
                        ? "; try a longer --timeout, or omit --accept to see the whole reply"
                        : "; try a longer --timeout or a smaller --bytes";
  }
}

}  // namespace

void addExchangeOptions(AnyCommand& command, ExchangeOptions& options,
                        const std::string& timeoutHelp) {
  command.argument("COMMAND", &options.command, "The command to send").required();
  const Option accept =
      command.option("--accept", &options.accept, "PATTERN",
                     "The reply is complete as soon as it matches this regular expression");
  const Option bytes =
      command
          .option("--bytes", &options.bytes, "N",
                  "Sends and receives bytes: the reply is complete with N bytes or more")
          .between(0, std::numeric_limits<std::int32_t>::max())
          .excludes(accept);
  command.flag("--hex", options.hex, "COMMAND is hexadecimal, as in \"02 10 03\"").needs(bytes);
  command.flag("--newline", options.newline, "Appends a line feed to COMMAND; --accept always does")
      .excludes(accept)
      .excludes(bytes);
  command.option("--timeout", &options.timeout, "", timeoutHelp)
      .showsDefault()
      .secondsUpTo(kLongestTimeout);
}

void checkExchange(ExchangeOptions& options) {
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

Exchange exchange(const ExchangeOptions& options, bv::BVSerialPort& port) {
  Exchange result;
  const auto start = std::chrono::steady_clock::now();
  const bool answered = converse(options, port, result.reply);
  result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (!answered || (interrupted() && options.endsBySilence()))
    explainFailure(options, port, result);
  return result;
}

}  // namespace bvdiag
