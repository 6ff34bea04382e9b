// The fixture of tests that run on a simulated machine: it is in force for each test,
// and what reaches its system log can be told in one line an entry.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "brisvane/host/platform.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "brisvane/logging/BVLog.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_clock.h"

namespace brisvane::testing {

class SimulatedTest : public ::testing::Test {
 protected:
  explicit SimulatedTest(const std::string& description = "{}") {
    auto made = host::simulated::Machine::fromJson(description);
    if (!made.ok()) throw std::runtime_error(made.error().text());
    machine = std::move(made).value();
    auto platform = std::make_shared<host::Platform>(*machine->platform());
    platform->setClock(clock);
    installed = std::make_unique<host::ScopedPlatform>(platform);
    BVLog::setDefault(std::make_shared<BVLog>(SystemLogHandle::waylineLog(), nullptr, 0));
    BVLog::initAggregatedError("");
    machine->clearSystemLog();
  }

  // The entries since the last call, as "type format|argument".
  std::vector<std::string> logged() {
    std::vector<std::string> lines;
    for (const auto& entry : machine->systemLog()) {
      constexpr const char* kTypes[] = {"debug", "info", "error", "fault"};
      lines.push_back(kTypes[static_cast<std::size_t>(entry.type)] + std::string() + " " +
                      entry.format + "|" + entry.argument);
    }
    machine->clearSystemLog();
    return lines;
  }

  TemporaryFolder folder;
  std::shared_ptr<TestClock> clock = std::make_shared<TestClock>();
  std::unique_ptr<host::simulated::Machine> machine;
  std::unique_ptr<host::ScopedPlatform> installed;
};

}  // namespace brisvane::testing
