#include "brisvane/logging/BVLog.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <stop_token>
#include <thread>

#include "brisvane/logging/file_writers.h"
#include "brisvane/logging/preferences_store.h"
#include "tests/support/own_process.h"
#include "tests/support/simulated_test.h"

namespace brisvane {
namespace {

using testing::contentOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::namesIn;
using testing::SimulatedTest;
using ::testing::UnorderedElementsAre;
using testing::writeFile;

constexpr auto kDescription = R"({"preferences": {"standard": {"BrisvaneVerbosityLevel": 2}}})";

class BVLogTest : public SimulatedTest {
 protected:
  BVLogTest() : SimulatedTest(kDescription) {
    ::setenv("TZ", "XYZ-2", 1);  // two hours east of UTC
    // 2024-03-05 07:07:03 UTC.
    clock->stopAt(host::Clock::Wall(std::chrono::seconds(1709622423)));
  }

  const std::string path = folder / "run.log";
  BVLog log{SystemLogHandle::waylineLog(), path, 0};
};

TEST_F(BVLogTest, EachLevelReachesTheSystemLogTheFileAndTheErrorTextAsItShould) {
  log.trueDebug("nothing");
  EXPECT_THAT(logged(), IsEmpty());
  log.debug("d");
  log.info("port opened");
  log.error("a");
  log.error("b");
  log.fault("two\nlines\xFF\x1B");
  log.info(nullptr);
  EXPECT_THAT(logged(),
              ElementsAre("debug %{public}@|d", "info %{public}@|port opened",
                          "error ERROR %{public}@|a", "error ERROR %{public}@|b",
                          "fault FAULT %{public}@|two\nlines\xFF\x1B", "info %{public}@|"));
  EXPECT_EQ(contentOf(path),
            "2024-03-05 9:7:3 port opened \n2024-03-05 9:7:3 ERROR a \n2024-03-05 9:7:3 ERROR b \n"
            "2024-03-05 9:7:3 FAULT two\nlines\xFF\x1B \n2024-03-05 9:7:3  \n");
  EXPECT_EQ(BVLog::aggregatedErrorDescription(), "a\nb\n");
}

TEST_F(BVLogTest, LineIsStampedInTheTimeZoneOfItsMomentAndInTheSecondThatHasBegun) {
  log.info("a");
  ::setenv("TZ", "XYZ+3", 1);
  log.info("b");
  clock->stopAt(host::Clock::Wall(std::chrono::milliseconds(-1)));  // before 1970
  log.info("c");
  clock->stopAt(host::Clock::Wall::min());
  log.info("d");
  EXPECT_EQ(
      contentOf(path),
      "2024-03-05 9:7:3 a \n2024-03-05 4:7:3 b \n1969-12-31 20:59:59 c \n1677-09-20 21:12:43 d \n");
}

// The file of a time zone that has always been these hours, less than 24, east of UTC.
std::string timeZoneFile(int hours) {
  const int seconds = hours * 3600;
  std::string file(54, '\0');
  file.replace(0, 4, "TZif");
  file[39] = 1;  // type of local time,
  file[43] = 4;  // whose name has this many characters
  for (std::size_t i = 0; i < 4; ++i) file[44 + i] = static_cast<char>(seconds >> (24U - 8U * i));
  return file.replace(50, 3, "XYZ");
}

// A change of the machine's time zone, as a process sees it that has mounts of its own.
TEST_F(BVLogTest, ChangeOfTheMachinesTimeZoneIsFollowed) {
  writeFile(folder / "east", timeZoneFile(1));
  writeFile(folder / "farther", timeZoneFile(5));
  const auto put = [&](const char* zone) {
    return ::mount((folder / zone).c_str(), "/etc/localtime", nullptr, MS_BIND, nullptr) == 0;
  };
  const pid_t child = ::fork();
  if (child == 0) {
    ::unsetenv("TZ");
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 || !put("east")) ::_exit(1);
    log.info("a");
    if (!put("farther")) ::_exit(1);
    clock->stopAt(
        host::Clock::Wall(std::chrono::seconds(1709622424)));  // it is looked at once a second
    log.info("b");
    ::_exit(0);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 1) GTEST_SKIP() << "no mounts of a process's own";
  EXPECT_EQ(status, 0);
  EXPECT_EQ(contentOf(path), "2024-03-05 8:7:3 a \n2024-03-05 12:7:4 b \n");
}

TEST_F(BVLogTest, VerbosityGatesDebuglAloneAndComesFromThePreferenceWhenNotGiven) {
  log.debugl(0, "zero");
  log.debugl(-1, "below");
  log.debugl(1, "one");
  log.setVerbosityLevel(3);
  log.setVerbosityLevel(3);
  log.debugl(3, "three");
  log.debugl(4, "four");
  log.setVerbosityLevel(-5);
  log.debug("always");
  EXPECT_THAT(logged(), ElementsAre("debug %{public}@|zero", "debug %{public}@|below",
                                    "debug %{public}@|Changed verbosityLevel from 0 to 3",
                                    "debug %{public}@|Changed verbosityLevel from 3 to 3",
                                    "debug %{public}@|three",
                                    "debug %{public}@|Changed verbosityLevel from 3 to -5",
                                    "debug %{public}@|always"));
  EXPECT_EQ(contentOf(path), "");
  EXPECT_EQ(BVLog(SystemLogHandle::waylineLog(), nullptr, std::nullopt).verbosityLevel(), 2);
  BVLog::configureDefault(SystemLogHandle::waylineLog(), nullptr, std::nullopt);
  EXPECT_EQ(BVLog::defaultLog()->verbosityLevel(), 2);
  EXPECT_THAT(logged(), IsEmpty());  // initial values are no changes
}

TEST_F(BVLogTest, ChangedPathIsToldWithItsOddCharactersEscapedAndTouchesNoFile) {
  BVLog bare(SystemLogHandle::waylineLog(), nullptr, 0);
  bare.setLogFilePath("/var/tmp/run.log");
  bare.setLogFilePath("");
  bare.setLogFilePath(
      "q\"b\\n\nt\tr\re\x1b"
      "d\x7f\u0085→");
  bare.setLogFilePath(nullptr);
  EXPECT_THAT(
      logged(),
      ElementsAre(
          R"(debug %{public}@|Changed logFilePath from nil to Optional("/var/tmp/run.log"))",
          R"(debug %{public}@|Changed logFilePath from Optional("/var/tmp/run.log") to Optional(""))",
          R"(debug %{public}@|Changed logFilePath from Optional("") to Optional("q\"b\\n\nt\tr\re\u{1B}d\u{7F}\u{85}→"))",
          R"(debug %{public}@|Changed logFilePath from Optional("q\"b\\n\nt\tr\re\u{1B}d\u{7F}\u{85}→") to nil)"));
  log.setLogFilePath(folder / "other.log");
  EXPECT_FALSE(std::filesystem::exists(folder / "other.log"));
}

