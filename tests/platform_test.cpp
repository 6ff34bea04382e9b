#include "brisvane/host/platform.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <thread>

#include "brisvane/host/linux/platform.h"
#include "brisvane/host/simulated/machine.h"
#include "brisvane/host/terminal.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::host {
namespace {

using namespace std::chrono_literals;
using brisvane::testing::TemporaryFolder;
using ::testing::Optional;
using ::testing::UnorderedElementsAre;

// A machine of either kind, furnished alike: a device that answers, one that cannot be
// opened, and a few preferences.
class Bench {
 public:
  virtual ~Bench() = default;
  virtual std::shared_ptr<const Platform> platform() const = 0;
};

constexpr char kAnswering[] = R"({"commands": [{"command": "version", "replies": ["FW 1.20\r\n"]}]})";

class RealBench final : public Bench {
 public:
  RealBench() {
    std::string error;
    fixture_ = simulated::Fixture::start(*simulated::FixtureScript::fromJson(kAnswering, error), error);
    std::filesystem::create_directory(folder_ / "dev");
    std::filesystem::create_symlink(fixture_->node(), folder_ / "dev/cu.usbserial-1");
    std::filesystem::create_symlink(folder_ / "nowhere", folder_ / "dev/cu.dead");
    ::setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
    brisvane::testing::writeFile(folder_ / "org.example.conf", "text=a b\nnumber=4\nflag=true\nempty=\n");
    brisvane::testing::writeFile(folder_ / (std::string(program_invocation_short_name) + ".conf"), "text=standard\n");
  }
  std::shared_ptr<const Platform> platform() const override {
    return std::make_shared<const Platform>(real::makePlatform({folder_ / "dev", folder_ / "journal"}));
  }

 private:
  TemporaryFolder folder_;
  std::unique_ptr<simulated::Fixture> fixture_;
};

class SimulatedBench final : public Bench {
 public:
  SimulatedBench() {
    std::string error;
    machine_ = simulated::Machine::fromJson(std::string(R"({
        "devices": [{"name": "cu.usbserial-1", "fixture": )") +
                                                kAnswering + R"(}, {"name": "cu.dead"}],
        "preferences": {
          "standard": {"text": "standard"},
          "suites": {"org.example": {"text": "a b", "number": 4, "flag": true, "empty": ""}}}})",
                                            error);
  }
  std::shared_ptr<const Platform> platform() const override { return machine_->platform(); }

