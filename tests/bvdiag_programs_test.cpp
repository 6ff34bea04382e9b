// The commands of bvdiag that start other programs: what these get, and how they end.
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/bvdiag_program.h"
#include "tests/support/temporary_folder.h"

namespace brisvane {
namespace {

using ::testing::AllOf;
using testing::contentOf;
using testing::countOf;
using testing::errorsOf;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::outputOf;
using testing::Program;
using ::testing::StartsWith;
using testing::TemporaryFolder;
using testing::writeFile;

void writeProgram(const std::string& path, const std::string& script) {
  writeFile(path, "#!/bin/sh\n" + script + "\n");
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

// The first line of a file, once it is there.
std::string lineIn(const std::string& file) {
  std::string content;
  for (int i = 0; i < 10'000 && content.find('\n') == std::string::npos; ++i) {
    ::usleep(1000);
    content = contentOf(file);
  }
  return testing::firstLine(content);
}

// The number of a process that a file tells; no process has 2^22.
pid_t processIn(const std::string& file) {
  const int number = std::atoi(lineIn(file).c_str());
  EXPECT_GT(number, 1);
  return number > 1 ? number : 1 << 22;
}

TEST(BvdiagLaunch, TellsEachResultAndItsReason) {
  EXPECT_THAT(
      outputOf({"--simulated", "launch", "--id", "org.brisvane.helper", "/opt/brisvane/helper"}),
      StartsWith("org.brisvane.helper is up after "));
  EXPECT_THAT(outputOf({"launch", "--json", "/bin/true"}),
              HasSubstr(R"("identifier":"true","ok":true,"path":"/bin/true","result":0)"));
  EXPECT_THAT(outputOf({"launch", "--open-only", "/bin/true"}), StartsWith("true is launched"));
  EXPECT_THAT(errorsOf({"launch", "/nowhere/tool"}, 1),
              AllOf(HasSubstr("(result 3)"),
                    HasSubstr("openAppURL Error: /nowhere/tool: No such file or directory")));
  EXPECT_THAT(errorsOf({"launch", "--id", "other", "--timeout", "1", "/bin/true"}, 1),
              HasSubstr("(result 2)"));
  const TemporaryFolder folder;
  writeFile(folder / "machine.json", R"({"launchService": {"refusesSubscriptions": true}})");
  EXPECT_THAT(errorsOf({"--machine", folder / "machine.json", "launch", "/x"}, 1),
              HasSubstr("(result 1)"));
}

TEST(BvdiagLaunch, GivesAllAfterThePathToTheApplication) {
  const TemporaryFolder folder;
  writeProgram(folder / "tool", "echo \"$# $*\" >" + (folder / "arguments"));
  outputOf({"launch", "--open-only", folder / "tool", "--id", "--json", "--", "-x"});
  EXPECT_EQ(lineIn(folder / "arguments"), "4 --id --json -- -x");
}

TEST(BvdiagExec, GivesAllAfterTheNameToTheProgram) {
  EXPECT_THAT(outputOf({"exec", "ls", "--help"}), HasSubstr("--almost-all"));
  EXPECT_EQ(outputOf({"exec", "/usr/bin/printf", "<%s>", "--json", "--dir", "--", "[a,b]", "", "-V",
                      "exec", "a b"}),
            "<--json><--dir><--><[a,b]><><-V><exec><a b>");
  EXPECT_EQ(outputOf({"--color", "never", "exec", "--dir", "/tmp", "--", "pwd", "--"}), "/tmp\n");
  EXPECT_EQ(outputOf({"--machine=/nonexistent.json", "exec", "true"}, 1), "");
  EXPECT_THAT(outputOf({"exec", "--help"}), AllOf(HasSubstr("PROGRAM"), HasSubstr("ARGUMENT")));
  EXPECT_THAT(errorsOf({"exec"}, 2), HasSubstr("PROGRAM"));
  EXPECT_THAT(errorsOf({"exec", "--no-such", "true"}, 2), HasSubstr("--no-such"));
}

TEST(BvdiagExec, ShowsWhatTheProgramPrintedAndEndsAsItDid) {
  const auto script = [](const std::string& text) {
    return std::vector<std::string>{"exec", "/bin/sh", "-c", text};
  };
  Program failing(script("echo out; echo err >&2; exit 7"));
  EXPECT_EQ(failing.status(), 7);
  EXPECT_EQ(failing.output, "out\nerr\n");
  EXPECT_EQ(failing.errors, "");
  outputOf(script("kill -9 $$"), 137);
  EXPECT_EQ(outputOf(script("printf '\\377'")), "\xff");
  outputOf(script("trap '' CHLD; exec " BVDIAG_PATH " exec false"), 1);

  const auto inJson = [&](const std::string& text, int status) {
    auto arguments = script(text);
    arguments.insert(arguments.begin(), "--json");
    return outputOf(arguments, status);
  };
  EXPECT_EQ(inJson("echo a", 0),
            R"({"ok":true,"output":"a\n","program":"/bin/sh","ran":true,"status":0})"
            "\n");
  EXPECT_EQ(
      inJson("echo a; exit 7", 7),
      R"({"error":"/bin/sh: exit status 7","ok":false,"output":"a\n","program":"/bin/sh","ran":true,"status":7})"
      "\n");
  EXPECT_THAT(inJson("printf '\\377'; kill $$", 143),
              AllOf(HasSubstr(R"("error":"/bin/sh: ended by signal 15")"),
                    HasSubstr(R"("outputHex":"FF")")));
}

TEST(BvdiagExec, WaitsVisibly) {
  const TemporaryFolder folder;
  std::string name;
  for (int i = 0; i < 10; ++i) name += "\u00e9";
  writeProgram(folder / (name + name), "exec sleep 100");
  Program waiting({"exec", name + name},
                  {.terminal = true,
                   .environment = {"PATH=" + folder.path() + ":/usr/bin:/bin"},
                   .columns = 40});
  EXPECT_TRUE(waiting.prints("\rwaiting for " + name + ": ")) << waiting.output;
  waiting.type("\x03");
  EXPECT_EQ(waiting.status(), 130) << waiting.output;
}

TEST(BvdiagExec, SaysThatThereIsNoSuchProgram) {
  const TemporaryFolder folder;
  EXPECT_THAT(errorsOf({"exec", "no-such-program"}, 127),
              HasSubstr("no-such-program: No such file or directory"));
  EXPECT_THAT(errorsOf({"exec", "/nowhere/program"}, 127),
              HasSubstr("/nowhere/program: No such file or directory"));
  EXPECT_THAT(outputOf({"--json", "exec", "/nowhere/program"}, 127),
              AllOf(HasSubstr(R"("ok":false)"), HasSubstr(R"("ran":false,"status":127)")));
  writeProgram(folder / "here", "echo x");
  EXPECT_EQ(outputOf({"exec", "--dir", folder.path(), "./here"}), "x\n");
  errorsOf({"exec", "--dir", folder.path(), "here"}, 127);  // that is no path
  writeFile(folder / "data", "echo x\n");
  EXPECT_THAT(errorsOf({"exec", "--dir", folder.path(), "./data"}, 126),
              HasSubstr("./data: Permission denied"));
  EXPECT_THAT(errorsOf({"exec", "--dir", "/nowhere", "true"}, 126),
              HasSubstr("/nowhere: No such file or directory"));
  EXPECT_THAT(errorsOf({"exec", "--log", "/nowhere/log", "true"}, 126),
              HasSubstr("log file /nowhere/log"));
}

TEST(BvdiagExec, IsFollowedByItsLog) {
  const TemporaryFolder folder;
  outputOf({"exec", "--log", folder / "log", "sh", "-c", "exit 3"}, 3);
  errorsOf({"exec", "--log", folder / "log", "/nowhere/program"}, 127);
  EXPECT_THAT(contentOf(folder / "log"),
              AllOf(HasSubstr(R"(bin/sh","-c","exit 3"])"), HasSubstr("bin/sh: exit status 3"),
                    HasSubstr("ERROR /nowhere/program: No such file or directory")));
}

class BvdiagExecSignal : public ::testing::Test {
 protected:
  // A script that goes on until it is told to end, in a file of its own.
  std::string script(const std::string& trap) {
    writeProgram(folder / "script", trap + "; echo $$ >" + pid + "; while :; do sleep 0.01; done");
    return folder / "script";
  }

