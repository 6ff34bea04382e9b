// Clock, the time as a service, and Stopwatch, which measures every wait of the library.
// A Clock and the functions may be used from any thread. A Stopwatch belongs to one thread.
#pragma once

#include <chrono>

#include "brisvane/types/export.h"

namespace brisvane::host {

class BRISVANE_EXPORT Clock {
 public:
  using Wall = std::chrono::system_clock::time_point;
  using Steady = std::chrono::steady_clock::time_point;

  Clock() = default;
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;
  virtual ~Clock();

  virtual Wall wall() const noexcept = 0;      // the date and time; somebody may set it
  virtual Steady steady() const noexcept = 0;  // nobody sets it, and it never goes back
};

// The machine's own clocks.
class BRISVANE_EXPORT SystemClock final : public Clock {
 public:
  Wall wall() const noexcept override;
  Steady steady() const noexcept override;
};

// Measures the time since its last restart. Time limits compare with it.
class BRISVANE_EXPORT Stopwatch {
 public:
  // Starts the measurement. REQUIRES: the clock outlives the stopwatch.
  explicit Stopwatch(const Clock& clock) noexcept : clock_(clock) { restart(); }

  void restart() noexcept;

  // The seconds since the last restart, on the wall clock or the steady clock, whichever is more.
  // So a date that is set forward ends a wait, and one that is set back does not lengthen it.
  [[nodiscard]] double elapsed() const noexcept;

 private:
  const Clock& clock_;
  Clock::Wall wall_;
  Clock::Steady steady_;
};

// Blocks for the whole time. A signal neither shortens nor lengthens it.
BRISVANE_EXPORT void pause(std::chrono::microseconds time) noexcept;

}  // namespace brisvane::host
