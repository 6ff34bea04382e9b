// Countdown, the line on a terminal that tells how long a wait may still take, or has taken.
// A Countdown belongs to one thread; the line is written by a thread of its own.
#pragma once

#include <optional>
#include <string>
#include <thread>

namespace bvdiag {

class Countdown {
 public:
  // Shows the line on standard error once the wait has lasted for a while; nothing when
  // that is no terminal. Nothing else may write there until the countdown is destroyed.
  // `what` is as in "waiting for the reply"; without a limit it counts up.
  explicit Countdown(std::string what, std::optional<double> seconds = std::nullopt);
  Countdown(const Countdown&) = delete;
  Countdown& operator=(const Countdown&) = delete;
  // Erases the line.
  ~Countdown() = default;

 private:
  std::jthread thread_;
};

}  // namespace bvdiag