  const TemporaryFolder folder;
  const std::string pid = folder / "pid";
};

TEST_F(BvdiagExecSignal, IsPassedOnAndEndsBoth) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    Program program({"exec", script("true")});
    const pid_t process = processIn(pid);
    program.signal(signal);
    EXPECT_EQ(program.status(), 128 + signal);
    EXPECT_EQ(::kill(process, 0), -1);
    std::filesystem::remove(pid);
  }
}

TEST_F(BvdiagExecSignal, IsAnsweredByTheProgram) {
  Program program({"exec", script("trap 'echo bye; exit 5' TERM")});
  lineIn(pid);
  program.signal(SIGTERM);
  EXPECT_EQ(program.status(), 5);
  EXPECT_EQ(program.output, "bye\n");
}

TEST_F(BvdiagExecSignal, EndsBvdiagThoughItsChildrenGoOn) {
  Program program({"exec", "sh", "-c", "sleep 100 & echo $! >" + pid + "; wait"});
  const pid_t child = processIn(pid);
  program.signal(SIGTERM);
  EXPECT_EQ(program.status(), 143);
  EXPECT_EQ(::kill(child, SIGKILL), 0);
}

TEST_F(BvdiagExecSignal, EndsBvdiagThoughTheProgramIgnoresIt) {
  Program program({"exec", script("trap '' TERM")});
  const pid_t process = processIn(pid);
  program.signal(SIGTERM);
  EXPECT_EQ(program.status(), 143);
  EXPECT_THAT(program.errors, HasSubstr("still runs, as process " + std::to_string(process)));
  EXPECT_EQ(::kill(process, SIGKILL), 0);
}

TEST_F(BvdiagExecSignal, OfATerminalReachesTheProgramOnce) {
  Program program({"exec", script("trap 'echo caught' INT; trap 'exit 6' USR1")},
                  {.terminal = true});
  const pid_t process = processIn(pid);
  program.type("\x03");
  EXPECT_TRUE(program.prints("^C")) << program.output;
  ::usleep(200'000);  // time to pass it on, which it shall not be
  ::kill(process, SIGUSR1);
  EXPECT_EQ(program.status(), 6) << program.output;
  EXPECT_EQ(countOf(program.output, "caught"), 1U) << program.output;
}

}  // namespace
}  // namespace brisvane
