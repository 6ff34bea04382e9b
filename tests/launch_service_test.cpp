#include "brisvane/host/launching/launch_service.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "brisvane/host/formats/file_url.h"
#include "brisvane/host/launching/application_launcher.h"
#include "brisvane/host/platform.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/process/BVProcess.h"
#include "tests/support/launches.h"
#include "tests/support/temporary_folder.h"

namespace brisvane {
namespace {

using std::chrono::steady_clock;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;
using ::testing::StartsWith;

constexpr std::chrono::seconds kHangs{20};

template <typename Condition>
bool comesTrue(Condition condition) {
  const auto deadline = steady_clock::now() + kHangs;
  while (!condition() && steady_clock::now() < deadline) ::usleep(5000);
  return condition();
}

// Whether no child of this process runs, and none has left a zombie.
bool hasNoChild() {
  siginfo_t child;
  return ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == -1 && errno == ECHILD;
}

// Waits for what services launched that are gone.
void reapChildren() {
  while (::waitpid(-1, nullptr, 0) > 0) {
  }
}

// The real launch service, and a folder for applications.
class LaunchService : public ::testing::Test {
 protected:
  LaunchService() {
    auto platform = std::make_shared<host::Platform>();
    platform->setLaunchService(std::make_shared<host::real::ApplicationLauncher>());
    installed_ = std::make_unique<host::ScopedPlatform>(platform);
    BVLog::initAggregatedError("");
  }

  std::string script(const std::string& name, const std::string& text) const {
    const std::string path = folder / name;
    testing::writeFile(path, text);
    ::chmod(path.c_str(), 0755);
    return path;
  }
  std::string entry(const std::string& name, const std::string& keys) const {
    testing::writeFile(folder / (name + ".desktop"),
                       "[Desktop Entry]\nType=Application\nName=x\n" + keys);
    return folder / (name + ".desktop");
  }
  [[nodiscard]] std::string recorded() const {
    EXPECT_TRUE(comesTrue([this] { return std::filesystem::exists(record_); }));
    std::string text = testing::contentOf(record_);
    std::filesystem::remove(record_);
    return text;
  }
  // Launches what must not be, and gives the reason.
  static std::string refusal(const std::string& path) {
    BVLog::initAggregatedError("");
    EXPECT_EQ(BVProcess::runApp(path, {}, "x", 5), 3) << path;
    const std::string errors = BVLog::aggregatedErrorDescription();
    return errors.substr(0, errors.find('\n'));
  }

  testing::TemporaryFolder folder;
  const std::string record_ = folder / "record";
  const std::string application_ = TEST_APPLICATION;

