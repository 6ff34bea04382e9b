// What every sweep of failing allocations works with. For one source of a program only, as
// failing_allocations.h.
#pragma once

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "brisvane/all.h"
#include "brisvane/host/platform.h"
#include "brisvane/types/process_locks.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/linux_machine.h"

// Sweeps an expression, see AllocationFailures::sweep().
#define SWEEP(expression, failure) \
  sweep(                           \
      #expression, [&] { return expression; }, failure)

namespace brisvane::testing {

// How an operation fails that only gives a value: with std::bad_alloc.
struct Throws {};
inline constexpr Throws kThrows;
// That of one which succeeds whatever happens.
struct Never {};
inline constexpr Never kNever;

inline const std::string kLong(100, 'x');
inline const std::string kOther(200, 'y');
inline const Data kBytes(100, 7);

// What is under way, for the report of a crash.
inline struct Position {
  const char* operation = "";
  std::size_t allocation = 0;
} position;

inline void reportCrash(int number) {
  std::array<char, 200> text{};
  const int length = std::snprintf(text.data(), text.size(), "crash in %s, at its allocation %zu\n",
                                   position.operation, position.allocation);
  static_cast<void>(!::write(STDERR_FILENO, text.data(), static_cast<std::size_t>(length)));
  ::signal(number, SIG_DFL);
  ::raise(number);
}

inline void reportCrashes() {
  for (const int number : {SIGABRT, SIGSEGV}) ::signal(number, reportCrash);
}

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

inline bool hasChild() {
  siginfo_t child;
  return ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
}

// For what the threads of a launch service still do when an operation is over.
template <typename Condition>
bool comesTrue(Condition condition) {
  for (int i = 0; i < 4000; ++i) {
    if (condition()) return true;  // seen once: such a thread may open something again meanwhile
    ::usleep(5000);
  }
  return false;
}

// Runs a hundred times as fast once an allocation has failed: what an operation then waits for may
// never come.
class HastyClock final : public host::Clock {
 public:
  Wall wall() const noexcept override { return std::chrono::system_clock::now(); }
  Steady steady() const noexcept override {
    const auto now = std::chrono::steady_clock::now();
    if (!FailingAllocations::areUnderWay()) calm_ = now;
    return now + 99 * (now - calm_.load());
  }

 private:
  mutable std::atomic<Steady> calm_{std::chrono::steady_clock::now()};
};

class AllocationFailures : public ::testing::Test {
 protected:
  AllocationFailures() {
    reportCrashes();
    machine.write("smbios/product_serial", "S1\n");
    machine.write("smbios/product_name", "Bench 9\n");
    machine.write("smbios/board_name", "Board-12\n");
    machine.write("smbios/bios_version", "1.2\n");
    machine.write("tree/chosen/chip-id", "\x34\x12");
    machine.write("tree/chosen/model", kLong);
    machine.write("soc/serial_number", "12AB\n");
    machine.write("os-release", "VERSION_ID=\"12.5\"\nBUILD_ID=22A5xyz\n");
    machine.write("machine.json",
                  R"({"identity": {"FirmwareVersion": "a version beyond any small text"}})");
    machine.write("net/lo/uevent", "INTERFACE=lo\n");
    for (const char* name : {"dev", "variables"}) std::filesystem::create_directory(machine / name);
    install(std::make_shared<host::Platform>(*machine.platform()));
  }

  void install(std::shared_ptr<host::Platform> platform) {
    platform->setClock(std::make_shared<HastyClock>());
    installed.reset();
    installed = std::make_unique<host::ScopedPlatform>(std::move(platform));
    BVLog::setDefault(std::make_shared<BVLog>(SystemLogHandle::waylineLog(), folder / "log", 0));
    BVLog::initAggregatedError("");
    BVLog::Default::debug("the first entry opens a socket that stays");
  }

  // Makes the call once, and then once for each of its allocations that fails, alone and with all
  // that follow; each time after `prepare`. It gives what it gave the first time, or fails as
  // described; nothing of it stays behind; and right afterwards it works.
  template <typename Call, typename Failure>
  void sweep(const char* name, const Call& call, const Failure& failure) {
    SCOPED_TRACE(name);
    prepare();
    const auto success = call();
    constexpr bool kHasFailure =
        !std::is_same_v<Failure, Throws> && !std::is_same_v<Failure, Never>;
    if constexpr (kHasFailure) {
      EXPECT_THAT(success, ::testing::Not(failure));
    }
    const std::size_t descriptors = settledDescriptors();
    for (const Fails fails : {Fails::kOne, Fails::kAllFromThere}) {
      for (std::size_t n = 1; n < 10'000; ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n) +
                     (fails == Fails::kOne ? "" : " and all that follow"));
        position = {name, n};
        prepare();
        std::optional<std::decay_t<decltype(success)>> result;
        try {
          const FailingAllocations failing(n, fails, whose);
          result.emplace(call());
        } catch (const std::bad_alloc&) {
          EXPECT_TRUE((std::is_same_v<Failure, Throws>)) << "it must not throw";
          result = success;
        }
        const bool over = !FailingAllocations::haveHappened();
        if constexpr (kHasFailure) {
          EXPECT_THAT(*result, ::testing::AnyOf(success, failure));
        } else {
          EXPECT_EQ(*result, success);
        }
        EXPECT_TRUE(areLocksFree());
        EXPECT_TRUE(comesTrue([&] { return openDescriptors() <= descriptors; }))
            << descriptors << " were open";
        EXPECT_TRUE(comesTrue([] { return !hasChild(); }));
        prepare();
        EXPECT_THAT(call(), success) << "afterwards";
        if (over || HasFailure()) break;
      }
    }
  }

  LinuxMachine machine;
  TemporaryFolder folder;
  std::unique_ptr<host::ScopedPlatform> installed;
  std::function<void()> prepare = [] {};
  Whose whose = Whose::kThisThread;
};

}  // namespace brisvane::testing
