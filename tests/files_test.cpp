#include "brisvane/host/files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
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

namespace fs = std::filesystem;
using brisvane::testing::contentOf;
using brisvane::testing::TemporaryFolder;
using brisvane::testing::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

mode_t modeOf(const std::string& path) {
  struct stat status {};
  ::stat(path.c_str(), &status);
  return status.st_mode & 07777U;
}

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

constexpr int kProcesses = 2;
constexpr int kThreads = 8;
constexpr int kLines = 500;

// Writers of both processes begin on a file that does not exist yet. The number of
// the lines whose writing failed.
int writeLines(const std::string& path, int process) {
  std::atomic<int> failures = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      const std::string tail(static_cast<std::size_t>(20 + 60 * thread), 'x');
      for (int line = 0; line < kLines; ++line) {
        std::ostringstream text;
        text << process << ' ' << thread << ' ' << line << ' ' << tail << '\n';
        if (appendToFile(path, text.str())) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  return std::min(failures.load(), 100);
}

// Every line once, whole, in the order in which its writer wrote it.
void expectAllLines(const std::string& content) {
  std::map<std::pair<int, int>, std::vector<int>> written;
  std::istringstream lines(content);
  std::string line;
  while (std::getline(lines, line)) {
    int process = -1, thread = -1, number = -1;
    std::string tail;
    std::istringstream(line) >> process >> thread >> number >> tail;
    ASSERT_EQ(tail, std::string(static_cast<std::size_t>(20 + 60 * thread), 'x')) << line;
    std::vector<int>& numbers = written[{process, thread}];
    ASSERT_EQ(number, static_cast<int>(numbers.size())) << line;
    numbers.push_back(number);
  }
  ASSERT_EQ(written.size(), static_cast<std::size_t>(kProcesses * kThreads));
  for (const auto& [writer, numbers] : written) EXPECT_EQ(numbers.size(), static_cast<std::size_t>(kLines));
}

TEST(AppendToFile, MakesAFileUnderTheUmaskAndThenAddsToIt) {
  const TemporaryFolder folder;
  const std::string path = folder / std::string(255, 'n');  // no name could be longer
  const mode_t before = ::umask(0027);
  EXPECT_FALSE(appendToFile(path, "one\n"));
  ::umask(0);
  EXPECT_FALSE(appendToFile(folder / "open", ""));
  EXPECT_FALSE(appendToFile(path, "two\n"));
  ::umask(before);
  EXPECT_EQ(modeOf(path), 0640U);
  EXPECT_EQ(modeOf(folder / "open"), 0666U);
  EXPECT_EQ(contentOf(path), "one\ntwo\n");
  fs::create_symlink(path, folder / "link");
  EXPECT_FALSE(appendToFile(folder / "link", "three\n"));
  EXPECT_EQ(contentOf(path), "one\ntwo\nthree\n");
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("link", std::string(255, 'n'), "open"));
}

TEST(AppendToFile, ReportsWhatItCannotWriteToAndLeavesEverythingAsItWas) {
  const TemporaryFolder folder;
  EXPECT_EQ(appendToFile(folder / "missing/file", "x").number(), ENOENT);
  EXPECT_EQ(appendToFile("", "x").number(), ENOENT);
  EXPECT_EQ(appendToFile(folder / std::string("cut\0off", 7), "x").number(), ENOENT);
  EXPECT_EQ(appendToFile(folder.path(), "x").number(), EISDIR);
  EXPECT_EQ(appendToFile("/dev/full", "x").number(), ENOSPC);
  EXPECT_EQ(appendToFile(folder / std::string(256, 'n'), "x").number(), ENAMETOOLONG);
  EXPECT_THAT(namesIn(folder.path()), IsEmpty());

  fs::create_symlink(folder / "nowhere", folder / "dangling");
  EXPECT_EQ(appendToFile(folder / "dangling", "x").number(), ENOENT);
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("dangling"));
  EXPECT_TRUE(fs::is_symlink(folder / "dangling"));
}