TEST_F(BVLogTest, WithoutAPathNoFileIsMade) {
  for (const Text none : {Text(), Text("")}) {
    BVLog bare(SystemLogHandle::waylineLog(), none, 0);
    bare.info("i");
    bare.error("e");
    bare.fault("f");
  }
  EXPECT_EQ(logged().size(), 6U);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(BVLogTest, ErrorTextTakesMessagesWhileItHasAtMost4000UserPerceivedCharacters) {
  BVLog::initAggregatedError(std::string(4000, 'x'));
  log.error("y");
  EXPECT_TRUE(BVLog::aggregatedErrorDescription() == std::string(4000, 'x') + "y\n");
  log.error("z");
  EXPECT_EQ(BVLog::aggregatedErrorDescription().size(), 4002U);

  std::string family;  // 4,000 characters of 25 bytes each
  for (int i = 0; i < 4000; ++i) family += "👨‍👩‍👧‍👦";
  BVLog::initAggregatedError(family);
  log.error("y");
  log.error("z");
  EXPECT_TRUE(BVLog::aggregatedErrorDescription() == family + "y\n");

  BVLog::initAggregatedError("");
  for (int i = 0; i < 2000; ++i) log.error("y");  // 4,000 characters, however they came
  log.error("z");
  log.error("z");
  EXPECT_EQ(BVLog::aggregatedErrorDescription().size(), 4002U);

  BVLog::initAggregatedError(nullptr);
  BVLog(SystemLogHandle::waylineLog(), nullptr, 0).error("of another logger");
  EXPECT_EQ(BVLog::aggregatedErrorDescription(), "of another logger\n");
}

TEST_F(BVLogTest, ErrorTextIsMeasuredAsAWholeWhereAMessageJoinsItsLastLine) {
  // The whole has 4,000 characters, and takes one message more; apart there would be 4,001.
  const std::pair<std::string, std::string> joined[] = {
      {"e", "\u0301"}, {"x\r", ""}, {"\xE2\x82", "\xAC"}, {"\U0001F468\u200D", "\U0001F469"}};
  for (const auto& [last, message] : joined) {
    for (const std::string line : {"", "a line\n"}) {
      const std::string whole = line + std::string(3998 - line.size(), 'x') + last;
      BVLog::initAggregatedError(whole);
      for (const std::string& error : {message, std::string("y"), std::string("z")})
        log.error(error);
      EXPECT_TRUE(BVLog::aggregatedErrorDescription() == whole + message + "\ny\n")
          << ::testing::PrintToString(last);
    }
  }
}

TEST_F(BVLogTest, UnwritableFileIsReportedToTheSystemLogAlone) {
  const auto report = [&](const std::string& where, const std::string& why) {
    BVLog lost(SystemLogHandle::waylineLog(), where, 0);
    BVLog::initAggregatedError("");
    EXPECT_FALSE(lost.logFileFailure());
    lost.error("m");
    EXPECT_EQ(lost.logFileFailure().value().text(), where + ": " + why);
    EXPECT_THAT(logged(), ElementsAre("error ERROR %{public}@|m",
                                      "error ERROR %{public}@|ERROR: Failed to write string "
                                      "to file " +
                                          where + ": " + why));
    EXPECT_EQ(BVLog::aggregatedErrorDescription(), "m\n");
  };
  report(folder / "missing/run.log", "No such file or directory");
  report(folder.path(), "Is a directory");
  report("/dev/full", "No space left on device");
  report(std::string(folder / "a") + '\0' + "b", "No such file or directory");
  std::filesystem::create_symlink(folder / "nowhere/gone", folder / "dangling");
  report(folder / "dangling", "No such file or directory");
  // A running program cannot be opened for writing, not even by the superuser.
  std::filesystem::copy_file("/bin/sleep", folder / "busy");
  const std::string before = contentOf(folder / "busy");
  const pid_t sleeper = ::fork();
  if (sleeper == 0) {
    ::execl((folder / "busy").c_str(), "busy", "60", nullptr);
    ::_exit(127);
  }
  while (!std::filesystem::equivalent("/proc/" + std::to_string(sleeper) + "/exe", folder / "busy"))
    ::usleep(1000);
  report(folder / "busy", "Text file busy");
  EXPECT_TRUE(contentOf(folder / "busy") == before);
  ::kill(sleeper, SIGKILL);
  ::waitpid(sleeper, nullptr, 0);
}

TEST_F(BVLogTest, LinkInThePathIsFollowedUnlessTheLoggerRefusesThem) {
  BVLog strict(SystemLogHandle::waylineLog(), nullptr, 0);
  EXPECT_TRUE(strict.followsLinks());
  strict.setFollowsLinks(false);
  writeFile(folder / "real/theirs", "theirs");
  std::filesystem::create_symlink(folder / "real", folder / "to-folder");
  std::filesystem::create_symlink(folder / "real/theirs", folder / "real/to-file");
  std::filesystem::create_symlink(folder / "real/made", folder / "real/dangling");
  for (const char* const name :
       {"to-folder/theirs", "real/to-file", "real/dangling", "to-folder/../made"}) {
    strict.setLogFilePath(folder / name);
    strict.info("m");
    EXPECT_EQ(strict.logFileFailure().value().text(),
              folder / name + ": a symbolic link is in the path, and none is followed");
    EXPECT_EQ(strict.logFileFailure().value().number(), ELOOP);
    strict.backupLogFileTo(folder / "backup");
  }
  EXPECT_EQ(contentOf(folder / "real/theirs"), "theirs");
  EXPECT_THAT(namesIn(folder / "real"), UnorderedElementsAre("theirs", "to-file", "dangling"));
  EXPECT_FALSE(std::filesystem::exists(folder / "backup"));

  strict.setLogFilePath(folder.path() + "//real/../run.log");
  strict.info("one");
  strict.info("two");
  EXPECT_THAT(contentOf(folder / "run.log"), ::testing::EndsWith("two \n"));
  strict.backupLogFileTo(folder / "backup");
  EXPECT_THAT(contentOf(folder / "backup"), ::testing::HasSubstr("one \n"));

  strict.setFollowsLinks(true);
  strict.setLogFilePath(folder / "to-folder/made");
  strict.info("three");
  EXPECT_THAT(contentOf(folder / "real/made"), ::testing::EndsWith("three \n"));
}

// Runs `write` while no file may grow beyond `size` bytes, as on a disk that is full by then.
template <typename Write>
void withFilesUpTo(rlim_t size, const Write& write) {
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit usual{};
  ::getrlimit(RLIMIT_FSIZE, &usual);
  const rlimit small{size, usual.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &small);
  write();
  ::setrlimit(RLIMIT_FSIZE, &usual);
}

// Standard error in the place of a descriptor, for one log line through its path.
void logToStandardError(BVLog& log, int descriptor) {
  const int kept = ::dup(STDERR_FILENO);
  ::dup2(descriptor, STDERR_FILENO);
  log.info("seen");
  ::dup2(kept, STDERR_FILENO);
  ::close(kept);
}

TEST_F(BVLogTest, StandardErrorTakesLinesWhereItIsATerminalAPipeOrAFileButNotASocket) {
  BVLog toError(SystemLogHandle::waylineLog(), "/dev/stderr", 0);
  const auto readFrom = [](int descriptor) {
    char line[100];
    const ssize_t size = ::read(descriptor, line, sizeof line);
    return std::string(line, size > 0 ? static_cast<std::size_t>(size) : 0);
  };
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  logToStandardError(toError, ends[1]);
  EXPECT_TRUE(readFrom(ends[0]).ends_with("seen \n"));

  const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_EQ(::grantpt(master) | ::unlockpt(master), 0);
  const int terminal = ::open(::ptsname(master), O_RDWR | O_NOCTTY);
  logToStandardError(toError, terminal);
  EXPECT_TRUE(readFrom(master).ends_with("seen \r\n"));

  writeFile(path, "before\n");
  const int file = ::open(path.c_str(), O_RDWR);
  logToStandardError(toError, file);
  EXPECT_TRUE(contentOf(path).starts_with("before\n")) << "the line is appended";
  EXPECT_TRUE(contentOf(path).ends_with("seen \n"));
  EXPECT_EQ(toError.logFileFailure(), std::nullopt);

  int sockets[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
  logToStandardError(toError, sockets[0]);
  EXPECT_EQ(toError.logFileFailure().value().number(), ENXIO) << "no path opens a socket";
  for (const int used : {ends[0], ends[1], master, terminal, file, sockets[0], sockets[1]})
    ::close(used);
}

TEST_F(BVLogTest, LineAfterOneThatWasCutShortBeginsOnALineOfItsOwn) {
  const std::string one = "2024-03-05 9:7:3 one \n";
  const std::string two = "2024-03-05 9:7:3 two \n";
  const std::string cut = "2024-03-05 9:7";
  const auto cutLine = [&] { log.info("cut"); };
  log.info("one");
  withFilesUpTo(one.size() + cut.size(), [&] {
    cutLine();
    EXPECT_THAT(logged(), ::testing::Contains(::testing::EndsWith("run.log: File too large")));
    cutLine();  // of which nothing is written
  });
  appendTo("text", path);  // continues what it finds, as ever
  std::filesystem::rename(path, folder / "moved");
  BVLog other(SystemLogHandle::waylineLog(), path, 0);
  other.info("two");  // another file
  other.setLogFilePath(folder / "moved");
  other.info("two");
  other.info("two");
  EXPECT_EQ(contentOf(path), two);
  EXPECT_EQ(contentOf(folder / "moved"), one + cut + "text\n" + two + two);

  // The line feed itself, too, is all that is written.
  const std::size_t size = two.size() + cut.size();
  withFilesUpTo(size, cutLine);
  withFilesUpTo(size + 1, cutLine);
  log.info("one");
  EXPECT_EQ(contentOf(path), two + cut + "\n\n" + one);

  // Of many files, the last ones are remembered.
  for (int i = 0; i < 40; ++i) {
    log.setLogFilePath(folder / std::to_string(i));
    writeFile(folder / std::to_string(i), one);
    withFilesUpTo(one.size() + cut.size(), cutLine);
  }
  log.info("two");
  EXPECT_EQ(contentOf(folder / "39"), one + cut + "\n" + two);
}

TEST_F(BVLogTest, LineBeginsWithNoLineFeedWhereThisProcessHasCutNone) {
  const std::string line = "2024-03-05 9:7:3 line \n";
  writeFile(path, "of others");
  log.info("line");
  EXPECT_EQ(contentOf(path), "of others" + line);

  // A file that was emptied, one that was completed, and a new one that may have the number of one
  // that was removed.
  const auto cutAt = [&](const std::string& name) {
    log.setLogFilePath(folder / name);
    writeFile(folder / name, "of others\n");
    withFilesUpTo(15, [&] { log.info("cut"); });
  };
  cutAt("emptied");
  std::filesystem::resize_file(folder / "emptied", 0);
  log.info("line");
  EXPECT_EQ(contentOf(folder / "emptied"), line);
  cutAt("completed");
  appendTo("completed\n", folder / "completed");
  log.info("line");
  EXPECT_EQ(contentOf(folder / "completed"), "of others\n2024-completed\n" + line);
  cutAt("removed");
  std::filesystem::remove(folder / "removed");
  log.info("line");
  log.info("line");
  EXPECT_EQ(contentOf(folder / "removed"), line + line);

  // Another process finds a file without a line feed.
  cutAt("forked");
  const pid_t child = ::fork();
  if (child == 0) {
    log.info("line");
    ::_exit(0);
  }
  ::waitpid(child, nullptr, 0);
  EXPECT_EQ(contentOf(folder / "forked"), "of others\n2024-" + line);
}

TEST_F(BVLogTest, DefaultLoggerIsReplacedWithoutTouchingTheOneBefore) {
  const auto before = BVLog::defaultLog();
  before->setLogFilePath(folder / "old.log");
  BVLog::configureDefault(SystemLogHandle("org.example", "Other"), path, 7);
  BVLog::Default::info("new");
  BVLog::Default::debugl(7, "deep");
  before->info("old");
  BVLog::setDefault(nullptr);
  BVLog::Default::fault("still new");
  EXPECT_EQ(contentOf(folder / "old.log"), "2024-03-05 9:7:3 old \n");
  EXPECT_EQ(contentOf(path), "2024-03-05 9:7:3 new \n2024-03-05 9:7:3 FAULT still new \n");
  const auto entries = machine->systemLog();
  EXPECT_EQ(entries.at(1).category, "Other");
  EXPECT_EQ(entries.at(3).category, "BV");
}

TEST_F(BVLogTest, ProcessWideObjectsAreTheSameAtEveryCall) {
  EXPECT_TRUE(SystemLogHandle::waylineLog().same(SystemLogHandle::waylineLog()));
  EXPECT_EQ(SystemLogHandle::waylineLog().category(), "BV");
  EXPECT_EQ(&Diagnostics::diagDefaults(), &Diagnostics::diagDefaults());
  EXPECT_NE(Diagnostics::diagDefaults().suite(), PreferencesStore::standard().suite());
}

// Preferences that do something before they answer.
class ActingPreferences final : public host::Preferences {
 public:
  explicit ActingPreferences(std::function<void()> act) : act_(std::move(act)) {}
  std::optional<std::string> value(std::string_view /*suite*/,
                                   std::string_view /*key*/) const noexcept override {
    act_();
    return "5";
  }

 private:
  const std::function<void()> act_;
};

std::shared_ptr<const host::Platform> platformThat(std::function<void()> act) {
  const auto platform = std::make_shared<host::Platform>();
  platform->setPreferences(std::make_shared<ActingPreferences>(std::move(act)));
  return platform;
}

TEST(BVLog, FirstUseHoldsNobodyUpWhilePreferencesAreAsked) {
  testing::inProcessOfItsOwn([] {
    ::alarm(60);  // it would wait without end
    std::atomic<bool> isFirst{true};
    const host::ScopedPlatform installed(platformThat([&isFirst] {
      if (!isFirst.exchange(false)) return;
      std::thread([] { BVLog::Default::info("of another thread"); }).join();
      const pid_t child = ::fork();
      if (child == 0) ::_exit(BVLog::defaultLog()->verbosityLevel() == 5 ? 0 : 1);
      int status = -1;
      ::waitpid(child, &status, 0);
      EXPECT_EQ(status, 0);
    }));
    const auto log = BVLog::defaultLog();
    EXPECT_EQ(log, BVLog::defaultLog());
    EXPECT_EQ(log->verbosityLevel(), 5);
  });
}

#ifndef NDEBUG
TEST(BVLogDeathTest, PreferencesThatLogStopADebugBuild) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const host::ScopedPlatform installed(platformThat([] { BVLog::Default::info("asked"); }));
  EXPECT_DEATH(BVLog::Default::info("first"), "preferences log");
}
#endif

// Runs `body` in `processes` children of 8 threads each, and `meanwhile` in a thread of
// this process, which is forked while it has no other (as a thread sanitizer wants it).
template <typename Body, typename Meanwhile>
void inProcesses(int processes, const Body& body, const Meanwhile& meanwhile) {
  std::vector<pid_t> children;
  for (int process = 0; process < processes; ++process) {
    children.push_back(::fork());
    if (children.back() != 0) continue;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 8; ++thread)
      threads.emplace_back([&, thread] { body(process * 8 + thread); });
    threads.clear();
    ::_exit(0);
  }
  const std::jthread other(meanwhile);
  for (const pid_t child : children) {
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
}

TEST_F(BVLogTest, WritersOfTwoProcessesLoseAndTearNothingWhileTheFileIsMovedAway) {
  constexpr int kLines = 10'000;
  const auto write = [&](int writer) {
    for (int line = 0; line < kLines; ++line) {
      log.info(std::to_string(writer) + " " + std::to_string(line) +
               std::string(static_cast<std::size_t>(line % 90), '.'));
    }
  };
  const auto moveAway = [&](const std::stop_token& stop) {
    for (int moved = 0; !stop.stop_requested();) {
      ::usleep(100'000);
      if (::rename(path.c_str(), (folder / ("moved" + std::to_string(moved))).c_str()) == 0)
        ++moved;
    }
  };
  inProcesses(2, write, moveAway);
  std::map<int, std::vector<bool>> seen;
  std::size_t lines = 0;
  for (const auto& file : std::filesystem::directory_iterator(folder.path())) {
    std::ifstream content(file.path());
    for (std::string text; std::getline(content, text); ++lines) {
      int writer = -1;
      int line = -1;
      ASSERT_EQ(std::sscanf(text.c_str(), "2024-03-05 9:7:3 %d %d", &writer, &line), 2) << text;
      ASSERT_TRUE(text.ends_with(std::string(static_cast<std::size_t>(line % 90), '.') + " "))
          << text;
      seen[writer].resize(kLines);
      ASSERT_FALSE(seen[writer].at(static_cast<std::size_t>(line))) << text;
      seen[writer][static_cast<std::size_t>(line)] = true;
    }
  }
  EXPECT_EQ(lines, 16U * kLines);
}

TEST_F(BVLogTest, SharedStateIsSafeFromAnyThread) {
  inProcesses(
      1,
      [&](int thread) {
        for (int i = 0; i < 300; ++i) {
          BVLog::setDefault(std::make_shared<BVLog>(SystemLogHandle::waylineLog(), path, thread));
          BVLog::Default::error("e");
          BVLog::initAggregatedError(BVLog::aggregatedErrorDescription());
          log.setLogFilePath(i % 2 == 0 ? Text(path) : Text());
          log.setVerbosityLevel(i);
          log.debugl(i, "d");
        }
      },
      [] {});
  EXPECT_EQ(contentOf(path).size(), 8U * 300U * std::string("2024-03-05 9:7:3 ERROR e \n").size());
}

TEST_F(BVLogTest, ChildForkedWhileOtherThreadsLogCanLog) {
  BVLog::defaultLog()->setLogFilePath(folder / "parent.log");
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([](const std::stop_token& stop) {
      while (!stop.stop_requested()) BVLog::Default::error("parent");
    });
  }
  BVLog child(SystemLogHandle("org.example", "silent"), path, 0);
  auto quiet = std::make_shared<host::Platform>();  // the recording log has a lock of its own
  const host::ScopedPlatform installedQuiet(quiet);
  for (int i = 0; i < 50; ++i) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      ::alarm(20);
      child.error("child");
      ::_exit(0);
    }
    int status = -1;
    ::waitpid(pid, &status, 0);
    ASSERT_EQ(status, 0) << "hung";
  }
  const std::string content = contentOf(path);
  EXPECT_EQ(std::count(content.begin(), content.end(), '\n'), 50);
}

struct LogsWhenDestroyed {
  std::string path;
  ~LogsWhenDestroyed() { BVLog::Default::info("last words"); }
};

TEST_F(BVLogTest, StaticObjectAndExitHandlerCanLogWhenTheProcessEnds) {
  EXPECT_EXIT(
      {
        std::atexit([] { BVLog::Default::info("the very last"); });  // it was registered first
        static LogsWhenDestroyed object{path};
        BVLog::configureDefault(SystemLogHandle::waylineLog(), object.path, 0);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_TRUE(contentOf(path).ends_with("last words \n2024-03-05 9:7:3 the very last \n"));
}

}  // namespace
}  // namespace brisvane
