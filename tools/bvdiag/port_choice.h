// The port that a command talks to: the options that choose it, its opening, and the
// reasons when that fails. The functions keep no state.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <brisvane/serial/BVSerialPort.h>

#include "command_line.h"
#include "line_settings.h"

namespace bvdiag {

// What the name of a serial adapter's node begins with, ahead of its serial number.
inline constexpr std::string_view kAdapterPrefix = "cu.usbserial-";

// What to check when there is no adapter.
inline constexpr std::string_view kNoAdapterHint =
    "check that it is plugged in and that the device rules (61-brisvane.rules) are installed";

struct PortOptions {
  std::optional<std::string> path;
  std::string serial;  // the first adapter, when it is empty
  std::int32_t speed = 115200;
  LineSettings line;
};

void addPortOptions(AnyCommand& command, PortOptions& options);

struct OpenedPort {
  std::unique_ptr<brisvane::BVSerialPort> port;  // null when it could not be opened
  std::string path;                              // empty when there is none
  std::string error;                             // what failed, why, and what to try
  bool isAbsent = false;                         // for want of the device, which may come yet
};

[[nodiscard]] OpenedPort openPort(const PortOptions& options);

// Throws away what waits, until the line is quiet or the program is interrupted.
void discardInput(const brisvane::BVSerialPort& port);

// Why the line of an open port is dead; nullopt when it is not.
[[nodiscard]] std::optional<std::string> lineFailure(const brisvane::BVSerialPort& port);

}  // namespace bvdiag