TEST(AppendToFile, NeverReplacesAFileThatItMayNotOpen) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "theirs");
  fs::permissions(folder / "file", fs::perms::owner_read);
  fs::permissions(folder.path(), fs::perms::all);  // where it could be replaced
  const int error = statusOf(inChild([&] {
    constexpr uid_t kNobody = 65534;
    if (::geteuid() == 0 && ::setuid(kNobody) != 0) return 0;
    return appendToFile(folder / "file", "x").number();
  }));
  EXPECT_EQ(error, EACCES);
  EXPECT_EQ(contentOf(folder / "file"), "theirs");
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("file"));
}

TEST(AppendToFile, LinesOfManyThreadsAndProcessesAreNeitherLostNorTorn) {
  const TemporaryFolder folder;
  const std::string path = folder / "log";
  const pid_t children[kProcesses] = {inChild([&] { return writeLines(path, 0); }),
                                      inChild([&] { return writeLines(path, 1); })};
  for (const pid_t child : children) EXPECT_EQ(statusOf(child), 0);
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("log"));
  expectAllLines(contentOf(path));
}

TEST(AppendToFile, LinesAreNotLostWhenTheFileIsMovedAwayMeanwhile) {
  const TemporaryFolder folder;
  const std::string path = folder / "log";
  const pid_t first = inChild([&] { return writeLines(path, 0); });
  const pid_t second = inChild([&] { return writeLines(path, 1); });
  std::vector<std::string> moved;
  // Until the first has ended; what it leaves unreaped is collected below.
  for (siginfo_t ended{}; ended.si_pid == 0;) {
    const std::string next = folder / ("log." + std::to_string(moved.size()));
    if (::rename(path.c_str(), next.c_str()) == 0) moved.push_back(next);
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(first), &ended, WEXITED | WNOHANG | WNOWAIT), 0);
  }
  EXPECT_EQ(statusOf(first), 0) << "lines that could not be written";
  EXPECT_EQ(statusOf(second), 0) << "lines that could not be written";
  EXPECT_GT(moved.size(), 1U);
  // A writer may still have appended to a file after it was moved: order holds within
  // one file only, and not between writers of two.
  std::map<std::string, int> seen;
  moved.push_back(path);
  for (const std::string& file : moved) {
    std::istringstream lines(contentOf(file));
    for (std::string line; std::getline(lines, line);) ++seen[line];
  }
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(kProcesses * kThreads * kLines));
  for (const auto& [line, count] : seen) EXPECT_TRUE(count == 1 && line.ends_with('x')) << line;
}

TEST(ReadFile, GivesAWholeFileUpToTheLimitOrSaysWhyNot) {
  const TemporaryFolder folder;
  std::string content(10'000, 'c');
  content[5] = '\0';
  writeFile(folder / "file", content);
  Error error(EIO);  // of an earlier call
  EXPECT_EQ(readFile(folder / "file", content.size(), error), content);
  EXPECT_FALSE(error);
  EXPECT_TRUE(readFile("/proc/self/status", 100'000, error).value_or("").starts_with("Name:"));

  const auto failure = [&](const std::string& path, std::size_t limit) {
    EXPECT_EQ(readFile(path, limit, error), std::nullopt);
    return error.number();
  };
  EXPECT_EQ(failure(folder / "file", content.size() - 1), EFBIG);
  EXPECT_EQ(failure("/dev/zero", 100), EFBIG);
  EXPECT_EQ(failure(folder / "missing", 100), ENOENT);
  EXPECT_EQ(failure(folder / std::string("file\0", 5), 100'000), ENOENT);
  EXPECT_EQ(failure(folder.path(), 100), EISDIR);
  EXPECT_EQ(errorText("file", ENOENT), "file: No such file or directory");
  EXPECT_EQ(errorText(12345), "Unknown error 12345");
}

}  // namespace
}  // namespace brisvane::host
