// The clocks as a service, and the elapsed time that every wait is measured by.
// A Clock may be asked from any thread; a Stopwatch belongs to one thread.
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

  virtual Wall wall() const noexcept = 0;      // the present date
  virtual Steady steady() const noexcept = 0;  // never set, never goes back
};

// The machine's own clocks.
class BRISVANE_EXPORT SystemClock final : public Clock {
 public:
  Wall wall() const noexcept override;
  Steady steady() const noexcept override;
};

// Measures the time since its last restart.
class BRISVANE_EXPORT Stopwatch {
 public:
  // Starts at once. REQUIRES: the clock outlives the stopwatch.
  explicit Stopwatch(const Clock& clock) noexcept : clock_(clock) { restart(); }

  void restart() noexcept;

  // Seconds since the last restart: the larger of the two clocks' differences, so
  // that a date set forward ends a wait and one set back cannot lengthen it.
  [[nodiscard]] double elapsed() const noexcept;

 private:
  const Clock& clock_;
  Clock::Wall wall_;
  Clock::Steady steady_;
};

// Sleeps for the whole time; a signal does not cut it short or lengthen it.
BRISVANE_EXPORT void pause(std::chrono::microseconds time) noexcept;

}  // namespace brisvane::host
