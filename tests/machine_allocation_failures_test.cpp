// Every operation on ports, machines and programs, with each of its allocations failing in turn.
#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "brisvane/all.h"
#include "brisvane/host/formats/file_url.h"
#include "brisvane/host/launching/command.h"
#include "brisvane/host/machine/machine_description.h"
#include "brisvane/host/machine/node_registry.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "brisvane/types/out_of_memory.h"
#include "tests/support/allocation_failures.h"

namespace brisvane {
namespace {

using testing::AllocationFailures;
using ::testing::AnyOf;
using testing::FailingAllocations;
using testing::isFree;
using testing::kLong;
using testing::kNever;
using testing::kThrows;
using testing::Whose;

using Value = std::optional<Object>;

class MachineAllocationFailures : public AllocationFailures {
 protected:
  void sweepMachine();
  void sweepLaunches(const std::string& path, Text identifier);
};

TEST_F(MachineAllocationFailures, OfPorts) {
  const auto bench =
      host::simulated::Machine::fromJson(R"({"devices": [{"name": "cu.usbserial-1", "fixture": {
      "commands": [{"command": "version", "replies": ["FW 1.20 for a long bench\r\n"]}]}}]})")
          .value();
  std::filesystem::create_symlink(bench->fixture("cu.usbserial-1")->node(),
                                  machine / "dev/cu.usbserial-1");
  BVSerialPort port("/dev/cu.usbserial-1");
  const auto canBeOpened = [&] {
    const bool isOpen = port.openPort(115200) != -1;
    EXPECT_EQ(port.isPortOpen(), isOpen);
    port.closePort();
    return isOpen;
  };
  SWEEP(BVSerialPort(kLong).path(), kThrows);
  SWEEP(BVSerialPort::createPortWithSerial("1") != nullptr, false);
  SWEEP(canBeOpened(), false);

  ASSERT_NE(port.openPort(115200), -1);
  const Data command{'v', 'e', 'r', 's', 'i', 'o', 'n', '\n'};
  std::string reply;
  Data bytes;
  std::uint8_t byte = 0;
  // The reply's ending: what an exchange that failed has left in the line may come first.
  const auto ending = [&](bool succeeded) {
    FailingAllocations::end();
    return std::pair(succeeded,
                     reply.substr(reply.size() - std::min<std::size_t>(reply.size(), 8)));
  };
  prepare = [&] {
    EXPECT_TRUE(isFree(*port.spLock()) && !port.busy());
    reply = "as before";
  };
  const auto failed = std::pair(false, "s before");
  SWEEP(ending(port.sendStringCommand("version", reply, "FW .*\r\n", 20)), failed);
  SWEEP(ending(port.sendStringCommand("version\n", reply, 0.05)), failed);
  SWEEP(port.sendDataCommand(command, bytes, 9, 20), false);
  SWEEP(port.sendLargeData(command), false);
  prepare = [&] {
    EXPECT_TRUE(isFree(*port.spLock()) && !port.busy());
    port.clearReadBuffer();
    EXPECT_TRUE(port.sendLargeData(command));
  };
  SWEEP(port.readSerialWithTimeout(100).has_value(), false);
  SWEEP(port.receiveByte(byte, 100), -1);
  prepare = [] {};
  SWEEP((port.setBusyState(kLong), port.busyState()), kThrows);
  SWEEP(port.serialReadBuffer(), kThrows);
}

// The operations on the machine in force. It has no variable, or the one that is written here.
void MachineAllocationFailures::sweepMachine() {
  const std::string name = guidText(BVNvram::kSystemGuid) + ":mode";
  const auto& registry = dynamic_cast<const host::NodeRegistry&>(host::platform()->registry());
  const host::OpenNode chosen(registry, registry.nodeAtPath(host::Registry::kChosenPath));
  const Value none(Object(1));
  ASSERT_EQ(BVNvram::writeStringVariable(name, R"({"a": 1})"), 0);
  prepare = [&] { EXPECT_EQ(registry.openHandles(), 1U); };
  SWEEP(BVNvram::dataFromVariable(name, false, false, none), none);
  SWEEP(BVNvram::systemGUID_dictionaryFromVariable("mode"), std::nullopt);
  SWEEP(BVNvram::stringFromVariable(name), std::nullopt);
  SWEEP(BVNvram::writeSystemGUID_StringVariable("mode", kLong), AnyOf(ENOMEM, -1));
  prepare = [&] { EXPECT_EQ(BVNvram::writeStringVariable(name, "x"), 0); };
  SWEEP(BVNvram::deleteSystemGUIDVariable("mode"), AnyOf(ENOMEM, -1));

  prepare = [&] { EXPECT_EQ(registry.openHandles(), 1U); };
  SWEEP(BVSystemInfo().modelID().has_value(), false);
  BVSystemInfo info;
  SWEEP(info.profile(), kThrows);
  SWEEP((info.setTargetType(kLong), info.setIsSeed(), 0), kNever);
  SWEEP(info.stringFromHwRegEntry(chosen.handle(), "model").has_value(), false);
  SWEEP(info.numFromHwRegEntryData8Byte(chosen.handle(), "chip-id"), std::nullopt);
  SWEEP(registry.propertyNames(chosen.handle()).size(), kThrows);
  SWEEP(Brisvane::findEthernetInterfaces().has_value(), false);
  prepare = [] {};
}

