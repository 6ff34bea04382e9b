// Log files that are moved aside, and the moving of files below it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <map>
#include <sstream>
#include <thread>

#include "brisvane/host/files/files.h"
#include "brisvane/host/files/move_file.h"
#include "brisvane/logging/BVLog.h"
#include "tests/support/simulated_test.h"

namespace {

// What each sync does before the kernel does it, and whether it fails instead, by its number: 1 for
// the first.
std::function<bool(int)> syncFails;
int syncs = 0;

}  // namespace

// In place of the C library's.
extern "C" int fsync(int descriptor) {
  if (!syncFails || !syncFails(++syncs)) return static_cast<int>(::syscall(SYS_fsync, descriptor));
  errno = EIO;
  return -1;
}

namespace brisvane {
namespace {

int errorOfMove(const std::string& from, const std::string& to) {
  const host::MoveOutcome outcome = host::moveFile(from, to);
  return outcome.result.ok() ? 0 : outcome.result.error().number();
}

namespace fs = std::filesystem;
using testing::contentOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::namesIn;
using testing::SimulatedTest;
using testing::TemporaryFolder;
using ::testing::UnorderedElementsAre;
using testing::writeFile;

// A folder on another file system than that for temporary files.
class OtherFileSystem : public TemporaryFolder {
 public:
  OtherFileSystem()
      : TemporaryFolder(fs::exists("/dev/shm") ? "/dev/shm" : fs::temp_directory_path()) {}

  [[nodiscard]] bool isAnother(const std::string& than) const {
    struct stat here {};
    struct stat there {};
    return ::stat(path().c_str(), &here) == 0 && ::stat(than.c_str(), &there) == 0 &&
           here.st_dev != there.st_dev;
  }
};

class BackupTest : public SimulatedTest {
 protected:
  BackupTest() {
    ::setenv("TZ", "XYZ-2", 1);
    clock->stopAt(host::Clock::Wall(std::chrono::seconds(1709622423)));  // 9:07:03 there
  }

