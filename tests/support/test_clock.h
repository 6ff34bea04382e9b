// A clock that a test sets: the machine's own, moved by what the test says.
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

  Wall wall() const noexcept override {
    const auto stopped = stopped_.load();
    const auto base = stopped != 0 ? Wall(Wall::duration(stopped)) : std::chrono::system_clock::now();
    return base + Wall::duration(moved_.load());
  }
  Steady steady() const noexcept override { return std::chrono::steady_clock::now(); }

 private:
  std::atomic<Wall::rep> stopped_{0};
  std::atomic<Wall::rep> moved_{0};
};

}  // namespace brisvane::testing
