#include "brisvane/host/files/files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <functional>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace brisvane::host {
namespace {

int numberOf(const Result<>& result) { return result.ok() ? 0 : result.error().number(); }

namespace fs = std::filesystem;
using brisvane::testing::contentOf;
using brisvane::testing::namesIn;
using brisvane::testing::TemporaryFolder;
using brisvane::testing::writeFile;
using ::testing::UnorderedElementsAre;

// Runs in a child process; the child's exit status is what `work` gives.
pid_t inChild(const std::function<int()>& work) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(work());
  return child;
}

int statusOf(pid_t child) {
  int status = -1;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(AppendToFile, MakesAFileUnderTheUmaskAndThenAddsToIt) {
  const TemporaryFolder folder;
  const std::string longest(255, 'n');  // no name could be longer
  const mode_t before = ::umask(0027);
  EXPECT_TRUE(appendToFile(folder / longest, "one\n").ok());
  ::umask(0);
  EXPECT_TRUE(appendToFile(folder / "open", "").ok());
  EXPECT_TRUE(appendToFile(folder / longest, "two\n").ok());
  ::umask(before);
  EXPECT_EQ(fs::status(folder / longest).permissions(), fs::perms(0640));
  EXPECT_EQ(fs::status(folder / "open").permissions(), fs::perms(0666));
  fs::create_symlink(longest, folder / "link");
  EXPECT_TRUE(appendToFile(folder / "link", "three\n").ok());
  EXPECT_EQ(contentOf(folder / longest), "one\ntwo\nthree\n");
  EXPECT_THAT(namesIn(folder.path()), UnorderedElementsAre("link", longest, "open"));
}

TEST(AppendToFile, ReportsWhatItCannotWriteToAndLeavesEverythingAsItWas) {
  const TemporaryFolder folder;
  EXPECT_EQ(numberOf(appendToFile(folder / "missing/file", "x")), ENOENT);
  EXPECT_EQ(numberOf(appendToFile("", "x")), ENOENT);
  EXPECT_EQ(numberOf(appendToFile(folder / std::string("cut\0off", 7), "x")), ENOENT);
  EXPECT_EQ(numberOf(appendToFile(folder.path(), "x")), EISDIR);
  EXPECT_EQ(numberOf(appendToFile("/dev/full", "x")), ENOSPC);
  fs::create_symlink("nowhere", folder / "dangling");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(numberOf(appendToFile(folder / "pipe", "x")), ENXIO);  // nobody reads: no wait
  EXPECT_EQ(numberOf(appendToFile(folder / "dangling", "x")), ENOENT);

  writeFile(folder / "theirs", "theirs");
  fs::permissions(folder / "theirs", fs::perms::owner_read);
  fs::permissions(folder.path(), fs::perms::all);  // where it could be replaced
  const int error = statusOf(inChild([&] {
    constexpr uid_t kNobody = 65534;  // the superuser may open anything
    if (::geteuid() == 0 && ::setuid(kNobody) != 0) return 0;
    return numberOf(appendToFile(folder / "theirs", "x"));
  }));
  EXPECT_EQ(error, EACCES);
  EXPECT_EQ(contentOf(folder / "theirs"), "theirs");
  EXPECT_THAT(namesIn(folder.path()), UnorderedElementsAre("dangling", "pipe", "theirs"));
}

constexpr std::size_t kProcesses = 2;
constexpr std::size_t kThreads = 8;
constexpr std::size_t kLines = 500;

// The exit status tells whether some line could not be written. A thread more, if told
// to, moves the file away as often as it can.
pid_t writeLines(const std::string& path, int process, bool moves) {
  return inChild([&] {
    std::atomic<int> failed = 0;
    std::vector<std::jthread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
        for (std::size_t line = 0; line < kLines; ++line) {
          std::ostringstream text;
          text << process << ' ' << thread << ' ' << line << ' ' << std::string(60 * thread, 'x')
               << ".\n";
          if (!appendToFile(path, text.str()).ok()) failed = 1;
        }
      });
    }
    const std::jthread mover([&](const std::stop_token& end) {
      const std::string away = path + std::to_string(process) + ".";
      for (int moved = 0; moves && !end.stop_requested();) {
        if (::rename(path.c_str(), (away + std::to_string(moved)).c_str()) == 0) ++moved;
      }
    });
    threads.clear();
    return failed.load();
  });
}

