// Each kind of operation while the system fails it: by a call of the C library that fails, and for
// real, by the kernel.
#include <gmock/gmock.h>
#include <grp.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "tests/support/fault_operations.h"

namespace brisvane {
namespace {

using testing::Call;
using testing::FailingCall;
using testing::Fault;
using testing::FaultOperations;
using testing::kIsLookedAt;
using testing::kTakesPart;
using testing::Leftovers;
using testing::Operation;
using testing::Uses;

constexpr const char* kCallNames[] = {"write", "open", "rename", "link",  "fsync",
                                      "poll",  "read", "pipe",   "spawn", "thread"};
constexpr const char* kCounts = "BRISVANE_TEST_COUNTS_DESCRIPTORS";

// The program once more: it exits with the number of its descriptors, ahead of all else.
__attribute__((constructor)) void countDescriptors() {
  if (std::getenv(kCounts) != nullptr) ::_exit(static_cast<int>(testing::openDescriptors()));
}

int inheritedDescriptors() {
  const std::string setting = std::string(kCounts) + "=1";
  std::array<char*, 2> arguments{const_cast<char*>("again"), nullptr};
  std::array<char*, 2> environment{const_cast<char*>(setting.c_str()), nullptr};
  pid_t child = 0;
  int status = -1;
  if (::posix_spawn(&child, "/proc/self/exe", nullptr, nullptr, arguments.data(),
                    environment.data()) == 0)
    ::waitpid(child, &status, 0);
  return status;
}

// Whether the operation is to succeed all the same. A command is sent in one write, or not at all.
bool isHarmless(const Operation& operation, int error) {
  return error == EINTR || error == kIsLookedAt ||
         (error == kTakesPart && operation.uses != Uses::kTerminals);
}

class Faults : public FaultOperations {
 protected:
  // What `body` finds in a process of its own, with rights that it takes for itself. It gives
  // whether it could.
  template <typename Body>
  void inAChild(const char* missing, Body body) {
    bench.reset();  // its thread may hold a lock of the allocator, which a sanitizer leaves taken
    const pid_t child = ::fork();
    if (child == 0) {
      bool could = true;
      try {
        could = body();
      } catch (const std::exception& failed) {
        ADD_FAILURE() << failed.what();
      }
      ::_exit(!could ? 2 : ::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 2) GTEST_SKIP() << missing;
    EXPECT_EQ(status, 0);
  }

  // The operation with each such call of it failing in turn, until none is left.
  void sweep(const Operation& operation, const Leftovers& before, Fault fault,
             const std::vector<Fault>& always = {}) {
    for (std::size_t n = 1; n < 1000 && !HasFailure(); ++n) {
      SCOPED_TRACE(operation.name + ": " + kCallNames[static_cast<std::size_t>(fault.call)] +
                   " number " + std::to_string(n) + " fails with " + std::to_string(fault.error));
      operation.prepare();
      bool succeeded = false;
      {
        const FailingCall failing(fault, n, always);
        succeeded = operation.run();
      }
      const bool isOver = !FailingCall::hasHappened();
      if (isOver || isHarmless(operation, fault.error)) {
        EXPECT_TRUE(succeeded);
      }
      operation.check(succeeded);
      if (!succeeded) {
        operation.prepare();
        EXPECT_TRUE(operation.run()) << "afterwards";
        operation.check(true);
      }
      before.expectNone();
      if (isOver) return;
      befallen.insert(fault.call);
    }
  }

  // All of them, in a state of the process in which each is to succeed.
  void expectAllSucceed() {
    const Leftovers before;
    for (const Operation& operation : operations()) {
      SCOPED_TRACE(operation.name);
      operation.prepare();
      const bool succeeded = operation.run();
      EXPECT_TRUE(succeeded);
      operation.check(succeeded);
    }
    port->closePort();
    before.expectNone();
  }

  std::set<Call> befallen;
};

const std::vector<Fault> kFaults{
    {Call::kWrite, ENOSPC},  {Call::kWrite, EDQUOT}, {Call::kWrite, EIO},     {Call::kWrite, EINTR},
    {Call::kOpen, EMFILE},   {Call::kOpen, EIO},     {Call::kOpen, EINTR},    {Call::kRename, EIO},
    {Call::kRename, ENOSPC}, {Call::kSync, EIO},     {Call::kSync, EDQUOT},   {Call::kPoll, EINTR},
    {Call::kPoll, ENOMEM},   {Call::kRead, EINTR},   {Call::kRead, EIO},      {Call::kPipe, EMFILE},
    {Call::kSpawn, EAGAIN},  {Call::kSpawn, ENOMEM}, {Call::kThread, EAGAIN},
};

TEST_F(Faults, OfEachCallAreReportedAndHarmNothing) {
  for (const Operation& operation : operations()) {
    operation.prepare();
    const Leftovers before;
    for (const Fault& fault : kFaults) sweep(operation, before, fault);
    // The kernel gives a variable to the firmware in one piece.
    if (operation.uses != Uses::kFirmware) sweep(operation, before, {Call::kWrite, kTakesPart});
  }
  EXPECT_EQ(befallen.size(), std::size(kCallNames) - 1) << "each call but link has failed";
}

TEST_F(Faults, OfAFileSystemThatCannotMoveWithoutReplacingAreReportedAndHarmNothing) {
  const std::vector<Fault> noSuchMove{{Call::kRename, EINVAL}};
  const std::vector<Fault> noLinksEither{{Call::kRename, EINVAL}, {Call::kLink, EPERM}};
  for (const Operation& operation :
       {logLine("first log line", std::nullopt), propertyList("new property list", std::nullopt)}) {
    const Leftovers before;
    for (const int error : {EIO, ENOSPC, EDQUOT}) {
      sweep(operation, before, {Call::kLink, error}, noSuchMove);
      for (const auto& always : {noSuchMove, noLinksEither}) {
        sweep(operation, before, {Call::kWrite, error}, always);
        sweep(operation, before, {Call::kOpen, error}, always);
      }
    }
  }
  EXPECT_TRUE(befallen.contains(Call::kLink));
}

TEST_F(Faults, LeaveNoDescriptorToAProgramThatIsStartedAtAnyMoment) {
  static int usual;
  usual = inheritedDescriptors();
  ASSERT_GT(WEXITSTATUS(usual), 0);
  FailingCall::atCall = [] { EXPECT_EQ(inheritedDescriptors(), usual); };
  for (const Operation& operation : operations()) {
    operation.prepare();
    const Leftovers before;
    for (std::size_t call = 0; call < std::size(kCallNames); ++call)
      sweep(operation, before, {static_cast<Call>(call), kIsLookedAt});
  }
}

TEST_F(Faults, SignalsWithoutRestartChangeNothing) {
  struct sigaction action {};
  action.sa_handler = [](int /*number*/) {};
  struct sigaction before {};
  ASSERT_EQ(::sigaction(SIGALRM, &action, &before), 0);
  const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
  const itimerval never{};
  ::setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
  for (int i = 0; i < 5; ++i) expectAllSucceed();
  ::setitimer(ITIMER_REAL, &never, nullptr);
  ::sigaction(SIGALRM, &before, nullptr);
}

TEST_F(Faults, IgnoredEndsOfChildrenChangeNothing) {
  ::signal(SIGCHLD, SIG_IGN);
  expectAllSucceed();
  ::signal(SIGCHLD, SIG_DFL);
}

TEST_F(Faults, ClosedStandardStreamsChangeNothing) {
  for (const Operation& operation : operations()) {
    SCOPED_TRACE(operation.name);
    operation.prepare();
    std::array<int, 3> kept{};
    for (int stream = 0; stream < 3; ++stream) {
      kept.at(static_cast<std::size_t>(stream)) = ::fcntl(stream, F_DUPFD_CLOEXEC, 100);
      ::close(stream);
    }
    const bool succeeded = operation.run();
    for (int stream = 0; stream < 3; ++stream) {
      EXPECT_EQ(::fcntl(stream, F_GETFD), -1) << "something of ours stands in a stream's place";
      ::dup2(kept.at(static_cast<std::size_t>(stream)), stream);
      ::close(kept.at(static_cast<std::size_t>(stream)));
    }
    EXPECT_TRUE(succeeded);
    operation.check(succeeded);
  }
}

// Runs the operation under growing limits until it succeeds.
// The number of times that it has not.
int underLimits(decltype(RLIMIT_NOFILE) resource, rlim_t first, rlim_t last, rlim_t step,
                const Operation& operation) {
  rlimit usual{};
  EXPECT_EQ(::getrlimit(resource, &usual), 0);
  int refused = 0;
  bool succeeded = false;
  for (rlim_t limit = first; !succeeded && limit <= last; limit += step) {
    SCOPED_TRACE(operation.name + " with a limit of " + std::to_string(limit));
    operation.prepare();
    const rlimit small{limit, usual.rlim_max};
    ::setrlimit(resource, &small);
    succeeded = operation.run();
    ::setrlimit(resource, &usual);
    operation.check(succeeded);
    refused += succeeded ? 0 : 1;
  }
  EXPECT_TRUE(succeeded) << operation.name;
  return refused;
}

TEST_F(Faults, OfMissingDescriptorsAreReportedAndHarmNothing) {
  int refused = 0;
  for (const Operation& operation : operations()) {
    operation.prepare();
    const Leftovers before;
    refused += underLimits(RLIMIT_NOFILE, 3, testing::openDescriptors() + 40, 1, operation);
    port->closePort();
    before.expectNone();
  }
  EXPECT_GT(refused, 20);
}

TEST_F(Faults, OfFilesThatMayNotGrowAreReportedAndHarmNothing) {
  ::signal(SIGXFSZ, SIG_IGN);
  int refused = 0;
  for (const Operation& operation : fileOperations())
    refused += underLimits(RLIMIT_FSIZE, 0, 300, 4, operation);
  EXPECT_GT(refused, 25);
}

// A file system in memory that this process alone sees.
bool mountOwn(const std::string& where, const char* options) {
  std::filesystem::create_directory(where);
  if (::unshare(CLONE_NEWNS) != 0) {
    const std::string user = std::to_string(::geteuid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    testing::writeFile("/proc/self/uid_map", user + " " + user + " 1");
  }
  return ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::mount("none", where.c_str(), "tmpfs", 0, options) == 0;
}

TEST_F(Faults, OfAFullDiskAreReportedAndHarmNothing) {
  inAChild("no mounts of a process's own", [this] {
    const std::string disk = folder / "disk";
    if (!mountOwn(disk, "size=64k")) return false;
    int refused = 0;
    useFolders(folder.path(), disk);
    for (const bool isHere : {false, true}) {
      if (isHere) useFolders(disk, folder.path());
      for (const Operation& operation : fileOperations()) {
        operation.prepare();
        testing::writeFile(disk + "/filler", std::string(std::size_t{1} << 20U, 'f'));
        const bool succeeded = operation.run();
        std::filesystem::remove(disk + "/filler");
        operation.check(succeeded);
        refused += succeeded ? 0 : 1;
      }
    }
    EXPECT_GE(refused, 3);
    return true;
  });
}

TEST_F(Faults, OfADiskThatIsReadOnlyAreReportedAndHarmNothing) {
  inAChild("no mounts of a process's own", [this] {
    const std::string disk = folder / "disk";
    if (!mountOwn(disk, "")) return false;
    useFolders(disk, folder.path());
    for (const Operation& operation : fileOperations()) {
      SCOPED_TRACE(operation.name);
      operation.prepare();
      EXPECT_EQ(::mount("none", disk.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
      EXPECT_FALSE(operation.run());
      EXPECT_EQ(::mount("none", disk.c_str(), nullptr, MS_REMOUNT, nullptr), 0);
      operation.check(false);
    }
    return true;
  });
}

TEST_F(Faults, OfMissingProcessesAreReportedAndHarmNothing) {
  inAChild("no other user", [this] {
    constexpr uid_t kNobody = 65534;  // the superuser has no limit
    if (::geteuid() == 0 && (::setgroups(0, nullptr) != 0 || ::setuid(kNobody) != 0)) return false;
    const rlimit none{0, 0};
    if (::setrlimit(RLIMIT_NPROC, &none) != 0) return false;
    BVLog::defaultLog()->setLogFilePath(nullptr);
    const Leftovers before;
    for (const Operation& operation : {command(), commandUnderWay(), launch()}) {
      SCOPED_TRACE(operation.name);
      operation.prepare();
      EXPECT_FALSE(operation.run());
      operation.check(false);
    }
    before.expectNone();
    return true;
  });
}

}  // namespace
}  // namespace brisvane
