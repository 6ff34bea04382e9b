// A clock that runs a hundred times as fast from a moment on: what an operation then waits for may
// never come.
#pragma once

#include <atomic>
#include <chrono>

#include "brisvane/host/clock.h"

namespace brisvane::testing {

class HastyClock final : public host::Clock {
 public:
  explicit HastyClock(bool (*isHasty)() noexcept) : isHasty_(isHasty) {}

  Wall wall() const noexcept override { return std::chrono::system_clock::now(); }
  Steady steady() const noexcept override {
    const auto now = std::chrono::steady_clock::now();
    if (!isHasty_()) calm_ = now;
    return now + 99 * (now - calm_.load());
  }

 private:
  bool (*const isHasty_)() noexcept;
  mutable std::atomic<Steady> calm_{std::chrono::steady_clock::now()};
};

}  // namespace brisvane::testing