TEST(AppendToFile, LinesOfManyThreadsAndProcessesAreNeitherLostNorTornEvenAsTheFileIsMovedAway) {
  for (const bool moves : {false, true}) {
    const TemporaryFolder folder;
    const pid_t first = writeLines(folder / "log", 1, moves);
    const pid_t second = writeLines(folder / "log", 2, moves);
    EXPECT_EQ(statusOf(first), 0);
    EXPECT_EQ(statusOf(second), 0);
    std::map<std::string, int> lines;
    for (const std::string& name : namesIn(folder.path())) {
      EXPECT_TRUE(name.starts_with("log")) << name;
      std::istringstream content(contentOf(folder / name));
      for (std::string line; std::getline(content, line);) ++lines[line];
    }
    EXPECT_EQ(lines.size(), kProcesses * kThreads * kLines);
    for (const auto& [line, count] : lines)
      EXPECT_TRUE(count == 1 && line.find('.') == line.size() - 1) << line;
  }
}

// As a file server takes one: who opens the file waits until it is given up.
TEST(AppendToFile, WaitsForALeaseThatAnotherHasOnTheFile) {
  const TemporaryFolder folder;
  const std::string path = folder / "log";
  writeFile(path, "one\n");
  const int holder = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(::fcntl(holder, F_SETSIG, SIGURG), 0);  // which is ignored, unlike SIGIO
  if (::fcntl(holder, F_SETLEASE, F_RDLCK) != 0) GTEST_SKIP() << "no leases here";
  {
    const std::jthread server([holder] {
      while (::fcntl(holder, F_GETLEASE) == F_RDLCK)
        std::this_thread::yield();  // until another waits for it
      ::fcntl(holder, F_SETLEASE, F_UNLCK);
    });
    EXPECT_TRUE(appendToFile(path, "two\n").ok());
  }
  ::close(holder);
  EXPECT_EQ(contentOf(path), "one\ntwo\n");
}

TEST(OverwriteFile, WithoutRoomLeavesTheFileAsItWas) {
  if (!std::filesystem::exists("/dev/shm"))
    GTEST_SKIP() << "no file system that surely tells beforehand";
  const TemporaryFolder folder("/dev/shm");
  const std::string path = folder / "file";
  writeFile(path, "before");
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit usual{};
  ::getrlimit(RLIMIT_FSIZE, &usual);
  const rlimit small{10, usual.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &small);
  const int error = numberOf(overwriteFile(path, std::string(20, 'x')));
  ::setrlimit(RLIMIT_FSIZE, &usual);
  EXPECT_EQ(error, EFBIG);
  EXPECT_EQ(contentOf(path), "before");
}

TEST(ReadFile, GivesAWholeFileUpToTheLimitOrSaysWhyNot) {
  const TemporaryFolder folder;
  const std::string content(10'000, '\0');
  writeFile(folder / "file", content);
  EXPECT_EQ(readFile(folder / "file", content.size()).optional(), content);
  EXPECT_TRUE(readFile("/proc/self/status", 100'000).optional().value_or("").starts_with("Name:"));
  const auto failure = [](const std::string& path, std::size_t limit) {
    const auto read = readFile(path, limit);
    if (read.ok()) return 0;
    EXPECT_EQ(read.error().text(), errorText(path, read.error().number()));
    return read.error().number();
  };
  EXPECT_EQ(failure(folder / "file", content.size() - 1), EFBIG);
  EXPECT_EQ(failure("/dev/zero", 100), EFBIG);
  EXPECT_EQ(failure(folder / std::string("file\0", 5), content.size()), ENOENT);
  EXPECT_EQ(failure(folder.path(), 100), EISDIR);
}

}  // namespace
}  // namespace brisvane::host
