#include "brisvane/host/platform.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <thread>

#include "brisvane/host/linux_platform.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "brisvane/host/terminal/terminal.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::host {
namespace {

using namespace std::chrono_literals;

// Two machines furnished alike: a device that answers, one that cannot be opened, and
// a few preferences.
constexpr char kMachine[] = R"({
    "devices": [{"name": "cu.dead"}, {"name": "cu.usbserial-1", "fixture": {
        "commands": [{"command": "version", "replies": ["FW 1.20\r\n"]}]}}],
    "preferences": {"standard": {"text": "standard"},
                    "suites": {"org.example": {"text": "a b", "number": 4, "flag": true, "empty": ""}}}})";

struct SimulatedBench {
  std::unique_ptr<simulated::Machine> machine = simulated::Machine::fromJson(kMachine).value();
  std::shared_ptr<const Platform> platform = machine->platform();
};

// The real one has the other's fixture behind its node.
struct RealBench {
  RealBench() {
    std::filesystem::create_directory(folder / "dev");
    std::filesystem::create_symlink(simulated.machine->fixture("cu.usbserial-1")->node(),
                                    folder / "dev/cu.usbserial-1");
    std::filesystem::create_symlink("nowhere", folder / "dev/cu.dead");
    ::setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
    testing::writeFile(folder / "org.example.conf", "text=a b\nnumber=4\nflag=true\nempty=\n");
    testing::writeFile(folder / (std::string(program_invocation_short_name) + ".conf"),
                       "text=standard\n");
  }
  SimulatedBench simulated;
  testing::TemporaryFolder folder;
  std::shared_ptr<const Platform> platform =
      std::make_shared<const Platform>(real::makePlatform({folder / "dev", folder / "journal"}));
};

template <typename Bench>
class EveryPlatform : public ::testing::Test {
 protected:
  Bench bench_;
};
using Benches = ::testing::Types<RealBench, SimulatedBench>;
TYPED_TEST_SUITE(EveryPlatform, Benches);

TYPED_TEST(EveryPlatform, ListsItsDevicesAndLeadsToEachThatCanBeOpened) {
  const DeviceNodes& nodes = this->bench_.platform->deviceNodes();
  EXPECT_THAT(nodes.list().value(), ::testing::UnorderedElementsAre("cu.usbserial-1", "cu.dead"));
  for (int program = 0; program < 3; ++program) {
    const auto line = terminal::Line::open(nodes.location("/dev/cu.usbserial-1"), {.speed = 9600});
    ASSERT_TRUE(line.ok());
    const int descriptor = line.value().descriptor();
    const std::string command = "version\r";
    EXPECT_EQ(terminal::write(descriptor, Data(command.begin(), command.end())).optional(),
              command.size());
    std::string reply;
    Data chunk(64);
    for (int reads = 0; reads < 100 && !reply.ends_with('\n'); ++reads) {
      const std::size_t count = terminal::read(descriptor, chunk).value();
      reply.append(chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(count));
    }
    EXPECT_EQ(reply, "FW 1.20\r\n");
  }
  for (const char* const absent : {"/dev/cu.dead", "/dev/cu.usbserial-2", "/dev/null"}) {
    const auto line = terminal::Line::open(nodes.location(absent), {.speed = 9600});
    EXPECT_EQ(line.ok() ? 0 : line.error().number(), ENOENT) << absent;
  }
  for (const char* const elsewhere :
       {"", "cu.usbserial-1", "/dev", "/devices/cu.usbserial-1", "/tmp/dev/x"}) {
    EXPECT_EQ(nodes.location(elsewhere), elsewhere);
  }
}

TYPED_TEST(EveryPlatform, KnowsThePreferencesThatAreSetAsTextsAndNoOthers) {
  const Preferences& preferences = this->bench_.platform->preferences();
  EXPECT_EQ(preferences.value("org.example", "text"), "a b");
  EXPECT_EQ(preferences.value("org.example", "number"), "4");
  EXPECT_EQ(preferences.value("org.example", "flag"), "true");
  EXPECT_EQ(preferences.value("org.example", "empty"), "");
  EXPECT_EQ(preferences.value("", "text"), "standard");
  EXPECT_EQ(preferences.value("", "number"), std::nullopt);
  EXPECT_EQ(preferences.value("org.example", "Text"), std::nullopt);
  EXPECT_EQ(preferences.value("org.other", "text"), std::nullopt);
  EXPECT_EQ(preferences.value("standard", "text"), std::nullopt);
}

TEST(Platform, IsInForceUntilItsScopeEndsAndAnswersNothingWhereItHasNoService) {
  const auto own = platform();
  const auto bare = std::make_shared<const Platform>();
  Platform stripped = real::makePlatform({});
  stripped.setSystemLog(nullptr);
  stripped.setPreferences(nullptr);
  stripped.setDeviceNodes(nullptr);
  stripped.setNetworkInterfaces(nullptr);
  stripped.setClock(nullptr);
  const auto second = std::make_shared<const Platform>(std::move(stripped));
  {
    const ScopedPlatform outer(bare);
    {
      const ScopedPlatform inner(second);
      const ScopedPlatform none(nullptr);
      std::thread([&] { EXPECT_EQ(platform(), second); }).join();
    }
    EXPECT_EQ(platform(), bare);
  }
  EXPECT_EQ(platform(), own);
  for (const auto& nothing : {bare, second}) {
    EXPECT_FALSE(nothing->deviceNodes().list().ok());
    EXPECT_EQ(nothing->deviceNodes().location("/dev/null"), "/dev/null");
    EXPECT_EQ(nothing->preferences().value("", "key"), std::nullopt);
    EXPECT_FALSE(nothing->networkInterfaces().interfaces().ok());
    EXPECT_FALSE(nothing->networkInterfaces().addresses().ok());
    nothing->systemLog().write({"org.example", "BV"}, LogType::kFault, "%{public}@", "text");
    const auto before = std::chrono::system_clock::now();
    EXPECT_LE(before, nothing->clock().wall());
  }
}

// Stands still until it is set.
class SetClock final : public Clock {
 public:
  Wall wall() const noexcept override { return wallTime; }
  Steady steady() const noexcept override { return steadyTime; }
  Wall wallTime{1000h};
  Steady steadyTime{10h};
};

TEST(Stopwatch, ADateSetForwardEndsAWaitAndOneSetBackDoesNotLengthenIt) {
  SetClock clock;
  Stopwatch stopwatch(clock);
  clock.steadyTime += 1500ms;
  clock.wallTime -= 24h;
  EXPECT_DOUBLE_EQ(stopwatch.elapsed(), 1.5);
  clock.wallTime += 48h;
  EXPECT_DOUBLE_EQ(stopwatch.elapsed(), 24 * 3600);
  stopwatch.restart();
  EXPECT_EQ(stopwatch.elapsed(), 0);
}

}  // namespace
}  // namespace brisvane::host
