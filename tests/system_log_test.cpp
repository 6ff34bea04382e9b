#include "brisvane/host/records/journal_log.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

#include "brisvane/host/platform.h"
#include "brisvane/logging/BVLog.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::host::real {
namespace {

using brisvane::testing::contentOf;
using brisvane::testing::TemporaryFolder;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr LogChannel kChannel{"org.example.unit", "BV"};

// Plays one of the system's log daemons.
class Daemon {
 public:
  explicit Daemon(const std::string& path) {
    std::filesystem::remove(path);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
        << path;
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;
  ~Daemon() { ::close(socket_); }

  // The entries that have come since the last call: as datagrams, or as files in memory that are
  // sealed.
  std::vector<std::string> heard() {
    std::vector<std::string> entries;
    for (;;) {
      char data[4096];
      alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
      iovec part{data, sizeof data};
      msghdr message{};
      message.msg_iov = &part;
      message.msg_iovlen = 1;
      message.msg_control = control;
      message.msg_controllen = sizeof control;
      const ssize_t size = ::recvmsg(socket_, &message, MSG_CMSG_CLOEXEC);
      if (size < 0) return entries;
      const cmsghdr* const rights = CMSG_FIRSTHDR(&message);
      entries.push_back(rights == nullptr ? std::string(data, static_cast<std::size_t>(size))
                                          : sealedContent(*rights));
      EXPECT_TRUE(rights == nullptr || size == 0);
    }
  }

 private:
  static std::string sealedContent(const cmsghdr& rights) {
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(&rights), sizeof descriptor);
    EXPECT_EQ(::fcntl(descriptor, F_GET_SEALS),
              F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE);
    std::string content = contentOf("/proc/self/fd/" + std::to_string(descriptor));
    ::close(descriptor);
    return content;
  }

  int socket_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
};

// Runs `work` in a child, whose end is waited for: it did not hang, and nothing failed in it.
void inChild(const std::function<void()>& work) {
  constexpr unsigned kHung = 60;  // seconds
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(kHung);
    work();
    ::_exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

class SystemLog : public ::testing::Test {
 protected:
  void writeEntries() const {
    log.write(kChannel, LogType::kDebug, "%{public}@", "to debug");
    log.write(kChannel, LogType::kInfo, "<%{public}@> 100%", "%s%n %{public}@");
    log.write(kChannel, LogType::kError, "%{public}@", "a\nPRIORITY=0");
    log.write(kChannel, LogType::kFault, "no placeholder", "argument");
  }

  // What the journal is sent: these fields and no others.
  static std::string entry(const std::string& message, const std::string& priority) {
    return message + "\nPRIORITY=" + priority +
           "\nSYSLOG_IDENTIFIER=" + program_invocation_short_name +
           "\nBRISVANE_SUBSYSTEM=org.example.unit\nBRISVANE_CATEGORY=BV\n";
  }

  const TemporaryFolder folder;
  const std::string journalPath = folder / "journal";
  const std::string syslogPath = folder / "syslog";
  const JournalLog log{journalPath, syslogPath};
};

TEST_F(SystemLog, EntriesReachTheJournalWithTheirChannelOrSyslogWhereThereIsNoJournal) {
  writeEntries();  // nobody listens: dropped, without a failure
  Daemon syslog(syslogPath);
  writeEntries();
  const std::string head = "[A-Z][a-z][a-z] [ 1-3][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9] ";
  const std::string name = program_invocation_short_name;
  // The user facility, 8, and the priority.
  EXPECT_THAT(syslog.heard(), ElementsAre(MatchesRegex("<15>" + head + name + ": to debug"),
                                          EndsWith(name + ": <%s%n %{public}@> 100%"),
                                          StartsWith("<11>"), StartsWith("<10>")));
  {
    Daemon journal(journalPath);
    writeEntries();
    // A value of several lines goes with its length: no field can be slipped in.
    const std::string lines = "MESSAGE\n" + std::string("\x0C\0\0\0\0\0\0\0", 8) + "a\nPRIORITY=0";
    EXPECT_THAT(
        journal.heard(),
        ElementsAre(entry("MESSAGE=to debug", "7"), entry("MESSAGE=<%s%n %{public}@> 100%", "6"),
                    entry(lines, "3"), entry("MESSAGE=no placeholder", "2")));
    EXPECT_THAT(syslog.heard(), IsEmpty());
  }
  Daemon restarted(journalPath);
  writeEntries();
  EXPECT_THAT(restarted.heard(), SizeIs(4));
}

TEST_F(SystemLog, EntryTooLargeForADatagramIsPassedAsSealedMemory) {
  Daemon journal(journalPath);
  const std::string large(10'000'000, 'x');
  log.write(kChannel, LogType::kInfo, "%{public}@", large);
  log.write(kChannel, LogType::kInfo, "%{public}@", "small");
  EXPECT_THAT(journal.heard(),
              ElementsAre(entry("MESSAGE=" + large, "6"), entry("MESSAGE=small", "6")));
}

// Each entry would be waited for as long as the first: the sum of it would have the child ended.
TEST_F(SystemLog, DaemonThatHangsIsWaitedForOnceAndThenToldHowManyEntriesItMissed) {
  constexpr int kThreads = 3;
  const int lineCount = 50 + std::stoi(contentOf("/proc/sys/net/unix/max_dgram_qlen"));
  Daemon daemon(journalPath);
  inChild([&] {
    auto platform = std::make_shared<Platform>(*host::platform());
    platform->setSystemLog(std::make_shared<JournalLog>(journalPath, syslogPath));
    const ScopedPlatform installed(platform);
    const std::string file = folder / "run.log";
    BVLog tool(SystemLogHandle::waylineLog(), file, 0);
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&] {
        for (int line = 0; line < lineCount; ++line) tool.info("line");
      });
    }
    threads.clear();
    const std::string lines = contentOf(file);
    std::filesystem::remove(file);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), kThreads * lineCount);
    const int taken = static_cast<int>(daemon.heard().size());
    EXPECT_LT(taken, lineCount);
    inChild([&] {  // has dropped none itself
      tool.debug("of a child");
      EXPECT_THAT(daemon.heard(), ElementsAre(HasSubstr("of a child")));
    });
    tool.debug("after");
    tool.debug("as ever");
    const std::string report =
        "Entries dropped before this one, because the system log did not take them: ";
    EXPECT_THAT(daemon.heard(),
                ElementsAre(HasSubstr("after"),
                            HasSubstr(report + std::to_string(kThreads * lineCount - taken)),
                            HasSubstr("as ever")));
  });
}

