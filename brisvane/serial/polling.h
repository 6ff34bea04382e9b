// What every poll of a port has in common. Private to the serial port.
#pragma once

#include <chrono>

namespace brisvane {

// The pause ahead of each read.
inline constexpr std::chrono::microseconds kPollPause{1'000};

}  // namespace brisvane