 private:
  std::unique_ptr<host::ScopedPlatform> installed_;
};

TEST_F(LaunchService, StartsAProgramThatHasNothingOfOurs) {
  ::setenv("NOTIFY_SOCKET", "/of/ours", 1);
  const auto before = ::signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(BVProcess::runApp(application_, {"record", record_, "a b", "", "\u00E4"},
                              "test_application", 5),
            0);
  ::signal(SIGPIPE, before);
  ::unsetenv("NOTIFY_SOCKET");
  const std::string text = recorded();
  EXPECT_THAT(text, HasSubstr("session own\ndescriptors 3\nsignals default\nsocket none\n"
                              "argument a b\nargument \nargument \u00E4\n"));
  EXPECT_THAT(text, StartsWith("directory " + std::filesystem::current_path().string() + "\n"));
}

TEST_F(LaunchService, StartsAnAppDirAndADesktopEntry) {
  const std::string appDir = folder / "Tool.AppDir";
  script("Tool.AppDir/AppRun",
         "#!/bin/sh\nexec '" + application_ + "' record '" + record_ + "' AppRun \"$@\"\n");
  testing::writeFile(appDir + "/org.example.Tool.desktop", "[Desktop Entry]\nExec=never\n");
  EXPECT_EQ(BVProcess::runApp(appDir + "/", {"x y"}, "org.example.Tool", 5), 0);
  EXPECT_THAT(recorded(), HasSubstr("argument AppRun\nargument x y\n"));

  std::filesystem::create_directory(folder / "work dir");
  const std::string awkward =
      entry("org.example.Awkward", "TryExec=sh\nPath=" + (folder / "work\\sdir") + "\nExec=\"" +
                                       application_ + "\" record \"" + record_ +
                                       R"(" "a \\"b\\" \\$c \\\\ 100%%" %c --file=%f %F)" + "\n");
  EXPECT_EQ(BVProcess::runApp(awkward, {"1", "2 3"}, "org.example.Awkward", 5), 0);
  EXPECT_THAT(
      recorded(),
      ::testing::AllOf(StartsWith("directory " + (folder / "work dir") + "\n"),
                       HasSubstr("argument a \"b\" $c \\ 100%\nargument x\nargument --file=1\n"
                                 "argument 2 3\n")));
  EXPECT_EQ(BVProcess::runApp(entry("path", "Exec=sh -c \": %F\"\n"), {}, "path", 5), 3);
  EXPECT_EQ(BVProcess::runApp(entry("path", "Exec=true\n"), {}, "path", 5),
            0);  // looked for in PATH
}

TEST_F(LaunchService, SaysWhatCannotBeStartedAndWhy) {
  const std::string error = "openAppURL Error: ";
  EXPECT_EQ(refusal(folder / "none"), error + (folder / "none") + ": No such file or directory");
  EXPECT_EQ(refusal(folder / "none.desktop"),
            error + (folder / "none.desktop") + ": No such file or directory");
  EXPECT_EQ(refusal(script("plain", "echo no interpreter\n")),
            error + (folder / "plain") + ": Exec format error");
  EXPECT_EQ(
      refusal(script("lost", "#!/nowhere/sh\n")),
      error + (folder / "lost") + ": its interpreter \"/nowhere/sh\": No such file or directory");
  EXPECT_EQ(refusal(""), error + "an empty path: No such file or directory");
  testing::writeFile(folder / "data", "x");
  EXPECT_EQ(refusal(folder / "data"), error + (folder / "data") + ": Permission denied");
  EXPECT_THAT(refusal(folder.path()), HasSubstr(": is no AppDir"));
  EXPECT_THAT(refusal(entry("a", "Exec=true\nTerminal=true\n")),
              HasSubstr("a.desktop: needs a terminal, and none is available"));
  EXPECT_THAT(refusal(entry("a", "Exec=true\nTryExec=\n")),
              HasSubstr("names an empty program (TryExec)"));
  EXPECT_THAT(refusal(entry("a", "Exec=\"\" x\n")), HasSubstr("names an empty program (Exec)"));
  EXPECT_FALSE(BVProcess::openItemWithURL("", {}, 5));
  EXPECT_THAT(BVLog::aggregatedErrorDescription(), HasSubstr("an empty URL: is no file URL"));
  EXPECT_THAT(refusal(entry("a", "Exec=true\nTryExec=no-such-program\n")),
              HasSubstr("no-such-program (TryExec)"));
  EXPECT_THAT(refusal(entry("a", "Exec=true\nPath=/nowhere\n")),
              HasSubstr("/nowhere: No such file"));
  EXPECT_THAT(refusal(entry("a", "Exec=true 'x'\n")),
              HasSubstr("its command (Exec) has a reserved character"));
  EXPECT_THAT(refusal(entry("a", "Exec=no-such-program\n")),
              HasSubstr("there is no program no-such-program (Exec)"));
  EXPECT_THAT(refusal(entry("a", "")), HasSubstr("has no command"));
  script("T.AppDir/AppRun", "#!/bin/sh\n");
  testing::writeFile(folder / "T.AppDir/t.desktop", "[Desktop Entry]\nTerminal=true\n");
  EXPECT_THAT(refusal(folder / "T.AppDir"), HasSubstr("t.desktop: needs a terminal"));
  EXPECT_THAT(refusal(entry("a", "Hidden=true\nExec=true\n")), HasSubstr("deleted"));
  testing::writeFile(folder / "b.desktop", "Exec=true\n");
  EXPECT_THAT(refusal(folder / "b.desktop"), HasSubstr("is no desktop entry"));
}

TEST_F(LaunchService, WaitsForTheReadinessOfAnApplicationThatTellsIt) {
  const auto start = steady_clock::now();
  const std::string slow =
      entry("slow", "X-Brisvane-Ready=notify\nExec=" + application_ + " ready 0.3\n");
  EXPECT_EQ(BVProcess::runApp(slow, {}, "slow", 10), 0);
  EXPECT_GE(steady_clock::now() - start, std::chrono::milliseconds(300));
  const std::string quick =
      entry("quick", "X-Brisvane-Ready=notify\nExec=" + application_ + " ready 0\n");
  EXPECT_EQ(BVProcess::runApp(quick, {}, "quick", 10), 0);
  // What it says later, far more than a socket holds, does not hold it up.
  const std::string chatty =
      entry("chatty", "X-Brisvane-Ready=notify\nExec=" + application_ + " chat " + record_ + "\n");
  EXPECT_EQ(BVProcess::runApp(chatty, {}, "chatty", 10), 0);
  EXPECT_EQ(recorded(), "done\n");
}

TEST_F(LaunchService, TakesNoApplicationForUpThatEndsWithoutAWord) {
  reapChildren();
  testing::Launches all(host::platform()->launchService(),
                        {host::LaunchCode::kStarted, host::LaunchCode::kUp});
  const std::string never =
      entry("never", "X-Brisvane-Ready=notify\nExec=" + application_ + " sleep 0\n");
  EXPECT_EQ(all.launch(host::fileUrl(never)), std::nullopt);
  EXPECT_TRUE(comesTrue(hasNoChild));
  EXPECT_EQ(all.launch("file:///bin/true"), std::nullopt);
  EXPECT_THAT(all.heard(3),
              ElementsAre(Pair(0x110, "never"), Pair(0x110, "true"), Pair(0x102, "true")));
}

TEST_F(LaunchService, LeavesNoZombieAlsoWhereEndsAreIgnored) {
  reapChildren();
  EXPECT_EQ(BVProcess::runApp(application_, {"sleep", "0.05"}, "test_application", 5), 0);
  EXPECT_TRUE(comesTrue(hasNoChild));
  const auto before = ::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(BVProcess::runApp(application_, {"sleep", "0.05"}, "test_application", 5), 0);
  EXPECT_TRUE(comesTrue(hasNoChild));
  ::signal(SIGCHLD, before);
}

TEST_F(LaunchService, LaunchesSeveralAtOnce) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([this, i] {
      const std::string name = "many" + std::to_string(i);
      const std::string exec = i % 2 == 0 ? application_ + " ready 0.1\n" : "no-such-program\n";
      const std::string path = entry(name, "X-Brisvane-Ready=notify\nExec=" + exec);
      EXPECT_EQ(BVProcess::runApp(path, {}, name, 20), i % 2 == 0 ? 0 : 3) << i;
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(LaunchService, NeedsADescriptorForASubscription) {
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{0, before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &none);
  const std::int64_t result =
      BVProcess::runApp(application_, {"record", record_}, "test_application", 5);
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(result, 1);
  EXPECT_FALSE(std::filesystem::exists(record_));
}

TEST_F(LaunchService, CallsNobodyBackWhoHasUnsubscribed) {
  const auto platform = host::platform();
  const host::LaunchService& service = platform->launchService();
  const host::SerialQueue queue("org.example.queue");
  std::atomic<int> calls{0};
  host::SubscriptionHandle own = 0;
  // One ends its own subscription from within the callback, one is ended while others are told.
  const auto subscribed = service.subscribe(
      -2, 0, queue, [&](std::int32_t /*code*/, double time, const Dictionary* data, auto...) {
        EXPECT_GT(time, 1.5e9);
        EXPECT_EQ(data->at("BkBundleIdentifier"), Object("true"));
        ++calls;
        service.unsubscribe(own);
      });
  ASSERT_TRUE(subscribed.ok());
  own = subscribed.value();
  const std::int32_t codes[] = {0x100, 0x110};
  ASSERT_TRUE(service.selectCodes(own, codes, 0, 0, 0, 0).ok());
  EXPECT_FALSE(service.selectCodes(own + 1, codes, 0, 0, 0, 0).ok());
  service.unsubscribe(own + 1);
  testing::Launches another(service, {0x100, 0x110});
  for (const std::size_t heard : {2U, 4U}) {
    EXPECT_EQ(another.launch("file:///bin/true"), std::nullopt);
    EXPECT_THAT(another.heard(heard), ::testing::SizeIs(heard));
    EXPECT_TRUE(comesTrue([&] { return calls == 1; }));
  }
}

// A session bus of the test's own, which can start the application.
class Bus {
 public:
  explicit Bus(const testing::TemporaryFolder& folder) {
    const std::string address = "unix:path=" + (folder / "bus");
    testing::writeFile(folder / "bus.conf",
                       "<busconfig><type>session</type><listen>" + address +
                           "</listen><servicedir>" + (folder / "services") +
                           "</servicedir><policy context=\"default\"><allow send_destination=\"*\" "
                           "eavesdrop=\"true\"/><allow own=\"*\"/><allow "
                           "receive_sender=\"*\"/></policy></busconfig>");
    testing::writeFile(folder / "services/org.example.Service.service",
                       std::string("[D-BUS Service]\nName=org.example.Service\nExec=") +
                           TEST_APPLICATION + " bus org.example.Service " + (folder / "asked") +
                           "\n");
    testing::writeFile(folder / "services/org.example.Broken.service",
                       "[D-BUS Service]\nName=org.example.Broken\nExec=/bin/false\n");
    std::string program = "dbus-daemon";
    std::string configuration = "--config-file=" + (folder / "bus.conf");
    std::string foreground = "--nofork";
    char* const arguments[] = {program.data(), configuration.data(), foreground.data(), nullptr};
    isThere_ =
        ::posix_spawnp(&process_, "dbus-daemon", nullptr, nullptr, arguments, environ) == 0 &&
        comesTrue([&] { return isListening(folder / "bus"); });
    ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  }
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;
  ~Bus() {
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    if (process_ <= 0) return;
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
  }
  [[nodiscard]] bool isThere() const { return isThere_; }

 private:
  // The socket's file is there a moment earlier.
  static bool isListening(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool connected =
        ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return connected;
  }

  pid_t process_ = 0;
  bool isThere_ = false;
};

TEST_F(LaunchService, ActivatesAnApplicationOnTheSessionBus) {
  const std::string keys = "DBusActivatable=true\nExec=never\n";
  const std::string service = entry("org.example.Service", keys);
  ::unsetenv("XDG_RUNTIME_DIR");
  EXPECT_THAT(refusal(service), HasSubstr("there is no session bus"));
  const Bus bus(folder);
  ASSERT_TRUE(bus.isThere());
  EXPECT_EQ(BVProcess::runApp(service, {}, "org.example.Service", 10), 0);
  EXPECT_EQ(BVProcess::runApp(service, {"/a b", "https://example.org/"}, "org.example.Service", 10),
            0);
  EXPECT_EQ(testing::contentOf(folder / "asked"),
            "Activate\nOpen file:///a%20b https://example.org/\n");
  EXPECT_THAT(refusal(entry("org.example.Broken", keys)), HasSubstr("org.example.Broken: "));
  EXPECT_THAT(refusal(entry("org.example.Missing", keys)), HasSubstr("org.example.Missing"));
  EXPECT_THAT(refusal(entry("noname", keys)), HasSubstr("noname: is no name on the bus"));
  BVLog::initAggregatedError("");
  EXPECT_EQ(BVProcess::runApp(service, {"relative"}, "org.example.Service", 5), 3);
  EXPECT_THAT(BVLog::aggregatedErrorDescription(), HasSubstr("absolute paths and URLs alone"));
}

}  // namespace
}  // namespace brisvane
