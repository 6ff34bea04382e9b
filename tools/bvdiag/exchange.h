// Exchanges with a fixture: the options that say what is sent and what completes the reply, the
// exchange itself, and why it failed. The functions keep no state.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <brisvane/serial/BVSerialPort.h>
#include <brisvane/types/data.h>

#include "command_line.h"

namespace bvdiag {

struct ExchangeOptions {
  std::string command;
  double timeout = 2;  // seconds
  std::optional<std::string> accept;
  std::optional<std::int32_t> bytes;
  bool hex = false;
  bool newline = false;
  brisvane::Data commandBytes;  // for a byte exchange

  [[nodiscard]] bool endsBySilence() const { return !accept && !bytes; }
};

// Adds COMMAND, --accept, --bytes, --hex, --newline and --timeout. `timeoutHelp` says what the time
// limit is.
void addExchangeOptions(AnyCommand& command, ExchangeOptions& options,
                        const std::string& timeoutHelp);

// Throws WrongUsage for what the command line alone cannot know to be wrong, and completes the
// options.
void checkExchange(ExchangeOptions& options);

struct Exchange {
  brisvane::Data reply;
  double seconds = 0;
  std::string error;   // empty for a success
  std::string advice;  // what to try, for who has given the options; begins with "; ", or is empty
};

// Sends the command and waits for the reply. REQUIRES that the port is open. Silence that an
// interrupt has cut short ends no reply.
[[nodiscard]] Exchange exchange(const ExchangeOptions& options, brisvane::BVSerialPort& port);

}  // namespace bvdiag