  const std::string path = folder / "run.log";
  BVLog log{SystemLogHandle::waylineLog(), path, 0};
};

TEST_F(BackupTest, PutsTheMomentAheadOfTheExtensionOfTheNameAlone) {
  const std::pair<const char*, const char*> names[] = {
      {"run.log", "run_2024-03-05_9:7:3.log"}, {"a.tar.gz", "a.tar_2024-03-05_9:7:3.gz"},
      {"runlog", "runlog_2024-03-05_9:7:3"},   {".log", "_2024-03-05_9:7:3.log"},
      {"run.", "run_2024-03-05_9:7:3."},       {"dotted.d/run", "dotted.d/run_2024-03-05_9:7:3"},
      {"a b.l g", "a b_2024-03-05_9:7:3.l g"}};
  for (const auto& [name, backup] : names) {
    writeFile(folder / name, name);
    BVLog(SystemLogHandle::waylineLog(), folder / name, 0).backupLogFileTo(nullptr);
    EXPECT_EQ(contentOf(folder / backup), name);
    EXPECT_FALSE(fs::exists(folder / name)) << name;
  }
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(BackupTest, NextLineBeginsANewFileAndASecondBackupInTheSameSecondFails) {
  log.info("one");
  log.backupLogFileTo(nullptr);
  log.info("two");
  EXPECT_EQ(log.logFilePath(), path);
  const std::string backup = folder / "run_2024-03-05_9:7:3.log";
  EXPECT_EQ(contentOf(backup), "2024-03-05 9:7:3 one \n");
  log.backupLogFileTo(nullptr);
  EXPECT_EQ(contentOf(backup), "2024-03-05 9:7:3 one \n");
  EXPECT_EQ(contentOf(path), "2024-03-05 9:7:3 two \n");
  EXPECT_EQ(BVLog::aggregatedErrorDescription(),
            "Failed to backup log: " + path + " to " + backup + ": File exists\n");
}

TEST_F(BackupTest, GoesToAnExplicitDestinationAndReportsToTheDefaultLogger) {
  log.info("one");
  log.backupLogFileTo("");
  EXPECT_EQ(BVLog::aggregatedErrorDescription(),
            "Failed to backup log: " + path + " to an empty path: No such file or directory\n");
  EXPECT_TRUE(fs::exists(path));
  log.backupLogFileTo(folder / "elsewhere");
  EXPECT_EQ(contentOf(folder / "elsewhere"), "2024-03-05 9:7:3 one \n");
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("elsewhere"));

  // No file yet, by a logger that is the default one: its report makes the file.
  BVLog::configureDefault(SystemLogHandle::waylineLog(), path, 0);
  BVLog::Default::backupLogFileTo(folder / "elsewhere");
  EXPECT_EQ(contentOf(path), "2024-03-05 9:7:3 ERROR Failed to backup log: " + path + " to " +
                                 (folder / "elsewhere") + ": No such file or directory \n");
  BVLog::Default::backupLogFileTo(folder / "again");
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(BackupTest, WithoutALogPathDoesNothing) {
  for (const Text none : {Text(), Text("")})
    BVLog(SystemLogHandle::waylineLog(), none, 0).backupLogFileTo("x");
  BVLog::Default::backupLogFileTo(nullptr);
  EXPECT_THAT(logged(), IsEmpty());
}

TEST(MoveFile, NeverReplacesAndMovesRegularFilesAlone) {
  const TemporaryFolder folder;
  writeFile(folder / "from", "from");
  writeFile(folder / "to", "to");
  fs::create_directory(folder / "sub");
  fs::create_symlink("nowhere", folder / "dangling");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  const auto move = [&](const std::string& from, const std::string& to) {
    return errorOfMove(folder / from, folder / to);
  };
  for (const char* const taken : {"to", "sub", "dangling", "from"})
    EXPECT_EQ(move("from", taken), EEXIST) << taken;
  EXPECT_EQ(move("from", "missing/to"), ENOENT);
  EXPECT_EQ(move("missing", "new"), ENOENT);
  EXPECT_EQ(move("sub", "new"), EISDIR);
  EXPECT_EQ(move("pipe", "new"), EINVAL);
  EXPECT_EQ(move("dangling", "new"), ENOENT);
  EXPECT_EQ(errorOfMove("/dev/null", folder / "new"), EINVAL);
  EXPECT_EQ(contentOf(folder / "from") + contentOf(folder / "to"), "fromto");
  fs::create_symlink("from", folder / "link");
  EXPECT_EQ(move("link", "moved link"), 0);
  EXPECT_EQ(fs::read_symlink(folder / "moved link"), "from");
}

TEST(MoveFile, AcrossFileSystemsKeepsContentAndModeAndLeavesNothingHalfMade) {
  const TemporaryFolder folder;
  const OtherFileSystem other;
  if (!other.isAnother(folder.path())) GTEST_SKIP() << "there is one file system alone";
  std::string content;
  for (int i = 0; i < 100'000; ++i) content += std::to_string(i);
  writeFile(folder / "from", content);
  fs::permissions(folder / "from", fs::perms(0640));
  EXPECT_EQ(errorOfMove(folder / "from", other / "missing/to"), ENOENT);
  writeFile(other / "taken", "taken");
  EXPECT_EQ(errorOfMove(folder / "from", other / "taken"), EEXIST);
  EXPECT_EQ(errorOfMove(folder / "missing", other / "to"), ENOENT);

  // A program that has it open for writing could still write to it.
  const int writer = ::open((folder / "from").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  const int reader = ::open((folder / "from").c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(errorOfMove(folder / "from", other / "to"), EBUSY);
  ::close(writer);
  EXPECT_EQ(contentOf(folder / "from"), content);
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("from"));
  EXPECT_THAT(namesIn(other.path()), ElementsAre("taken"));

  EXPECT_EQ(errorOfMove(folder / "from", other / "to"), 0);
  ::close(reader);
  EXPECT_TRUE(contentOf(other / "to") == content);
  EXPECT_EQ(fs::status(other / "to").permissions(), fs::perms(0640));
  EXPECT_THAT(namesIn(folder.path()), IsEmpty());
  EXPECT_THAT(namesIn(other.path()), UnorderedElementsAre("taken", "to"));
}

TEST(MoveFile, AFailureAcrossFileSystemsPutsTheFileItselfBackWithTheLinesThatCameMeanwhile) {
  const TemporaryFolder folder;
  const OtherFileSystem other;
  if (!other.isAnother(folder.path())) GTEST_SKIP() << "there is one file system alone";
  const std::string log = folder / "log";
  writeFile(log, "before\n");
  const int holder = ::open(log.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  {
    const std::jthread writer([&] {
      while (fs::exists(log)) std::this_thread::yield();  // until it has been moved aside
      EXPECT_TRUE(host::appendToFile(log, "meanwhile\n").ok());
    });
    const host::MoveOutcome outcome = host::moveFile(log, other / "to");
    EXPECT_EQ(outcome.result.ok() ? "" : outcome.result.error().text(),
              errorText(log + " to " + other / "to", EBUSY));
    EXPECT_THAT(outcome.remains, IsEmpty());
    EXPECT_FALSE(outcome.hasLostLines);
  }
  EXPECT_EQ(::write(holder, "after\n", 6), 6);
  ::close(holder);
  EXPECT_EQ(contentOf(log), "before\nmeanwhile\nafter\n");
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("log"));

  // Whose copy finds no room.
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{10, before.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &small);
  const int error = errorOfMove(log, other / "to");
  ::setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(error, EFBIG);
  EXPECT_EQ(contentOf(log), "before\nmeanwhile\nafter\n");
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("log"));
  EXPECT_THAT(namesIn(other.path()), IsEmpty());
}

TEST_F(BackupTest, WhatCannotBePutBackStaysWholeWhereTheReportSays) {
  const OtherFileSystem other;
  if (!other.isAnother(folder.path())) GTEST_SKIP() << "there is one file system alone";
  writeFile(path, "whole\n");
  const int holder = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  {
    const std::jthread intruder([&] {
      while (fs::exists(path)) std::this_thread::yield();  // until it has been moved aside
      fs::create_directory(path);
      writeFile(path + "/file", "no log");
    });
    log.backupLogFileTo(other / "to");
  }
  ::close(holder);
  const std::string report = BVLog::aggregatedErrorDescription();
  const std::string words = ": Device or resource busy; it is left at ";
  ASSERT_THAT(report, ::testing::HasSubstr(words));
  const std::string left = report.substr(report.find(words) + words.size());
  EXPECT_EQ(contentOf(left.substr(0, left.find('\n'))), "whole\n") << left;
  EXPECT_THAT(namesIn(other.path()), IsEmpty());
}

// A line of a program that opened the log when its lines had been copied and it had not yet been
// removed.
TEST_F(BackupTest, FailureAfterTheMoveToAnotherFileSystemIsReportedWithWhatStandsWhere) {
  constexpr int kOfCopy = 1;  // the syncs
  constexpr int kOfFolder = 2;
  constexpr int kLast = 3;
  rlimit usual{};
  ::getrlimit(RLIMIT_FSIZE, &usual);
  ::signal(SIGXFSZ, SIG_IGN);
  const auto backUp = [&](const OtherFileSystem& other, rlim_t size, int failing) {
    fs::remove(path);
    writeFile(path, "before\n");
    BVLog::initAggregatedError("");
    syncs = 0;
    syncFails = [&, size, failing](int sync) {
      if (sync == kOfCopy) {
        EXPECT_TRUE(host::appendToFile(folder / namesIn(folder.path()).at(0), "late\n").ok());
        const rlimit small{size, usual.rlim_max};  // for the files that are written from now on
        ::setrlimit(RLIMIT_FSIZE, &small);
      }
      return sync == failing;
    };
    log.backupLogFileTo(other / "to");
    ::setrlimit(RLIMIT_FSIZE, &usual);
    syncFails = nullptr;
    const std::string start = "Failed to backup log: " + path + " to " + (other / "to") + ": ";
    const std::string report = BVLog::aggregatedErrorDescription();
    return report.starts_with(start) ? report.substr(start.size()) : report;
  };
  {
    const OtherFileSystem other;
    if (!other.isAnother(folder.path())) GTEST_SKIP() << "there is one file system alone";
    EXPECT_EQ(backUp(other, usual.rlim_cur, 0), "");
    EXPECT_EQ(contentOf(other / "to"), "before\nlate\n");
    EXPECT_THAT(namesIn(folder.path()), IsEmpty());
  }
  {
    const OtherFileSystem other;
    EXPECT_EQ(backUp(other, 9, 0),
              "File too large; it is left at " + (other / "to") + " and " + path + "\n");
    EXPECT_EQ(contentOf(other / "to"), "before\n");
    EXPECT_EQ(contentOf(path), "late\n");
  }
  {
    const OtherFileSystem other;
    EXPECT_EQ(backUp(other, 3, 0), "File too large; it is left at " + (other / "to") +
                                       "; lines that were written meanwhile are lost\n");
    EXPECT_EQ(contentOf(other / "to"), "before\n");
    EXPECT_THAT(namesIn(folder.path()), IsEmpty());
  }
  {
    const OtherFileSystem other;
    EXPECT_EQ(backUp(other, usual.rlim_cur, kLast),
              "Input/output error; it is left at " + (other / "to") + "\n");
    EXPECT_EQ(contentOf(other / "to"), "before\nlate\n");
  }
  for (const int failing : {kOfCopy, kOfFolder}) {
    const OtherFileSystem other;
    EXPECT_EQ(backUp(other, usual.rlim_cur, failing), "Input/output error\n");
    EXPECT_EQ(contentOf(path), "before\nlate\n");
    EXPECT_THAT(namesIn(other.path()), IsEmpty());
  }
}

TEST(MoveFile, AcrossFileSystemsLosesNoLineThatIsWrittenMeanwhile) {
  constexpr int kThreads = 6;
  constexpr int kMoves = 50;
  constexpr std::chrono::seconds kLongest{30};
  const TemporaryFolder folder;
  const OtherFileSystem other;
  if (!other.isAnother(folder.path())) GTEST_SKIP() << "there is one file system alone";
  std::atomic<std::size_t> unwritten = 0;
  std::atomic<int> moves = 0;
  std::atomic<std::size_t> written = 0;
  const auto start = std::chrono::steady_clock::now();
  {
    const std::jthread mover([&](const std::stop_token& end) {
      while (!end.stop_requested()) {
        if (host::moveFile(folder / "log", other / std::to_string(moves)).result.ok()) ++moves;
      }
    });
    std::vector<std::jthread> writers;
    for (int thread = 0; thread < kThreads; ++thread) {
      writers.emplace_back([&, thread] {
        for (int line = 0; moves < kMoves && std::chrono::steady_clock::now() - start < kLongest;
             ++line) {
          const std::string text = std::to_string(thread) + " " + std::to_string(line) + "\n";
          ++(host::appendToFile(folder / "log", text).ok() ? written : unwritten);
        }
      });
    }
  }
  std::map<std::string, int> lines;
  for (const std::string& root : {folder.path(), other.path()}) {
    for (const std::string& name : namesIn(root)) {
      EXPECT_FALSE(name.starts_with(".bv")) << name;
      std::istringstream content(contentOf(root + "/" + name));
      for (std::string line; std::getline(content, line);) ++lines[line];
    }
  }
  EXPECT_EQ(unwritten, 0U);
  EXPECT_GE(moves, kMoves);
  EXPECT_EQ(lines.size(), written);
  for (const auto& [line, count] : lines) EXPECT_EQ(count, 1) << line;
}

}  // namespace
}  // namespace brisvane
