#include "brisvane/host/clock.h"

#include <algorithm>
#include <thread>

namespace brisvane::host {

Clock::~Clock() = default;

Clock::Wall SystemClock::wall() const noexcept { return std::chrono::system_clock::now(); }
Clock::Steady SystemClock::steady() const noexcept { return std::chrono::steady_clock::now(); }

void Stopwatch::restart() noexcept {
  wall_ = clock_.wall();
  steady_ = clock_.steady();
}

double Stopwatch::elapsed() const noexcept {
  const std::chrono::duration<double> wall = clock_.wall() - wall_;
  const std::chrono::duration<double> steady = clock_.steady() - steady_;
  return std::max(wall, steady).count();
}

// libstdc++ sleeps on with what is left of the time after a signal.
void pause(std::chrono::microseconds time) noexcept { std::this_thread::sleep_for(time); }

}  // namespace brisvane::host
