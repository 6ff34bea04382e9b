// Threads and forked children at once on what a tool shares: the loggers, a port, programs, and the
// first use of everything.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "brisvane/all.h"
#include "brisvane/host/launching/application_launcher.h"
#include "tests/support/leftovers.h"
#include "tests/support/open_port.h"
#include "tests/support/own_process.h"

namespace brisvane {
namespace {

using namespace std::chrono_literals;
using testing::OpenPortTest;

// Runs all of them at once, `rounds` times each.
void atOnce(const std::vector<std::function<void(int round)>>& bodies, int rounds) {
  std::barrier start(static_cast<std::ptrdiff_t>(bodies.size()));
  std::vector<std::jthread> threads;
  for (const auto& body : bodies) {
    threads.emplace_back([&start, &body, rounds] {
      start.arrive_and_wait();
      for (int round = 0; round < rounds; ++round) body(round);
    });
  }
}

class ThreadsAndLoggers : public testing::SimulatedTest {
 protected:
  std::size_t linesWith(const std::string& text) {
    std::size_t count = 0;
    for (const std::string& name : testing::namesIn(folder.path())) {
      const std::string content = testing::contentOf(folder / name);
      for (auto at = content.find(text); at != std::string::npos; at = content.find(text, at + 1))
        ++count;
    }
    return count;
  }
};

TEST_F(ThreadsAndLoggers, KeepEveryLineWhateverElseIsDoneToThem) {
  constexpr int kRounds = 180;
  const auto one = std::make_shared<BVLog>(SystemLogHandle::waylineLog(), folder / "one", 0);
  const auto other = std::make_shared<BVLog>(SystemLogHandle::waylineLog(), folder / "other", 0);
  BVLog::setDefault(one);
  const auto write = [](int) { BVLog::Default::error("written"); };
  atOnce(
      {write, write, write, write,
       [&](int round) {
         one->setLogFilePath(folder / std::to_string(round % 3));
         one->setVerbosityLevel(round);
         BVLog::initAggregatedError(BVLog::aggregatedErrorDescription());
       },
       [&](int round) { BVLog::setDefault(round % 2 == 0 ? other : one); },
       [&](int round) { one->backupLogFileTo(folder / ("backup" + std::to_string(round))); },
       [&](int round) {
         if (round % 6 != 0) return;
         const pid_t child = ::fork();
         if (child == 0) {
           ::alarm(20);
           host::ScopedPlatform quiet(std::make_shared<host::Platform>());  // whose log has no lock
           BVLog::Default::fault("of a child");
           ::_exit(0);
         }
         int status = -1;
         ::waitpid(child, &status, 0);
         EXPECT_EQ(status, 0) << "it hung";
       }},
      kRounds);
  EXPECT_EQ(linesWith(" ERROR written \n"), 4U * kRounds);
  EXPECT_EQ(linesWith(" FAULT of a child \n"), kRounds / 6U);
}

class ThreadsAndPort : public OpenPortTest {
 protected:
  ThreadsAndPort()
      : OpenPortTest(R"({"commands": [{"command": "version", "replies": ["FW 1.20\r\n"]}],
                         "unknown": ["ERR\r\n"]})") {}

  // The operations that may run at the same time on one port.
  std::vector<std::function<void()>> operations{
      [this] { static_cast<void>(port.readSerialWithTimeout(5)); },
      [this] {
        std::uint8_t byte = 0;
        static_cast<void>(port.receiveByte(byte, 5));
      },
      [this] { static_cast<void>(port.sendLargeData("version\n")); },
      [this] {
        Data reply;
        static_cast<void>(port.sendDataCommand("version\n", reply, 3, 50ms));
      },
      [this] {
        std::string reply;
        static_cast<void>(port.sendStringCommand("version\n", reply, 20ms));
      },
      [this] {
        std::string reply;
        static_cast<void>(port.sendStringCommand("version", reply, "FW .*\r\n", 50ms));
      },
      [this] { port.clearReadBuffer(); },
      [this] {
        port.setBusyState(port.busyState() + "x");
        port.setSerialReadBuffer(port.serialReadBuffer());
        static_cast<void>(port.isPortOpen());
      }};