void MachineAllocationFailures::sweepLaunches(const std::string& path, Text identifier) {
  const std::vector<std::string> arguments{kLong};
  const std::string url = host::fileUrl(path);
  for (const Whose each : {Whose::kThisThread, Whose::kEveryThread}) {
    whose = each;
    SWEEP(BVProcess::openItemWithURL(url, arguments, 10), false);
    SWEEP(BVProcess::runApp(path, arguments, identifier, 10), AnyOf(1, 2, 3));
  }
  whose = Whose::kThisThread;
}

TEST_F(MachineAllocationFailures, OfALinuxMachine) {
  sweepMachine();
  const std::string file = machine / "machine.json";
  SWEEP(host::MachineDescription::fromFile(file).ok(), kThrows);
}

TEST_F(MachineAllocationFailures, OfASimulatedMachine) {
  const std::string description = R"({
      "registry": {"chosen": {"model": "a model beyond any small text", "chip-id": {"hex": "34 12"}}},
      "identity": {"UniqueChipID": 7}, "systemVersion": {"running": "12.5"}, "firmware": {"variables": {}},
      "interfaces": [{"name": "eth0", "type": "Ethernet", "addresses": ["192.0.2.10"]}],
      "devices": [{"name": "a", "fixture": {"commands": [{"command": "a", "replies": ["b"]}]}}],
      "applications": [{"path": "/opt/app", "identifier": "app"}]})";
  const auto simulated = host::simulated::Machine::fromJson(description).value();
  install(std::make_shared<host::Platform>(*simulated->platform()));
  sweepMachine();
  sweepLaunches("/opt/app", "app");
  SWEEP((BVLog::Default::debug("message"), 0), kNever);
  SWEEP(host::simulated::Machine::fromJson(description).ok(), kThrows);
}

// Reports an application as up, and answers, within the call.
class PromptService final : public host::LaunchService {
 public:
  Result<host::SubscriptionHandle> subscribe(std::int32_t /*session*/, std::int32_t /*flags*/,
                                             const host::SerialQueue& /*queue*/,
                                             host::NotificationCallback callback) const override {
    callback_ = std::move(callback);
    return host::SubscriptionHandle{1};
  }
  Result<> selectCodes(host::SubscriptionHandle /*subscription*/,
                       std::span<const std::int32_t> /*codes*/, std::int32_t /*first*/,
                       std::int32_t /*second*/, std::int32_t /*third*/,
                       std::int32_t /*fourth*/) const override {
    return {};
  }
  void open(std::string_view /*url*/, const host::OpenConfiguration& /*configuration*/,
            host::OpenCompletion completion) const override {
    callback_(host::LaunchCode::kUp, 0, &data_, nullptr, 0, nullptr);
    completion(nullptr, {});
  }

 private:
  const Dictionary data_{{std::string(kBundleIdentifier), kLong}};
  mutable host::NotificationCallback callback_;
};

TEST_F(MachineAllocationFailures, OfANotificationLoseItsLinesAlone) {
  auto platform = std::make_shared<host::Platform>(*host::platform());
  platform->setLaunchService(std::make_shared<PromptService>());
  install(platform);
  SWEEP(BVProcess::runApp("/opt/app", {}, kLong, 0), BVProcess::kRunAppNotLaunched);
}

TEST_F(MachineAllocationFailures, OfPrograms) {
  std::optional<std::string> output;
  const std::vector<std::string> arguments{kLong};
  // Collects what is left when memory is back.
  const auto canBeCollected = [&] {
    const auto started = host::Command::start("/bin/echo", arguments, "/");
    if (!started.ok()) return false;
    const auto& command = started.value();
    bool isOver = false;
    while (!isOver) {
      try {
        isOver = command->collect(std::chrono::seconds(20));
      } catch (const std::bad_alloc&) {
        FailingAllocations::end();
      }
    }
    return command->output().size() == kLong.size() + 1;
  };
  // C's allocations fail with an error, and those of C++ throw.
  SWEEP(memoryPermitting(false, canBeCollected), false);
  SWEEP(memoryPermitting(false, [] { return host::runCommand("/bin/echo", {}, "/").ok(); }), false);
  SWEEP(Brisvane::runCommandWithLaunchPath("/bin/echo", {}, "/", output), false);
  SWEEP(Brisvane::runCommandWithLaunchPath("/none", {}, "/", output), kNever);
  SWEEP(host::findProgram("sh"), kThrows);
  sweepLaunches("/bin/true", "true");
}

}  // namespace
}  // namespace brisvane