TEST_F(SystemLog, DaemonThatIsSlowMissesNothing) {
  Daemon journal(journalPath);
  constexpr std::size_t kEntries = 100;
  std::vector<std::string> heard;
  {
    const std::jthread writer([&] {
      for (std::size_t i = 0; i < kEntries; ++i)
        log.write(kChannel, LogType::kInfo, "%{public}@", "entry");
    });
    while (heard.size() < kEntries && !::testing::Test::HasFailure()) {
      ::usleep(10'000);
      const auto more = journal.heard();
      heard.insert(heard.end(), more.begin(), more.end());
      for (const std::string& text : more) EXPECT_EQ(text, entry("MESSAGE=entry", "6"));
    }
  }
}

// Every number becomes that of a connection of the program's own.
TEST_F(SystemLog, ProgramThatClosedAllItsDescriptorsGetsNoEntryIntoAConnectionOfItsOwn) {
  Daemon journal(journalPath);
  writeEntries();
  const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(::bind(server, reinterpret_cast<sockaddr*>(&address), length), 0);
  ASSERT_EQ(::getsockname(server, reinterpret_cast<sockaddr*>(&address), &length), 0);
  ASSERT_EQ(::listen(server, 1), 0);
  inChild([&] {
    constexpr int kNumbers = 64;
    const int connection = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::connect(connection, reinterpret_cast<const sockaddr*>(&address), length), 0);
    for (int number = 3; number < kNumbers; ++number) ::dup2(connection, number);
    writeEntries();
  });
  EXPECT_THAT(journal.heard(), SizeIs(8));
  const int connected = ::accept4(server, nullptr, nullptr, SOCK_CLOEXEC);
  char byte = 0;
  EXPECT_EQ(::recv(connected, &byte, 1, 0), 0);
  ::close(connected);
  ::close(server);
}

TEST_F(SystemLog, ChildForkedWhileOtherThreadsLogCanLog) {
  const Daemon syslog(syslogPath);  // which hangs
  std::vector<std::jthread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([this](const std::stop_token& stop) {
      while (!stop.stop_requested()) writeEntries();
    });
  }
  for (int i = 0; i < 30; ++i) inChild([this] { writeEntries(); });
}

}  // namespace
}  // namespace brisvane::host::real