 private:
  std::unique_ptr<simulated::Machine> machine_;
};

using MakeBench = std::unique_ptr<Bench> (*)();

class EveryPlatform : public ::testing::TestWithParam<MakeBench> {
 protected:
  std::unique_ptr<Bench> bench_ = GetParam()();
  std::shared_ptr<const Platform> platform_ = bench_->platform();
};

INSTANTIATE_TEST_SUITE_P(
    , EveryPlatform,
    ::testing::Values(MakeBench([]() -> std::unique_ptr<Bench> { return std::make_unique<RealBench>(); }),
                      MakeBench([]() -> std::unique_ptr<Bench> { return std::make_unique<SimulatedBench>(); })),
    [](const auto& machine) { return machine.index == 0 ? "real" : "simulated"; });

TEST_P(EveryPlatform, ListsItsDevicesAndLeadsToEachThatCanBeOpened) {
  const DeviceNodes& nodes = platform_->deviceNodes();
  EXPECT_THAT(nodes.list(), Optional(UnorderedElementsAre("cu.usbserial-1", "cu.dead")));
  for (int program = 0; program < 3; ++program) {
    const int descriptor = terminal::open(nodes.location("/dev/cu.usbserial-1"));
    ASSERT_GT(descriptor, 2);
    EXPECT_TRUE(terminal::claim(descriptor) && terminal::makeRaw(descriptor, 9600));
    const std::string command = "version\r";
    EXPECT_EQ(terminal::write(descriptor, Data(command.begin(), command.end())), command.size());
    std::string reply;
    Data chunk(64);
    for (int quiet = 0; quiet < 50 && !reply.ends_with('\n');) {
      const auto count = terminal::read(descriptor, chunk);
      ASSERT_TRUE(count);
      if (*count == 0) ++quiet;
      reply.append(chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(*count));
    }
    EXPECT_EQ(reply, "FW 1.20\r\n");
    terminal::close(descriptor);
  }
  for (const char* const absent : {"/dev/cu.dead", "/dev/cu.usbserial-2", "/dev/null", "/dev/tty"}) {
    errno = 0;
    EXPECT_EQ(terminal::open(nodes.location(absent)), -1) << absent;
    EXPECT_EQ(errno, ENOENT) << absent;
  }
  for (const char* const elsewhere : {"", "cu.usbserial-1", "/dev", "/devices/cu.usbserial-1", "/tmp/dev/x"}) {
    EXPECT_EQ(nodes.location(elsewhere), elsewhere);
  }
}

TEST_P(EveryPlatform, KnowsThePreferencesThatAreSetAsTextsAndNoOthers) {
  const Preferences& preferences = platform_->preferences();
  EXPECT_EQ(preferences.value("org.example", "text"), "a b");
  EXPECT_EQ(preferences.value("org.example", "number"), "4");
  EXPECT_EQ(preferences.value("org.example", "flag"), "true");
  EXPECT_EQ(preferences.value("org.example", "empty"), "");
  EXPECT_EQ(preferences.value("", "text"), "standard");
  EXPECT_EQ(preferences.value("org.example", "absent"), std::nullopt);
  EXPECT_EQ(preferences.value("org.example", "Text"), std::nullopt);
  EXPECT_EQ(preferences.value("org.other", "text"), std::nullopt);
  EXPECT_EQ(preferences.value("standard", "text"), std::nullopt);
  EXPECT_EQ(preferences.value("", "number"), std::nullopt);
}

TEST_P(EveryPlatform, HasClocksThatRunWithThoseOfTheMachine) {
  const Clock& clock = platform_->clock();
  const auto wall = std::chrono::system_clock::now();
  const auto steady = std::chrono::steady_clock::now();
  EXPECT_LE(wall, clock.wall());
  EXPECT_LE(steady, clock.steady());
  pause(2ms);
  EXPECT_GE(clock.steady() - steady, 2ms);
  EXPECT_LE(clock.steady(), std::chrono::steady_clock::now());
}

TEST(Platform, AServiceThatWasNotSetOrWasTakenAwayAnswersNothing) {
  Platform platform = real::makePlatform({});
  platform.setSystemLog(nullptr);
  platform.setPreferences(nullptr);
  platform.setDeviceNodes(nullptr);
  platform.setClock(nullptr);
  EXPECT_EQ(platform.deviceNodes().list(), std::nullopt);
  EXPECT_EQ(platform.deviceNodes().location("/dev/null"), "/dev/null");
  EXPECT_EQ(platform.preferences().value("", "key"), std::nullopt);
  platform.systemLog().write({"org.example", "BV"}, LogType::kFault, "%{public}@", "text");
  EXPECT_GT(platform.clock().wall(), Clock::Wall());
}

TEST(ScopedPlatform, PutsAPlatformInForceUntilItEnds) {
  const auto own = platform();
  ASSERT_NE(own, nullptr);
  const auto first = std::make_shared<const Platform>();
  const auto second = std::make_shared<const Platform>();
  {
    const ScopedPlatform outer(first);
    EXPECT_EQ(platform(), first);
    {
      const ScopedPlatform inner(second);
      const ScopedPlatform none(nullptr);
      EXPECT_EQ(platform(), second);
      std::thread([&] { EXPECT_EQ(platform(), second); }).join();
    }
    EXPECT_EQ(platform(), first);
  }
  EXPECT_EQ(platform(), own);
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
  EXPECT_EQ(stopwatch.elapsed(), 0);
  clock.steadyTime += 1500ms;
  clock.wallTime += 1500ms;
  EXPECT_DOUBLE_EQ(stopwatch.elapsed(), 1.5);
  clock.wallTime -= 24h;
  EXPECT_DOUBLE_EQ(stopwatch.elapsed(), 1.5);
  clock.steadyTime += 500ms;
  EXPECT_DOUBLE_EQ(stopwatch.elapsed(), 2);
  clock.wallTime += 48h;
  EXPECT_GT(stopwatch.elapsed(), 3600);
  stopwatch.restart();
  EXPECT_EQ(stopwatch.elapsed(), 0);
}

}  // namespace
}  // namespace brisvane::host
