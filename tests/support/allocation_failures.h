// What every sweep of failing allocations works with. For one source of a program only, as
// failing_allocations.h.
#pragma once

#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "brisvane/all.h"
#include "brisvane/host/platform.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/hasty_clock.h"
#include "tests/support/leftovers.h"
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
    platform->setClock(std::make_shared<HastyClock>(FailingAllocations::areUnderWay));
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
    const Leftovers before;
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
        before.expectNone();
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
