#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "brisvane/host/launching/command.h"
#include "brisvane/support/Brisvane.h"
#include "brisvane/types/data.h"
#include "tests/support/own_process.h"
#include "tests/support/simulated_test.h"

namespace brisvane {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::ElementsAre;
using ::testing::Optional;

class CommandRunner : public testing::SimulatedTest {
 protected:
  // What a shell prints; nullopt for no text.
  static std::optional<std::string> shell(const std::string& script, Text directory = nullptr) {
    std::optional<std::string> output = "before";
    EXPECT_TRUE(Brisvane::runCommandWithLaunchPath("/bin/sh", {"-c", script}, directory, output))
        << script;
    return output;
  }
  static std::string failure(Text path, const std::vector<std::string>& arguments = {},
                             Text directory = nullptr) {
    std::optional<std::string> output;
    EXPECT_FALSE(Brisvane::runCommandWithLaunchPath(path, arguments, directory, output))
        << path.orEmpty();
    return output.value_or("");
  }
  [[nodiscard]] std::string program(const std::string& name, const std::string& content) const {
    const std::string path = folder / name;
    testing::writeFile(path, content);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  }
};

TEST_F(CommandRunner, GivesBothStreamsInTheirOrderHoweverTheProgramEnds) {
  EXPECT_EQ(shell("echo out; echo err >&2; echo 'out 2'; exit 3"), "out\nerr\nout 2\n");
  EXPECT_THAT(logged(),
              ElementsAre("debug %{public}@|Executing command [/bin/sh] "
                          "[\"-c\", \"echo out; echo err >&2; echo 'out 2'; exit 3\"]\n"));
  EXPECT_EQ(shell("printf ' a\\0b \\n\\n'"), std::string(" a\0b \n\n", 7));
  EXPECT_EQ(shell(""), "");
  EXPECT_EQ(shell("kill -9 $$"), "");
  EXPECT_EQ(shell("printf 'a\\377'"), std::nullopt);
  std::optional<std::string> output;
  EXPECT_TRUE(Brisvane::runCommandWithLaunchPath("/bin/echo", {"a b", "", "\u00E4", "$x"}, nullptr,
                                                 output));
  EXPECT_EQ(output, "a b  \u00E4 $x\n");
}

TEST_F(CommandRunner, ReadsWhileTheProgramRuns) {
  constexpr std::size_t kSize = std::size_t{64} << 20U;
  const auto output = shell("head -c " + std::to_string(kSize) + " /dev/zero");
  EXPECT_EQ(output.value_or("").size(), kSize);
  std::string numbers;
  for (int i = 1; i <= 600'000; ++i) numbers += std::to_string(i) + "\n";
  EXPECT_TRUE(shell("seq 1 600000") == numbers);
}

TEST_F(CommandRunner, StartsInTheFolderThatIsGiven) {
  std::filesystem::create_directory(folder / "sub");
  static_cast<void>(program("sub/run", "#!/bin/sh\npwd\n"));
  EXPECT_EQ(shell("pwd", folder / "sub"), (folder / "sub") + "\n");
  EXPECT_EQ(shell("pwd"), std::filesystem::current_path().string() + "\n");
  std::optional<std::string> output;
  EXPECT_TRUE(Brisvane::runCommandWithLaunchPath("./run", {}, folder / "sub", output));
  EXPECT_EQ(output, (folder / "sub") + "\n");
}

TEST_F(CommandRunner, SaysWhatCannotBeStartedAndWhy) {
  testing::writeFile(folder / "data", "echo x\n");
  EXPECT_EQ(failure("/nowhere/program"), "/nowhere/program: No such file or directory");
  EXPECT_THAT(logged(), ElementsAre("debug %{public}@|Executing command [/nowhere/program] []\n",
                                    "error ERROR %{public}@|Command exception: "
                                    "[/nowhere/program: No such file or directory]"));
  const auto command = host::Command::start("/nowhere/program", {}, {});
  ASSERT_FALSE(command.ok());
  EXPECT_EQ(command.error().text(), "/nowhere/program: No such file or directory");
  EXPECT_EQ(failure(folder / "data"), (folder / "data") + ": Permission denied");
  EXPECT_EQ(failure(folder.path()), folder.path() + ": Permission denied");
  EXPECT_EQ(failure("sh"), "sh: No such file or directory");
  EXPECT_EQ(failure("/bin/sh", {}, "/nowhere"), "/nowhere: No such file or directory");
  EXPECT_EQ(failure("/bin/sh", {}, folder / "data"), (folder / "data") + ": Not a directory");
  EXPECT_EQ(failure("/bin/sh", {std::string("a\0b", 3)}), "/bin/sh: Invalid argument");
  EXPECT_EQ(failure("/bin/sh", {}, ""), "an empty working directory: No such file or directory");
  EXPECT_THAT(failure(std::string("/bin/sh\0", 8)),
              ::testing::EndsWith("No such file or directory"));
  for (const Text none : {Text(nullptr), Text("")}) {
    EXPECT_EQ(failure(none), "an empty path: No such file or directory");
  }
}

TEST_F(CommandRunner, BlamesTheInterpreterThatIsMissing) {
  const std::string none = ": No such file or directory";
  const std::string script = program("script", "#! \t/nowhere/sh -x\necho x\n");
  EXPECT_EQ(failure(script), script + ": its interpreter \"/nowhere/sh\"" + none);
  EXPECT_EQ(failure("./script", {}, folder.path()),
            "./script: its interpreter \"/nowhere/sh\"" + none);
  // Lines that end as on another system; the carriage return belongs to the name.
  EXPECT_EQ(failure(program("foreign", "#!/bin/sh\r\n")),
            (folder / "foreign") + ": its interpreter \"/bin/sh\\r\"" + none);
  EXPECT_EQ(failure(program("outer", "#!" + script)),
            (folder / "outer") + ": its interpreter \"" + script +
                "\": its interpreter \"/nowhere/sh\"" + none);
  testing::writeFile(folder / "data", "");
  EXPECT_EQ(
      failure(program("unfit", "#!" + (folder / "data"))),
      (folder / "unfit") + ": its interpreter \"" + (folder / "data") + "\": Permission denied");
  std::string compiled = testing::contentOf("/proc/self/exe");  // /bin/sleep may have no loader
  compiled.replace(compiled.find("/ld-linux"), 9, "/no-linux");
  EXPECT_EQ(failure(program("compiled", compiled)), (folder / "compiled") + ": its loader" + none);
  // It is there and has a program for its interpreter: something else is wrong.
  const std::string large(std::size_t{1} << 20U, 'x');
  EXPECT_EQ(failure(program("fine", "#!/bin/sh\n"), {large}),
            (folder / "fine") + ": Argument list too long");
}

TEST_F(CommandRunner, BlamesTheWorkingDirectoryThatMayNotBeEntered) {
  std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
  const std::string closed = folder / "closed";
  std::filesystem::create_directory(closed);
  std::filesystem::permissions(closed, std::filesystem::perms::none);
  const pid_t child = ::fork();
  if (child == 0) {
    constexpr uid_t kNobody = 65534;  // the superuser may enter anything
    if (::geteuid() == 0 && ::setuid(kNobody) != 0) ::_exit(2);
    ::_exit(failure("/bin/true", {}, closed) == closed + ": Permission denied" ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(CommandRunner, WaitsForAChildThatKeepsTheOutputOpen) {
  const auto start = steady_clock::now();
  EXPECT_EQ(shell("sleep 0.4 & echo started"), "started\n");
  EXPECT_GE(steady_clock::now() - start, milliseconds(400));
}

TEST_F(CommandRunner, EndsAProgramThatWritesMoreThanItsLimit) {
  std::optional<std::string> output;
  const std::vector<std::string> yes{"-c", "trap '' PIPE; while :; do echo yes; done"};
  EXPECT_FALSE(Brisvane::runCommandWithLaunchPath("/bin/sh", yes, nullptr, output, 1000));
  EXPECT_EQ(output, "/bin/sh: wrote more than 1000 bytes");
  for (const std::size_t limit : {4U, 5U}) {
    const auto text = host::runCommand("/bin/echo", {"four"}, {}, limit);
    EXPECT_EQ(text.ok() ? text.value() : text.error().reason(),
              limit == 5 ? "four\n" : "wrote more than 4 bytes");
  }
  // What has ended already is left alone, and a child that goes on writing finds nobody.
  const auto left =
      host::runCommand("/bin/sh", {"-c", "(sleep 0.2; exec cat /dev/zero) & echo"}, {}, 100'000);
  EXPECT_EQ(left.ok() ? 0 : left.error().number(), EFBIG);
}

TEST_F(CommandRunner, RunsManyAtOnceWithoutOneHoldingUpAnother) {
  const std::string barrier = folder / "barrier";
  testing::writeFile(barrier, "");
  std::vector<std::thread> slow;
  std::vector<std::thread> quick;
  for (int i = 0; i < 4; ++i) {
    slow.emplace_back(
        [&barrier] { EXPECT_EQ(shell("while [ -e " + barrier + " ]; do sleep 0.1; done"), ""); });
  }
  for (int i = 0; i < 8; ++i) {
    quick.emplace_back([i] {
      for (int round = 0; round < 10; ++round)
        EXPECT_EQ(shell("echo " + std::to_string(i)), std::to_string(i) + "\n");
    });
  }
  // A pipe that had leaked into a slow one would be waited for without end.
  for (std::thread& thread : quick) thread.join();
  std::filesystem::remove(barrier);
  for (std::thread& thread : slow) thread.join();
}

TEST_F(CommandRunner, GivesTheProgramDefaultSignals) {
  const auto pipeBefore = ::signal(SIGPIPE, SIG_IGN);
  const auto childBefore = ::signal(SIGCHLD, SIG_IGN);  // its end cannot be waited for then
  sigset_t blocked;
  sigset_t before;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  EXPECT_EQ(shell("kill -PIPE $$; echo alive"), "");
  EXPECT_EQ(shell("kill -TERM $$; echo alive"), "");
  EXPECT_EQ(shell("echo ended"), "ended\n");
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  ::signal(SIGPIPE, pipeBefore);
  ::signal(SIGCHLD, childBefore);
}

class CommandUnderWay : public testing::SimulatedTest {
 protected:
  static std::unique_ptr<host::Command> start(const std::string& script) {
    return host::Command::start("/bin/sh", {"-c", script}, {}).value();
  }
  // Whether the program prints the text.
  static bool prints(host::Command& command, std::string_view text) {
    for (int i = 0; i < 2000 && asCharacters(command.output()).find(text) == std::string_view::npos;
         ++i) {
      if (command.collect(milliseconds(10))) break;
    }
    return asCharacters(command.output()).find(text) != std::string_view::npos;
  }
  static constexpr milliseconds kLong{20'000};
};

TEST_F(CommandUnderWay, TellsHowItEnds) {
  const auto status = [](const std::string& script) {
    const auto command = start(script);
    EXPECT_EQ(command->status(), std::nullopt);
    EXPECT_TRUE(command->collect(kLong)) << script;
    EXPECT_TRUE(command->hasEnded());
    return command->status();
  };
  EXPECT_EQ(status("exit 0"), 0);
  EXPECT_EQ(status("exit 255"), 255);
  EXPECT_EQ(status("kill -9 $$"), std::nullopt);
  EXPECT_EQ(status("exec >&- 2>&-; sleep 0.1; exit 3"), 3);
  const auto childBefore = ::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(status("exit 1"), std::nullopt);
  ::signal(SIGCHLD, childBefore);
}

TEST_F(CommandUnderWay, IsSignalledItselfAndOutlivedByWhatHoldsItsOutput) {
  const auto command = start("sleep 100 & echo $! ready; wait");
  ASSERT_TRUE(prints(*command, "ready\n"));
  EXPECT_FALSE(command->hasEnded());
  command->send(SIGTERM);
  for (int i = 0; i < 2000 && !command->hasEnded(); ++i)
    EXPECT_FALSE(command->collect(milliseconds(10)));
  EXPECT_EQ(command->status(), std::nullopt);
  EXPECT_EQ(command->endingSignal(), SIGTERM);
  command->send(SIGTERM);  // reaches nobody
  ::kill(std::atoi(std::string(asCharacters(command->output())).c_str()), SIGKILL);
  EXPECT_TRUE(command->collect(kLong));
}

TEST_F(CommandUnderWay, IsReadWhileItRunsHoweverMuchItPrints) {
  constexpr std::size_t kSize = std::size_t{16} << 20U;
  const auto command = start("head -c " + std::to_string(kSize) + " /dev/zero; echo end");
  EXPECT_TRUE(command->collect(kLong));
  EXPECT_EQ(command->output().size(), kSize + 4);
  // One that never pauses does not keep its caller from looking up.
  const auto endless = start("exec cat /dev/zero");
  EXPECT_FALSE(endless->collect(milliseconds(10)));
  endless->send(SIGKILL);
  EXPECT_TRUE(endless->collect(kLong));
}

TEST_F(CommandUnderWay, IsCollectedForAsLongAsAnyTimeSays) {
  const auto started = host::Command::start("/bin/sh", {"-c", "sleep 0.1; echo end"}, {});
  ASSERT_TRUE(started.ok());
  EXPECT_FALSE(started.value()->collect(milliseconds::min()));
  EXPECT_TRUE(started.value()->collect(milliseconds::max()));
  EXPECT_EQ(asCharacters(started.value()->output()), "end\n");
}

TEST_F(CommandUnderWay, IsEndedAtTheLimitOfItsOutput) {
  const auto started = host::Command::start("/bin/sh", {"-c", "exec cat /dev/zero"}, {}, 100'000);
  ASSERT_TRUE(started.ok());
  host::Command& command = *started.value();
  while (!command.collect(milliseconds(100))) continue;
  EXPECT_TRUE(command.hasExceededLimit());
  EXPECT_EQ(command.output(), Data(100'000));
  EXPECT_EQ(command.endingSignal(), SIGKILL);
}

TEST_F(CommandRunner, WorksInAProgramWithoutStandardStreams) {
  testing::inProcessOfItsOwn([] {
    for (const int stream : {0, 1, 2}) ::close(stream);
    std::optional<std::string> output;
    const bool ran = Brisvane::runCommandWithLaunchPath("/bin/sh", {"-c", "echo out; echo err >&2"},
                                                        nullptr, output);
    std::_Exit(ran && output == "out\nerr\n" ? 0 : 1);
  });
}

}  // namespace
}  // namespace brisvane
