#include "brisvane/host/linux/system_log.h"

#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace brisvane::host::real {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Key;
using ::testing::Not;
using ::testing::Pair;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

constexpr char kJournalSocket[] = "/run/systemd/journal/socket";

// A socket that plays one of the system's log daemons; -1 on failure.
int listenAt(const char* path) {
  const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, path);
  return ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? descriptor : -1;
}

// What has come so far, each message followed by its end mark.
constexpr std::string_view kEnd = "<end>\n";
std::string heard(int descriptor) {
  std::string all;
  std::array<char, 65536> message;
  for (ssize_t size = 0; (size = ::recv(descriptor, message.data(), message.size(), 0)) >= 0;) {
    all.append(message.data(), static_cast<std::size_t>(size)).append(kEnd);
  }
  return all;
}

// The child's /run and /dev are its own, so that nothing reaches the machine's logs.
bool isolate() {
  const int flags = ::geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS;
  return ::unshare(flags) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::mount("none", "/run", "tmpfs", 0, nullptr) == 0 && ::mount("none", "/dev", "tmpfs", 0, nullptr) == 0;
}

void writeEntries(const JournalLog& log) {
  const LogChannel channel{"org.example.unit", "BV"};
  log.write(channel, LogType::kDebug, "%{public}@", "to debug");
  log.write(channel, LogType::kInfo, "<%{public}@> %{public}@", "%s%n=%{public}@");
  log.write(channel, LogType::kError, "two %{public}@", "lines\nMESSAGE=forged\n");
  log.write(channel, LogType::kFault, "no placeholder", "argument");
}

struct Heard {
  std::string syslog;   // while there was no journal
  std::string journal;  // once there was one
  std::string syslogBesideJournal;
};

// In a child process; nullopt where the system allows no mounts of one's own.
std::optional<Heard> hearEntries() {
  std::array<int, 2> pipe{};
  if (::pipe(pipe.data()) != 0) return std::nullopt;
  const pid_t child = ::fork();
  if (child == 0) {
    constexpr char kSeparator[] = "";
    if (!isolate()) ::_exit(1);
    const JournalLog log(kJournalSocket);
    const int syslog = listenAt("/dev/log");
    writeEntries(log);
    const std::string ahead = heard(syslog);
    ::mkdir("/run/systemd", 0755);
    ::mkdir("/run/systemd/journal", 0755);
    const int journal = listenAt(kJournalSocket);
    writeEntries(log);
    std::string report;
    for (const std::string& part : {ahead, heard(journal), heard(syslog)}) report.append(part).append(kSeparator, 1);
    ::_exit(::write(pipe[1], report.data(), report.size()) == static_cast<ssize_t>(report.size()) ? 0 : 2);
  }
  ::close(pipe[1]);
  std::string report;
  std::array<char, 4096> chunk;
  for (ssize_t size = 0; (size = ::read(pipe[0], chunk.data(), chunk.size())) > 0;) {
    report.append(chunk.data(), static_cast<std::size_t>(size));
  }
  ::close(pipe[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  if (status != 0) return std::nullopt;
  return report;
}

}  // namespace
}  // namespace brisvane::host::real
