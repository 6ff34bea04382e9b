// The settings of an open serial line that the library leaves as the device has them, and its
// modem lines. The functions keep no state; descriptors are those of open ports.
#pragma once

#include <cstdint>
#include <string>

#include <brisvane/host/terminal/line_options.h>
#include <brisvane/types/result.h>

#include "command_line.h"

namespace bvdiag {

struct LineSettings {
  std::string framing;  // as in "8N1"; empty: as the device has it
  std::string flow;     // "none", "hardware" or "software"; empty: as the device has it
};

void addLineOptions(AnyCommand& command, LineSettings& settings);

// The options with which a port is opened at this speed, in bits per second.
[[nodiscard]] brisvane::LineOptions lineOptions(const LineSettings& settings, std::int32_t speed);

// The settings in force. Nothing of them is empty, unless the descriptor is no terminal.
[[nodiscard]] LineSettings settingsOf(int descriptor);

// A modem line that this end drives.
enum class Signal { kDtr, kRts };

// Inverts the line. Fails with ENOTTY when the device has no modem lines.
[[nodiscard]] brisvane::Result<> toggle(Signal signal, int descriptor);

// The modem lines that are on, as in "DTR on, RTS off, CTS off, DSR on, DCD off, RI off". Fails
// with ENOTTY when the device has none.
[[nodiscard]] brisvane::Result<std::string> modemLines(int descriptor);

// Sends a break of a quarter of a second to half a second, and blocks as long.
[[nodiscard]] brisvane::Result<> sendBreak(int descriptor);

}  // namespace bvdiag
