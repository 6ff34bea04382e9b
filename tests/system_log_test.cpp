#include "brisvane/host/linux/system_log.h"

#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <vector>

namespace brisvane::host::real {
namespace {

using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr char kJournalSocket[] = "/run/systemd/journal/socket";
constexpr char kSyslogSocket[] = "/dev/log";
constexpr int kNotPermitted = 77;

// The calling process's /run and /dev become its own: nothing reaches the machine's logs.
bool isolate() {
  const int flags = ::geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS;
  return ::unshare(flags) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::mount("none", "/run", "tmpfs", 0, nullptr) == 0 && ::mount("none", "/dev", "tmpfs", 0, nullptr) == 0;
}

// Plays one of the system's log daemons.
class Daemon {
 public:
  explicit Daemon(const char* path) : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << path;
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;
  ~Daemon() { ::close(socket_); }

  // The messages that have come since the last call.
  std::vector<std::string> heard() const {
    std::vector<std::string> messages;
    std::vector<char> message(1 << 20);
    for (ssize_t size = 0; (size = ::recv(socket_, message.data(), message.size(), 0)) >= 0;) {
      messages.emplace_back(message.data(), static_cast<std::size_t>(size));
    }
    return messages;
  }

 private:
  int socket_;
};

using Fields = std::map<std::string, std::string>;

// The journal's native protocol: "NAME=value\n", or for a value with line feeds
// "NAME\n", its length as 64 bits of little endian, the value and "\n".
Fields fieldsOf(std::string_view message) {
  Fields fields;
  while (!message.empty()) {
    const std::size_t end = message.find_first_of("=\n");
    if (end == std::string_view::npos) break;
    const std::string name(message.substr(0, end));
    const bool counted = message[end] == '\n';
    message.remove_prefix(end + 1);
    std::uint64_t length = message.find('\n');
    if (counted) {
      std::memcpy(&length, message.data(), sizeof length);
      message.remove_prefix(sizeof length);
    }
    EXPECT_TRUE(fields.emplace(name, message.substr(0, length)).second) << name << " is there twice";
    message.remove_prefix(std::min(message.size(), length + 1));
  }
  return fields;
}

Fields entry(const char* message, const char* priority) {
  return {{"MESSAGE", message},
          {"PRIORITY", priority},
          {"SYSLOG_IDENTIFIER", program_invocation_short_name},
          {"BRISVANE_SUBSYSTEM", "org.example.unit"},
          {"BRISVANE_CATEGORY", "BV"}};
}

void writeEntries(const JournalLog& log) {
  const LogChannel channel{"org.example.unit", "BV"};
  log.write(channel, LogType::kDebug, "%{public}@", "to debug");
  log.write(channel, LogType::kInfo, "<%{public}@> 100%", "%s%n %{public}@");
  log.write(channel, LogType::kError, "%{public}@", "two\nPRIORITY=0");
  log.write(channel, LogType::kFault, "no placeholder", "argument");
}

void expectEntriesInTheLogThatListens() {
  const JournalLog log(kJournalSocket);
  writeEntries(log);  // nobody listens yet: dropped, without a failure
  const Daemon syslog(kSyslogSocket);
  writeEntries(log);
  const std::string name = program_invocation_short_name;
  const std::vector<std::string> lines = syslog.heard();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_THAT(lines[0], StartsWith("<15>"));  // the user facility, 8, and the priority
  EXPECT_THAT(lines[0], EndsWith(" " + name + ": to debug"));
  EXPECT_THAT(lines[1], StartsWith("<14>"));
  EXPECT_THAT(lines[1], EndsWith(": <%s%n %{public}@> 100%"));
  EXPECT_THAT(lines[2], StartsWith("<11>"));
  EXPECT_THAT(lines[3], StartsWith("<10>"));

  const Daemon journal(kJournalSocket);
  writeEntries(log);
  std::vector<Fields> entries;
  for (const std::string& message : journal.heard()) entries.push_back(fieldsOf(message));
  EXPECT_THAT(entries, ::testing::ElementsAre(entry("to debug", "7"), entry("<%s%n %{public}@> 100%", "6"),
                                              entry("two\nPRIORITY=0", "3"), entry("no placeholder", "2")));
  EXPECT_THAT(syslog.heard(), IsEmpty());
}

TEST(SystemLog, EntriesReachTheJournalWithTheirChannelOrSyslogWhereThereIsNoJournal) {
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    if (!isolate()) ::_exit(kNotPermitted);
    expectEntriesInTheLogThatListens();
    std::fflush(nullptr);
    ::_exit(HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNotPermitted) GTEST_SKIP() << "no mounts of one's own";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace brisvane::host::real
