// LineOptions: the speed, framing and flow control with which a serial line is opened.
// A value type: any number of threads may read one.
#pragma once

#include <cstdint>
#include <optional>

namespace brisvane {

enum class Parity : std::uint8_t { kNone, kEven, kOdd, kMark, kSpace };
// kHardware is RTS/CTS. kSoftware is XON/XOFF in both directions; it takes those two bytes out of
// the data.
enum class FlowControl : std::uint8_t { kNone, kHardware, kSoftware };

// What is unset stays as opening with a speed alone leaves it: 8 data bits, no parity, no XON/XOFF.
// Stop bits and RTS/CTS are the device's own then.
struct LineOptions {
  std::uint32_t speed = 115'200;  // bits per second, of both directions
  std::optional<Parity> parity{};
  std::optional<std::uint8_t> dataBits{};  // 5 to 8
  std::optional<std::uint8_t> stopBits{};  // 1 or 2; 2 are 1.5 with 5 data bits
  std::optional<FlowControl> flowControl{};
};

}  // namespace brisvane
