// One log file of many processes and threads, while it is backed up and while writers are killed.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "brisvane/host/platform.h"
#include "brisvane/logging/BVLog.h"
#include "tests/support/temporary_folder.h"

namespace brisvane {
namespace {

using testing::TemporaryFolder;

constexpr int kProcesses = 4;
constexpr int kThreads = 4;

std::string filling(int line) { return std::string(static_cast<std::size_t>(line % 90), '.'); }

// How many lines of each writer have been logged: what a process that is killed leaves to the test.
struct Progress {
  std::array<std::array<std::atomic<int>, kThreads>, kProcesses> logged{};
  std::atomic<bool> isOver{false};
};

class LogCrowd : public ::testing::Test {
 protected:
  LogCrowd() {
    void* const shared = ::mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    progress = new (shared) Progress;
  }
  ~LogCrowd() override { ::munmap(progress, sizeof(Progress)); }

  // A process whose threads log up to so many lines each.
  pid_t startWriters(int process, int lines) {
    const pid_t child = ::fork();
    if (child != 0) return child;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
        auto& logged = progress->logged.at(static_cast<std::size_t>(process))
                           .at(static_cast<std::size_t>(thread));
        for (int line = 0; line < lines && !progress->isOver; ++line) {
          log.info(std::to_string(process) + " " + std::to_string(thread) + " " +
                   std::to_string(line) + " " + filling(line) + "end");
          logged = line + 1;
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    ::_exit(0);
  }

  // Reads each line of each file, and counts those that are not whole.
  void readAll() {
    for (const std::string& each : {here.path(), there.path()}) {
      for (const std::string& name : testing::namesIn(each)) {
        std::ifstream content(each + "/" + name);
        for (std::string text; std::getline(content, text);) read(text, name);
      }
    }
  }

  void read(const std::string& text, const std::string& name) {
    int process = 0;
    int thread = 0;
    int line = 0;
    const int fields =
        std::sscanf(text.c_str(), "%*d-%*d-%*d %*d:%*d:%*d %d %d %d ", &process, &thread, &line);
    if (fields != 3 || !text.ends_with(" " + std::to_string(line) + " " + filling(line) + "end ")) {
      ++torn;
      tornLines += name + ": " + text + "\n";
      return;
    }
    EXPECT_TRUE(seen.insert({process, thread, line}).second) << "doubled: " << text;
  }

  // The lines that were logged and are nowhere.
  int lost() {
    int count = 0;
    for (int process = 0; process < kProcesses; ++process) {
      for (int thread = 0; thread < kThreads; ++thread) {
        const int logged = progress->logged.at(static_cast<std::size_t>(process))
                               .at(static_cast<std::size_t>(thread));
        for (int line = 0; line < logged; ++line)
          count += seen.contains({process, thread, line}) ? 0 : 1;
      }
    }
    return count;
  }

  // The journal is another's business: a channel that goes nowhere.
  host::ScopedPlatform installed{std::make_shared<host::Platform>()};
  TemporaryFolder here;
  TemporaryFolder there{
      std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path()};
  BVLog log{SystemLogHandle::waylineLog(), here / "run.log", 0};
  Progress* progress;
  std::set<std::array<int, 3>> seen;
  int torn = 0;
  std::string tornLines;
};

TEST_F(LogCrowd, LosesTearsAndDoublesNothingWhileItIsBackedUpAcrossFileSystemsToo) {
  constexpr int kLines = 2000;
  std::vector<pid_t> writers;
  for (int process = 0; process < kProcesses; ++process)
    writers.push_back(startWriters(process, kLines));
  std::atomic<bool> areDone{false};
  std::thread backups([&] {
    for (int i = 0; !areDone; ++i) {
      const TemporaryFolder& folder = i % 2 == 0 ? here : there;
      log.backupLogFileTo(folder / ("backup" + std::to_string(i)));
      ::usleep(5000);
    }
  });
  for (const pid_t writer : writers) {
    int status = -1;
    ::waitpid(writer, &status, 0);
    EXPECT_EQ(status, 0);
  }
  areDone = true;
  backups.join();
  readAll();
  EXPECT_EQ(torn, 0) << tornLines;
  EXPECT_EQ(lost(), 0);
  EXPECT_EQ(seen.size(), std::size_t{kProcesses} * kThreads * kLines);
  EXPECT_GT(testing::namesIn(there.path()).size(), 0U) << "no backup has succeeded";
}

TEST_F(LogCrowd, KillingLeavesAtMostOneUnfinishedLineAWriter) {
  std::array<pid_t, kProcesses> writers{};
  for (int process = 0; process < kProcesses; ++process)
    writers.at(static_cast<std::size_t>(process)) = startWriters(process, 1'000'000);
  for (int process = 0; process < kProcesses; ++process) {
    const auto& logged = progress->logged.at(static_cast<std::size_t>(process));
    while (logged[0] < 300 + 97 * process) ::usleep(100);
    ::kill(writers.at(static_cast<std::size_t>(process)), SIGKILL);
  }
  for (const pid_t writer : writers) ::waitpid(writer, nullptr, 0);
  log.info("last");
  readAll();
  // The last line is none of theirs, and may follow on what a killed writer has begun.
  EXPECT_LE(torn, kProcesses * kThreads + 1) << tornLines;
  EXPECT_EQ(lost(), 0) << "a line that was logged is in the file";
}

}  // namespace
}  // namespace brisvane
