// WaitObject, a counting semaphore with a timed wait. Private to the library.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "brisvane/host/clock.h"

namespace brisvane {

// Safe from any thread.
class WaitObject {
 public:
  void signal() noexcept {
    {
      const std::scoped_lock lock(mutex_);
      ++count_;
    }
    signalled_.notify_one();
  }

  // Takes one signal. False when none comes before `limit` has passed on the clock. A limit of 0 or
  // less takes a signal that is there already. Blocks for up to `limit`.
  [[nodiscard]] bool wait(std::chrono::nanoseconds limit, const host::Clock& clock) {
    // In steps, because the clock may be faster than the machine's.
    constexpr std::chrono::nanoseconds kStep = std::chrono::milliseconds(50);
    const auto deadline = clock.steady() + limit;
    std::unique_lock lock(mutex_);
    while (count_ == 0) {
      const std::chrono::nanoseconds left = deadline - clock.steady();
      if (left <= std::chrono::nanoseconds::zero()) return false;
      signalled_.wait_for(lock, std::min(left, kStep));
    }
    --count_;
    return true;
  }

 private:
  std::mutex mutex_;
  std::condition_variable signalled_;
  std::uint64_t count_ = 0;
};

}  // namespace brisvane
