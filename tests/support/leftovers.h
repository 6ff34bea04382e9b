// What an operation must not leave behind: descriptors, threads, children, locks.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <mutex>
#include <utility>

#include "brisvane/types/process_locks.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::testing {

// A port's mutex, or one of the process, which is of a class of its own in a debug build.
template <typename Mutex>
bool isFree(Mutex& mutex) {
  return std::unique_lock(mutex, std::try_to_lock).owns_lock();
}

inline bool areLocksFree() {
  return std::ranges::all_of(host::processLocks(), isFree<host::ProcessMutex>);
}

inline std::size_t openDescriptors() { return namesIn("/proc/self/fd").size(); }

// How many are open when other threads, as a fixture's, have done with the first call.
inline std::size_t settledDescriptors() {
  std::size_t count = openDescriptors();
  for (int same = 0; same < 20; ++same) {
    ::usleep(1000);
    if (const std::size_t now = openDescriptors(); now != std::exchange(count, now)) same = 0;
  }
  return count;
}

inline std::size_t runningThreads() { return namesIn("/proc/self/task").size(); }

inline bool hasChild() {
  siginfo_t child;
  return ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
}

// For what the threads of a launch service still do when an operation is over.
template <typename Condition>
bool comesTrue(Condition condition) {
  for (int i = 0; i < 20'000; ++i) {
    if (condition()) return true;  // seen once: such a thread may open something again meanwhile
    ::usleep(1000);
  }
  return false;
}

// What there is before an operation, to be compared with what there is afterwards.
class Leftovers {
 public:
  void expectNone() const {
    EXPECT_TRUE(areLocksFree());
    EXPECT_TRUE(comesTrue([this] { return openDescriptors() <= descriptors_; }))
        << descriptors_ << " were open, now " << openDescriptors();
    EXPECT_TRUE(comesTrue([this] { return runningThreads() <= threads_; }))
        << threads_ << " threads ran, now " << runningThreads();
    EXPECT_TRUE(comesTrue([] { return !hasChild(); }));
  }

 private:
  std::size_t descriptors_ = settledDescriptors();
  std::size_t threads_ = runningThreads();
};

}  // namespace brisvane::testing