  // Four threads, each through all the operations from another one on; `meanwhile` beside them.
  void inEveryMix(const std::function<void(int)>& meanwhile, int rounds) {
    std::vector<std::function<void(int)>> bodies{meanwhile};
    for (std::size_t thread = 0; thread < 4; ++thread) {
      bodies.emplace_back([this, thread](int round) {
        const std::size_t step = 2 * thread + 1;  // odd: each comes to all
        operations.at((thread + step * static_cast<std::size_t>(round)) % operations.size())();
      });
    }
    atOnce(bodies, rounds);
  }
};

TEST_F(ThreadsAndPort, LeaveItAtRestWhenThePlugIsPulled) {
  inEveryMix(
      [this](int round) {
        if (round == 8) hangUp();
        ::usleep(10'000);
      },
      16);
  EXPECT_TRUE(isAtRest());
  EXPECT_FALSE(port.sendLargeData("version\n"));
}

TEST_F(ThreadsAndPort, LeaveItUsableWhenItIsClosedAndOpenedMeanwhile) {
  inEveryMix(
      [this](int) {
        port.closePort();
        EXPECT_NE(port.openPort(115200), -1);
        ::usleep(10'000);
      },
      16);
  EXPECT_TRUE(isAtRest());
  port.drainPort();
  std::string reply;
  ASSERT_TRUE(port.sendStringCommand("\nversion", reply, "FW .*\r\n", 20s));
  EXPECT_EQ(reply, "FW 1.20\r\n");
}

class ThreadsAndPrograms : public ::testing::Test {
 protected:
  ThreadsAndPrograms() {
    auto platform = std::make_shared<host::Platform>();
    platform->setLaunchService(std::make_shared<host::real::ApplicationLauncher>());
    installed = std::make_unique<host::ScopedPlatform>(platform);
  }
  std::unique_ptr<host::ScopedPlatform> installed;
};

TEST_F(ThreadsAndPrograms, RunManyAtOnceAndLeaveNothing) {
  const testing::Leftovers before;
  const auto command = [](int round) {
    std::optional<std::string> output;
    EXPECT_TRUE(
        Brisvane::runCommandWithLaunchPath("/bin/echo", {std::to_string(round)}, "/", output));
    EXPECT_EQ(output, std::to_string(round) + "\n");
  };
  const auto launch = [](int) {
    EXPECT_EQ(BVProcess::runApp("/bin/true", {}, "true", 60s), BVProcess::kRunAppUp);
  };
  atOnce({command, command, command, command, launch, launch, launch, launch}, 8);
  before.expectNone();
}

TEST_F(ThreadsAndPrograms, AChildForkedMeanwhileCanLogAndRunACommand) {
  const testing::TemporaryFolder folder;
  BVLog log(SystemLogHandle::waylineLog(), folder / "log", 0);
  std::atomic<bool> isOver{false};
  std::vector<std::jthread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      std::optional<std::string> output;
      while (!isOver) {
        for (int line = 0; line < 50; ++line) log.error("parent");
        static_cast<void>(Brisvane::runCommandWithLaunchPath("/bin/true", {}, "/", output));
      }
    });
  }
  for (int i = 0; i < 100; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(20);
      log.error("child");
      std::optional<std::string> output;
      const bool isRun = Brisvane::runCommandWithLaunchPath("/bin/echo", {"x"}, "/", output);
      ::_exit(isRun && output == "x\n" ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  isOver = true;
}

TEST(Threads, MayAllBeginWithDifferentThingsAtOnce) {
  testing::inProcessOfItsOwn([] {
    atOnce({[](int) { BVLog::Default::debug("first"); },
            [](int) { BVLog::initAggregatedError(BVLog::aggregatedErrorDescription()); },
            [](int) { EXPECT_TRUE(SecurityAdditions::sha1Hash("abc")); },
            [](int) {
              EXPECT_TRUE(SecurityAdditions::dataEncryptedUsingAlgorithm("abc", 0, "key", "", 1));
            },
            [](int) { static_cast<void>(BVSystemInfo::shared().modelID()); },
            [](int) { static_cast<void>(BVNvram::systemGUID_stringFromVariable("none")); },
            [](int) { static_cast<void>(Brisvane::findEthernetInterfaces()); },
            [](int) { static_cast<void>(BVSerialPort::createPortWithSerial("none")); },
            [](int) { EXPECT_EQ(BVProcess::runApp("/bin/true", {}, "true", 60s), 0); },
            [](int) { static_cast<void>(PreferencesStore::standard().integer("none")); }},
           2);
  });
}

}  // namespace
}  // namespace brisvane
