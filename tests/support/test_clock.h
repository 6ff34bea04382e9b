// A clock that a test sets: the machine's own, moved by what the test says. Any thread may read and
// set it.
#pragma once

#include <atomic>
#include <chrono>

#include "brisvane/host/clock.h"

namespace brisvane::testing {

class TestClock final : public host::Clock {
 public:
  // Stops the wall clock at a moment.
  void stopAt(Wall moment) noexcept { stopped_ = moment.time_since_epoch().count(); }
  // Moves the wall clock against the steady one, as a person or a time server does.
  void moveWallBy(std::chrono::seconds by) noexcept { moved_ += Wall::duration(by).count(); }

  // Stops the steady clock. From now on each reading moves it on by a step, so that a time limit is
  // a number of polls, however busy the machine is.
  void stepBy(Steady::duration step) noexcept {
    stepped_ = std::chrono::steady_clock::now().time_since_epoch().count();
    step_ = step.count();
  }
  // Blocks until the steady clock has been read some more times, as a wait does at each poll.
  void awaitReadings(int count) const noexcept {
    const int last = readings_ + count;
    for (int now = readings_; now < last; now = readings_) readings_.wait(now);
  }

  Wall wall() const noexcept override {
    const auto stopped = stopped_.load();
    const auto base =
        stopped != 0 ? Wall(Wall::duration(stopped)) : std::chrono::system_clock::now();
    return base + Wall::duration(moved_.load());
  }
  Steady steady() const noexcept override {
    ++readings_;
    readings_.notify_all();
    const Steady::rep step = step_;
    return step == 0 ? std::chrono::steady_clock::now()
                     : Steady(Steady::duration(stepped_ += step));
  }

 private:
  mutable std::atomic<int> readings_{0};
  std::atomic<Steady::rep> step_{0};
  mutable std::atomic<Steady::rep> stepped_{0};
  std::atomic<Wall::rep> stopped_{0};
  std::atomic<Wall::rep> moved_{0};
};

}  // namespace brisvane::testing
