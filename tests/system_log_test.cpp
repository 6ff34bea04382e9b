#include "brisvane/host/linux/system_log.h"

#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

namespace brisvane::host::real {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::StartsWith;

constexpr char kJournalSocket[] = "/run/systemd/journal/socket";

// The calling process's /run and /dev become its own: nothing reaches the machine's logs.
bool isolate() {
  const auto user = std::to_string(::geteuid());
  const auto group = std::to_string(::getegid());
  if (::unshare(user == "0" ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  if (user != "0") {  // the owner of a namespace of its own, where it can make files
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
  }
  return ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::mount("none", "/run", "tmpfs", 0, nullptr) == 0 && ::mount("none", "/dev", "tmpfs", 0, nullptr) == 0;
}

// Plays one of the system's log daemons.
int listenAt(const std::filesystem::path& path) {
  std::filesystem::create_directories(path.parent_path());
  const int listening = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  EXPECT_EQ(::bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << path;
  return listening;
}

// The messages that have come since the last call.
std::vector<std::string> heard(int listening) {
  std::vector<std::string> messages;
  char message[4096];
  for (ssize_t size = 0; (size = ::recv(listening, message, sizeof message, 0)) >= 0;) {
    messages.emplace_back(message, static_cast<std::size_t>(size));
  }
  return messages;
}

void writeEntries(const JournalLog& log) {
  const LogChannel channel{"org.example.unit", "BV"};
  log.write(channel, LogType::kDebug, "%{public}@", "to debug");
  log.write(channel, LogType::kInfo, "<%{public}@> 100%", "%s%n %{public}@");
  log.write(channel, LogType::kError, "%{public}@", "a\nPRIORITY=0");
  log.write(channel, LogType::kFault, "no placeholder", "argument");
}

// What the journal is sent: these fields and no others.
std::string entry(const std::string& message, const std::string& priority) {
  return message + "\nPRIORITY=" + priority + "\nSYSLOG_IDENTIFIER=" + program_invocation_short_name +
         "\nBRISVANE_SUBSYSTEM=org.example.unit\nBRISVANE_CATEGORY=BV\n";
}

void expectEntriesInTheLogThatListens() {
  const JournalLog log(kJournalSocket);
  writeEntries(log);  // nobody listens: dropped, without a failure
  const int syslog = listenAt("/dev/log");
  writeEntries(log);
  const std::string name = program_invocation_short_name;
  // The user facility, 8, and the priority.
  EXPECT_THAT(heard(syslog), ElementsAre(AllOf(StartsWith("<15>"), EndsWith(" " + name + ": to debug")),
                                         AllOf(StartsWith("<14>"), EndsWith(": <%s%n %{public}@> 100%")),
                                         StartsWith("<11>"), StartsWith("<10>")));
  const int journal = listenAt(kJournalSocket);
  writeEntries(log);
  // A value of several lines goes with its length: no field can be slipped in.
  const std::string lines = "MESSAGE\n" + std::string("\x0C\0\0\0\0\0\0\0", 8) + "a\nPRIORITY=0";
  EXPECT_THAT(heard(journal), ElementsAre(entry("MESSAGE=to debug", "7"), entry("MESSAGE=<%s%n %{public}@> 100%", "6"),
                                          entry(lines, "3"), entry("MESSAGE=no placeholder", "2")));
  EXPECT_THAT(heard(syslog), ElementsAre());
}

// Children are forked while other threads are in the middle of an entry for syslog.
void expectForkedChildrenToLog() {
  const JournalLog log(kJournalSocket);
  std::vector<std::jthread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&log](const std::stop_token& stop) {
      while (!stop.stop_requested()) writeEntries(log);
    });
  }
  for (int i = 0; i < 30; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      ::alarm(20);
      writeEntries(log);
      ::_exit(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    ASSERT_EQ(status, 0) << "the child hung";
  }
}

// Runs the expectations in a process with a /run and a /dev of its own.
void inIsolation(void (*expectations)()) {
  constexpr int kNotPermitted = 77;
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    if (!isolate()) ::_exit(kNotPermitted);
    expectations();
    std::fflush(nullptr);
    ::_exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNotPermitted) GTEST_SKIP() << "no mounts of one's own";
  EXPECT_EQ(status, 0);
}

TEST(SystemLog, EntriesReachTheJournalWithTheirChannelOrSyslogWhereThereIsNoJournal) {
  inIsolation(expectEntriesInTheLogThatListens);
}

TEST(SystemLog, ChildForkedWhileOtherThreadsLogCanLog) { inIsolation(expectForkedChildrenToLog); }

}  // namespace
}  // namespace brisvane::host::real
