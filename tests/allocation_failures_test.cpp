// Every operation, with each of its allocations failing in turn.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "brisvane/all.h"
#include "brisvane/host/crypto/digest.h"
#include "brisvane/host/files/files.h"
#include "brisvane/host/files/move_file.h"
#include "brisvane/host/formats/characters.h"
#include "brisvane/host/formats/file_url.h"
#include "brisvane/host/formats/json.h"
#include "brisvane/host/formats/pattern.h"
#include "brisvane/host/formats/property_list.h"
#include "brisvane/host/launching/command.h"
#include "brisvane/host/machine/machine_description.h"
#include "brisvane/host/machine/node_registry.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "brisvane/types/out_of_memory.h"
#include "brisvane/types/process_locks.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/linux_machine.h"
#include "tests/support/own_process.h"

// Sweeps an expression, see AllocationFailures::sweep().
#define SWEEP(expression, failure) \
  sweep(                           \
      #expression, [&] { return expression; }, failure)

namespace brisvane {
namespace {

using ::testing::AnyOf;
using testing::FailingAllocations;
using testing::Fails;
using ::testing::Not;
using ::testing::Optional;
using ::testing::Pair;
using testing::Whose;

using Value = std::optional<Object>;
using Files = std::vector<std::pair<std::string, std::string>>;  // names and contents

// How an operation fails that only gives a value: with std::bad_alloc.
struct Throws {};
constexpr Throws kThrows;
// That of one which succeeds whatever happens.
struct Never {};
constexpr Never kNever;

const std::string kLong(100, 'x');
const std::string kOther(200, 'y');
const Data kBytes(100, 7);

// What is under way, for the report of a crash.
struct Position {
  const char* operation = "";
  std::size_t allocation = 0;
} position;

void reportCrash(int number) {
  std::array<char, 200> text{};
  const int length = std::snprintf(text.data(), text.size(), "crash in %s, at its allocation %zu\n", position.operation,
                                   position.allocation);
  static_cast<void>(!::write(STDERR_FILENO, text.data(), static_cast<std::size_t>(length)));
  ::signal(number, SIG_DFL);
  ::raise(number);
}

void reportCrashes() {
  for (const int number : {SIGABRT, SIGSEGV}) ::signal(number, reportCrash);
}

bool isFree(host::ProcessMutex& mutex) { return std::unique_lock(mutex, std::try_to_lock).owns_lock(); }

bool areLocksFree() { return std::ranges::all_of(host::processLocks(), isFree); }

std::size_t openDescriptors() { return testing::namesIn("/proc/self/fd").size(); }

// How many are open when other threads, as a fixture's, have done with the first call.
std::size_t settledDescriptors() {
  std::size_t count = openDescriptors();
  for (int same = 0; same < 20; ++same) {
    ::usleep(1000);
    if (const std::size_t now = openDescriptors(); now != std::exchange(count, now)) same = 0;
  }
  return count;
}

bool hasChild() {
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

// Runs a hundred times as fast once an allocation has failed: what an operation then waits for may never come.
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
    machine.write("machine.json", R"({"identity": {"FirmwareVersion": "a version beyond any small text"}})");
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

  // Makes the call once, and then once for each of its allocations that fails, alone and with all that follow; each
  // time after `prepare`. It gives what it gave the first time, or fails as described; nothing of it stays behind; and
  // right afterwards it works.
  template <typename Call, typename Failure>
  void sweep(const char* name, const Call& call, const Failure& failure) {
    SCOPED_TRACE(name);
    prepare();
    const auto success = call();
    constexpr bool kHasFailure = !std::is_same_v<Failure, Throws> && !std::is_same_v<Failure, Never>;
    if constexpr (kHasFailure) {
      EXPECT_THAT(success, Not(failure));
    }
    const std::size_t descriptors = settledDescriptors();
    for (const Fails fails : {Fails::kOne, Fails::kAllFromThere}) {
      for (std::size_t n = 1; n < 10'000; ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n) + (fails == Fails::kOne ? "" : " and all that follow"));
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
          EXPECT_THAT(*result, AnyOf(success, failure));
        } else {
          EXPECT_EQ(*result, success);
        }
        EXPECT_TRUE(areLocksFree());
        EXPECT_TRUE(comesTrue([&] { return openDescriptors() <= descriptors; })) << descriptors << " were open";
        EXPECT_TRUE(comesTrue([] { return !hasChild(); }));
        prepare();
        EXPECT_THAT(call(), success) << "afterwards";
        if (over || HasFailure()) break;
      }
    }
  }

  void sweepMachine();
  void sweepLaunches(const std::string& path, Text identifier);

  testing::LinuxMachine machine;
  testing::TemporaryFolder folder;
  std::unique_ptr<host::ScopedPlatform> installed;
  std::function<void()> prepare = [] {};
  Whose whose = Whose::kThisThread;
};

Object nested() {
  return Dictionary{{kLong, Array{Object(kLong), kBytes, 1, 2.5, true, Dictionary{{"a", kLong}}}}, {"b", Date()}};
}

TEST_F(AllocationFailures, OfValues) {
  const Object value = nested();
  const Object equal = nested();
  const Dictionary nulls{{"a", nullptr}, {"b", Dictionary{{"c", nullptr}, {"d", 1}}}};
  const Array keys{"z", kLong};
  SWEEP(nested(), kThrows);
  SWEEP(value.dictionary(), kThrows);
  SWEEP(value == equal, kThrows);
  SWEEP(Brisvane::objectOrNull(value), kNever);
  SWEEP(Map::mapObjectsUsingBlock(keys, [](auto& element, auto, auto&) { return element; }), kThrows);
  SWEEP(BV::removeNullFromDictionary(nulls), kThrows);
  SWEEP(BV::valueForAnyKeys(*value.ifDictionary(), keys), kThrows);
  SWEEP(host::parseJson(R"({"a": [1, "text", {"b": null}]})").ok(), kThrows);
  SWEEP(host::parseJson(R"({"a": [1, "text", {"b": nul}]})").ok(), kThrows);
  SWEEP(host::jsonLine("{\"a\":\n[1,\n2]}", "a[1]"), kThrows);
  SWEEP(host::jsonText(value, host::JsonLayout::kIndented), kThrows);
  SWEEP(host::binaryPropertyList(value).ok(), kThrows);
}

TEST_F(AllocationFailures, OfTextsAndPatterns) {
  const std::string spelled = base64Text(kBytes);
  const std::string hex = lowerHexText(kBytes);
  const auto pattern = host::Pattern::compile("(\\w+)=([0-9a-f]+)\\r\\n");
  const auto slow = host::Pattern::compile("(a+)+!|ok");  // beyond what is searched without callouts
  const std::string manyWays = std::string(22, 'a') + " ok";
  const std::string reply = kLong + "crc=12ab\r\n";
  SWEEP(guidText(BVNvram::kSystemGuid), kThrows);
  SWEEP(base64Text(kBytes), kThrows);
  SWEEP(parseBase64(spelled), kThrows);
  SWEEP(parseHex(hex), kThrows);
  SWEEP(toUtf8(kLong), kThrows);
  SWEEP(toUtf16(kLong), kThrows);
  SWEEP(Additions::stringByTrimmingWhitespace(kLong), kThrows);
  SWEEP(Additions::stringWithPrefix(kLong, "a"), kThrows);
  SWEEP(BVSerialPort::hexStringFromData(kBytes), kThrows);
  SWEEP(host::fileUrl("a b"), kThrows);
  SWEEP(host::pathOfFileUrl("file:///a%20path/beyond/any/small/text"), kThrows);
  SWEEP(host::characterCount("e\u0301", 1), kThrows);
  SWEEP(Brisvane::levenshteinDistanceBetween(kLong, kOther), -1);
  SWEEP(memoryPermitting(false, [&] { return host::Pattern::compile("a+").ok(); }), false);
  SWEEP(memoryPermitting(false, [&] { return pattern.value().firstMatch(reply).ok(); }), false);
  SWEEP(memoryPermitting(false, [&] { return slow.value().firstMatch(manyWays).ok(); }), false);
}

TEST_F(AllocationFailures, OfBytes) {
  using namespace SecurityAdditions;
  const std::string spelled = base64Text(kBytes);
  SWEEP(bin2hex(kBytes), kThrows);
  SWEEP(bin2percentHex(kBytes), kThrows);
  SWEEP(base64DataFromString(spelled, true), std::nullopt);
  SWEEP(randomDataOfLength(100).has_value(), false);
  SWEEP(sha1Hash(kBytes), std::nullopt);
  SWEEP(HMACSHA1(kBytes, kOther), std::nullopt);
  const auto inPieces = [](auto&& digest) {
    for (int i = 0; i < 3; ++i) digest.add(kBytes);
    return digest.finish();
  };
  SWEEP(memoryPermitting(false, [&] { return inPieces(host::Sha1()).ok(); }), false);
  SWEEP(memoryPermitting(false, [&] { return inPieces(host::HmacSha1(kBytes)).ok(); }), false);
  std::int32_t error = 0;
  const auto status = [&](const std::optional<Data>& result) { return result ? 0 : error; };
  for (const std::uint32_t algorithm : {0U, 1U, 2U, 3U, 4U}) {
    const auto encrypted = dataEncryptedUsingAlgorithm(kBytes, algorithm, "a key", nullptr, 1);
    SWEEP(status(dataEncryptedUsingAlgorithm(kBytes, algorithm, "a key", "vector", 1, &error)), -6);
    SWEEP(status(dataDecryptedUsingAlgorithm(*encrypted, algorithm, "a key", nullptr, 1, &error)), -6);
  }
}

// Whether an operation succeeds that may throw instead of failing.
template <typename Operation>
bool succeeds(Operation operation) {
  return memoryPermitting(false, operation);
}

TEST_F(AllocationFailures, OfFiles) {
  const testing::TemporaryFolder files;
  const std::string path = files / "one";
  const std::string moved = files / "one of a longer name";
  const std::string deep = files / "deep/er";
  // Whether an operation has succeeded, and the files that there are then.
  const auto with = [&](bool succeeded) {
    FailingAllocations::end();
    Files all;
    for (const std::string& name : testing::namesIn(files.path()))
      all.emplace_back(name, testing::contentOf(files / name));
    return std::pair(succeeded, all);
  };
  const Dictionary dictionary{{"a", 1}};
  const auto nothing = std::pair(false, Files{});
  prepare = [&] { std::filesystem::remove(path); };
  SWEEP(with(succeeds([&] { return host::appendToFile(path, "new").ok(); })), nothing);
  SWEEP(with(succeeds([&] { return host::appendLineToFile(path, "new\n").ok(); })), nothing);
  SWEEP(with(succeeds([&] { return host::createFile(path, "new").ok(); })), nothing);
  SWEEP(with(Brisvane::appendString("new", path)), nothing);
  SWEEP((appendTo("new", path), with(true)), Pair(true, Files{}));
  SWEEP(with(writeToPlist(dictionary, path)), nothing);
  const auto old = std::pair(false, Files{{"one", "old"}});
  prepare = [&] { std::filesystem::remove(moved), testing::writeFile(path, "old"); };
  SWEEP(with(succeeds([&] { return host::appendToFile(path, "new").ok(); })), old);
  SWEEP(with(succeeds([&] { return host::overwriteFile(path, "n").ok(); })), old);
  SWEEP(with(writeToPlist(dictionary, path)), old);
  SWEEP(with(host::moveFile(path, moved).result.ok()), old);
  SWEEP(host::readFile(path, 10).optional(), kThrows);
  SWEEP(host::fileKind(path), kThrows);
  prepare = [&] { std::filesystem::remove_all(files / "deep"); };
  SWEEP(host::createFolders(deep).ok(), kThrows);
  SWEEP(BVSystemInfo::folderExists(deep, true), false);
}

TEST_F(AllocationFailures, OfAMoveToAnotherFileSystem) {
  if (!std::filesystem::exists("/dev/shm")) GTEST_SKIP() << "no other file system";
  const testing::TemporaryFolder here;
  const testing::TemporaryFolder there("/dev/shm");
  const std::string from = here / "from";
  const std::string to = there / "to";
  const auto with = [&](bool succeeded) {
    FailingAllocations::end();
    return std::tuple(succeeded, testing::namesIn(here.path()), testing::namesIn(there.path()));
  };
  prepare = [&] { std::filesystem::remove(to), testing::writeFile(from, "old"); };
  using Names = std::vector<std::string>;
  SWEEP(with(host::moveFile(from, to).result.ok()), std::tuple(false, Names{"from"}, Names{}));
}

TEST_F(AllocationFailures, OfLogging) {
  using Log = BVLog::Default;
  const auto log = BVLog::defaultLog();
  const SystemLogHandle& handle = SystemLogHandle::waylineLog();
  const std::string file = folder / "log";
  const std::string other = folder / "other";
  const auto calm = [](const auto& give) { return FailingAllocations::end(), give(); };
  const int journal = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  sockaddr_un address{AF_UNIX, {}};
  (machine / "journal").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(journal, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  const auto entries = [&] {
    FailingAllocations::end();
    int count = 0;
    for (char byte = 0; ::recv(journal, &byte, 1, 0) > 0;) ++count;
    return count;
  };
  // 1 when the file ends with the line, 0 when it has nothing of it.
  const auto lines = [&] {
    FailingAllocations::end();
    const std::string text = testing::contentOf(file);
    return text.empty() ? 0 : text.ends_with(" message \n") ? 1 : -1;
  };
  prepare = [&] {
    for (const std::string& path : {file, other}) std::filesystem::remove(path);
    log->setLogFilePath(file);
    BVLog::initAggregatedError(kLong);
    entries();
  };
  SWEEP((Log::info("message"), lines()), 0);
  SWEEP((Log::fault("message"), lines()), 0);
  SWEEP((Log::error("message"), lines()), 0);
  SWEEP((Log::debug("message"), Log::debugl(0, kOther), entries()), AnyOf(0, 1));
  SWEEP(log->logFilePath(), kThrows);
  SWEEP((log->setLogFilePath(other), calm([&] { return log->logFilePath(); })), Optional(file));
  SWEEP((BVLog::initAggregatedError(kOther), calm(BVLog::aggregatedErrorDescription)), kLong);
  SWEEP(BVLog::aggregatedErrorDescription(), kThrows);
  prepare = [&] { std::filesystem::remove(other), testing::writeFile(file, "text"); };
  SWEEP((Log::backupLogFileTo(other), calm([&] { return testing::namesIn(folder.path()); })),
        std::vector<std::string>{"log"});
  prepare = [&] { BVLog::setDefault(log), log->setVerbosityLevel(0), entries(); };
  SWEEP((log->setVerbosityLevel(3), log->verbosityLevel()), kNever);
  SWEEP((BVLog::configureDefault(handle, file, 1), BVLog::defaultLog()->verbosityLevel()), 0);
  SWEEP(BVLog(handle, file, std::nullopt).verbosityLevel(), kThrows);
  SWEEP(BVLog::backupPath("/a/b.log", Date()), kThrows);
  SWEEP(SystemLogHandle(kLong, kLong).subsystem(), kThrows);
  SWEEP(PreferencesStore(kLong).integer("key"), kThrows);
  ::close(journal);
}

TEST_F(AllocationFailures, OfPorts) {
  const auto bench = host::simulated::Machine::fromJson(R"({"devices": [{"name": "cu.usbserial-1", "fixture": {
      "commands": [{"command": "version", "replies": ["FW 1.20 for a long bench\r\n"]}]}}]})")
                         .value();
  std::filesystem::create_symlink(bench->fixture("cu.usbserial-1")->node(), machine / "dev/cu.usbserial-1");
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
    return std::pair(succeeded, reply.substr(reply.size() - std::min<std::size_t>(reply.size(), 8)));
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
void AllocationFailures::sweepMachine() {
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

void AllocationFailures::sweepLaunches(const std::string& path, Text identifier) {
  const std::vector<std::string> arguments{kLong};
  const std::string url = host::fileUrl(path);
  for (const Whose each : {Whose::kThisThread, Whose::kEveryThread}) {
    whose = each;
    SWEEP(BVProcess::openItemWithURL(url, arguments, 10), false);
    SWEEP(BVProcess::runApp(path, arguments, identifier, 10), AnyOf(1, 2, 3));
  }
  whose = Whose::kThisThread;
}

TEST_F(AllocationFailures, OfALinuxMachine) {
  sweepMachine();
  const std::string file = machine / "machine.json";
  SWEEP(host::MachineDescription::fromFile(file).ok(), kThrows);
}

TEST_F(AllocationFailures, OfASimulatedMachine) {
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
  Result<> selectCodes(host::SubscriptionHandle /*subscription*/, std::span<const std::int32_t> /*codes*/,
                       std::int32_t /*first*/, std::int32_t /*second*/, std::int32_t /*third*/,
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

TEST_F(AllocationFailures, OfANotificationLoseItsLinesAlone) {
  auto platform = std::make_shared<host::Platform>(*host::platform());
  platform->setLaunchService(std::make_shared<PromptService>());
  install(platform);
  SWEEP(BVProcess::runApp("/opt/app", {}, kLong, 0), BVProcess::kRunAppNotLaunched);
}

TEST_F(AllocationFailures, OfPrograms) {
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

// A first use. It gives whether it had all that it needs, which it must once memory is back.
struct FirstUse {
  const char* name;
  bool mayThrow;
  std::size_t step;  // from one allocation that fails to the next
  bool (*use)();
};

const auto kBare = std::make_shared<const host::Platform>();

bool usePlatform() {
  const auto platform = host::platform();
  return memoryPermitting(false, [&] { return platform->deviceNodes().list().ok(); });
}
bool useScopedPlatform() {
  {
    const host::ScopedPlatform installed(kBare);
    if (host::platform() != kBare) std::abort();
  }
  return usePlatform();
}
bool useLogger() {
  BVLog::Default::error("message");
  return !BVLog::aggregatedErrorDescription().empty();
}
bool replaceLogger() {
  BVLog::configureDefault(SystemLogHandle::waylineLog(), nullptr, 5);
  return BVLog::defaultLog()->verbosityLevel() == 5;
}
bool useSystemInfo() { return &BVSystemInfo::shared() == &BVSystemInfo::shared(); }
bool useGuard() { return BVNvram::dataFromVariable("no name", true, false, Object()).has_value(); }
bool useStores() {
  return !Diagnostics::diagDefaults().suite().empty() && PreferencesStore::standard().suite().empty();
}
bool useTimeZone() { return !BVLog::backupPath("a", Date()).empty(); }
bool useDigest() { return SecurityAdditions::sha1Hash({}).has_value(); }
bool useCipher() { return SecurityAdditions::dataEncryptedUsingAlgorithm({}, 1, "key", nullptr, 1).has_value(); }

constexpr FirstUse kFirstUses[] = {
    {"platform", false, 1, usePlatform},
    {"ScopedPlatform", false, 1, useScopedPlatform},
    {"logger", true, 1, useLogger},
    {"configureDefault", true, 1, replaceLogger},
    {"BVSystemInfo::shared", true, 1, useSystemInfo},
    {"guard", false, 1, useGuard},
    {"preferences", true, 1, useStores},
    {"time zone", true, 1, useTimeZone},
    // OpenSSL begins with more than a thousand allocations, which take a while.
    {"sha1Hash", false, 17, useDigest},
    {"cipher", false, 17, useCipher},
};

// How a forked child ends that does it.
enum Status { kFine, kThrew, kLocked, kNeverWorks, kNoFailureLeft };

Status statusOf(const FirstUse& first, Fails fails) {
  ::alarm(60);
  try {
    const FailingAllocations failing(position.allocation, fails, Whose::kThisThread);
    first.use();
  } catch (const std::bad_alloc&) {
    if (!first.mayThrow) return kThrew;
  }
  const bool over = !FailingAllocations::haveHappened();
  if (!areLocksFree()) return kLocked;
  if (!first.use()) return kNeverWorks;
  return over ? kNoFailureLeft : kFine;
}

void expectOfFirstUse(const FirstUse& first) {
  for (const Fails fails : {Fails::kOne, Fails::kAllFromThere}) {
    int status = 0;
    for (std::size_t n = 1; status == 0; n += first.step) {
      position = {first.name, n};
      const pid_t child = ::fork();
      if (child == 0) ::_exit(statusOf(first, fails));
      ::waitpid(child, &status, 0);
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNoFailureLeft) continue;
    std::fprintf(stderr, "%s, at its allocation %zu: %x\n", first.name, position.allocation, status);
    ADD_FAILURE();
  }
}

TEST(AllocationFailuresOfFirstUses, EndNoProgramAndDoNotLast) {
  testing::inProcessOfItsOwn([] {
    reportCrashes();
    for (const FirstUse& first : kFirstUses) expectOfFirstUse(first);
  });
}

}  // namespace
}  // namespace brisvane
