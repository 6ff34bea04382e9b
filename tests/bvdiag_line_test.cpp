// The commands of bvdiag for a serial line, on real terminals.
#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/bvdiag_program.h"
#include "tests/support/temporary_folder.h"

namespace brisvane {
namespace {

using ::testing::AllOf;
using testing::contentOf;
using testing::countOf;
using ::testing::EndsWith;
using testing::errorsOf;
using testing::firstLine;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::outputOf;
using testing::Program;
using ::testing::StartsWith;
using testing::TemporaryFolder;
using testing::writeFile;

// The longest line of what a terminal has got, whether it was overwritten or not.
std::size_t widthOf(std::string text) {
  std::replace(text.begin(), text.end(), '\r', '\n');
  std::istringstream lines(text);
  std::size_t width = 0;
  for (std::string line; std::getline(lines, line);) width = std::max(width, line.size());
  return width;
}

TEST(BvdiagRepeat, TellsEachExchangeAndWhetherAllAgreed) {
  const TemporaryFolder folder;
  const std::string log = folder / "log";
  const std::string json = outputOf({"repeat", "version", "--accept", "FW .*\\r\\n", "--times", "3",
                                     "--same", "--simulated", "--json", "--log", log});
  EXPECT_EQ(countOf(json, "\n"), 4U) << json;
  EXPECT_THAT(json, AllOf(StartsWith(R"({"exchange":1,"ok":true,"seconds":)"),
                          HasSubstr("\n{\"command\":\"version\",\"exchanges\":3,\"failed\":0,"),
                          HasSubstr(R"("latencies":{"count":3,"histogram":[{"count":)"),
                          HasSubstr(R"("p90":)")));
  EXPECT_EQ(countOf(contentOf(log), "version → FW 1.2.3 OK"), 3U);

  const std::string machine = folder / "machine.json";
  writeFile(machine, R"({"devices": [{"name": "cu.usbserial-A", "fixture": {"hangUpAfter": 40,
      "commands": [{"command": "noise", "replies": [{"noise": 8}]},
                   {"command": "ok", "replies": ["ok\n"]},
                   {"command": "unplug", "hangUp": true}]}}]})");
  const auto repeat = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"repeat", "--machine", machine});
    return arguments;
  };
  Program differing(
      repeat({"noise", "--bytes", "8", "--times", "2", "--same", "--log", log, "--timeout", "1"}));
  EXPECT_EQ(differing.status(), 1);
  EXPECT_THAT(differing.errors, AllOf(StartsWith("bvdiag: 1 of 2 exchanges failed; the first is "
                                                 "number 2: /dev/cu.usbserial-A: the reply is not "
                                                 "the same as the first one"),
                                      HasSubstr("instead of")));
  EXPECT_THAT(differing.output, StartsWith("2 exchanges in "));
  EXPECT_THAT(contentOf(log), HasSubstr(" ERROR exchange 2 failed: "));
  EXPECT_THAT(errorsOf(repeat({"silence", "--newline", "--times", "2", "--timeout", "0.2"}), 1),
              HasSubstr("2 of 2 exchanges failed; the first is number 1: /dev/cu.usbserial-A: no "
                        "reply within 0.2 s"));
  // A dead line ends it, however many are left.
  EXPECT_THAT(errorsOf(repeat({"unplug", "--accept", "x"}), 1),
              AllOf(HasSubstr("1 of 1 exchanges failed"), HasSubstr("hung up")));
  EXPECT_THAT(
      outputOf(repeat({"ok", "--accept", "ok\\n", "--duration", "0", "--json"}), 1),
      AllOf(HasSubstr("\"error\":\"no exchange was held; give a longer time\",\"exchanges\":0,"),
            HasSubstr("\"ok\":false")));
}

TEST(BvdiagRepeat, ShowsABarThatFitsAndItsSummaryAfterAnInterrupt) {
  for (const unsigned short columns : std::array<unsigned short, 3>{40, 80, 200}) {
    Program repeat({"repeat", "version", "--accept", "FW .*\\r\\n", "--simulated", "--interval",
                    "3600", "--times", "1000"},
                   {.terminal = true, .environment = {"NO_COLOR=1"}, .columns = columns});
    EXPECT_TRUE(repeat.prints("1 of 1000, 0 failed, 999 h 59 min left")) << repeat.output;
    repeat.signal(SIGINT);
    EXPECT_EQ(repeat.status(), 130);
    EXPECT_THAT(repeat.output,
                AllOf(HasSubstr("\r1 exchange in 0."), HasSubstr(" s, all agreed\r\n"),
                      HasSubstr("  median "), HasSubstr(" ms  1  #"), Not(HasSubstr("\x1b["))));
    EXPECT_LT(widthOf(repeat.output), columns) << repeat.output;
    EXPECT_EQ(countOf(repeat.output, "\r[-") > 0, columns > 40) << repeat.output;
  }
}

// A fixture on a link that stays the same, as an adapter's name does.
class BvdiagTerminal : public ::testing::Test {
 protected:
  [[nodiscard]] std::vector<std::string> terminal(std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"terminal", "--port", link});
    return more;
  }
  static void expectToLeave(Program& program) {
    EXPECT_FALSE(program.isCooked()) << program.output;
    program.type("\x14q");
    EXPECT_EQ(program.status(), 0) << program.output;
  }

  const TemporaryFolder folder;
  const std::string link = folder / "tty";
};

TEST_F(BvdiagTerminal, PassesKeysAndRepliesAndComesBackWithTheAdapter) {
  Program program(terminal({"--log", folder / "log", "--line-ends-out", "lf", "--echo"}),
                  {.terminal = true, .columns = 40});
  EXPECT_TRUE(program.prints("waiting for it\r\n")) << program.output;
  {
    Program fixture({"fixture", "--link", link});
    EXPECT_TRUE(program.prints("*** connected to " + link + " at 115200 bits/s\r\n"));
    program.type("echo \x1b[1mA\t\x14\x14\r");
    EXPECT_TRUE(program.prints("echo \\x1b[1mA\\t\\x14\r\n")) << program.output;  // the local echo
    EXPECT_TRUE(program.prints("\x1b[1mA\t\x14\r\r\n")) << program.output;        // the fixture's
    EXPECT_TRUE(fixture.prints("received  echo \\x1b[1mA\\t\\x14\\n")) << fixture.output;
    program.type("\x14hversion\r");
    EXPECT_TRUE(program.prints("|FW 1.2.3 OK..|\r\n")) << program.output;
    program.type("\x14L\x14gd\x14?\x14q");
    EXPECT_EQ(program.status(), 0) << program.output;
    fixture.signal(SIGTERM);  // it removes its link
    EXPECT_EQ(fixture.status(), 143);
  }
  EXPECT_THAT(program.output, AllOf(HasSubstr("modem lines: Inappropriate ioctl"),
                                    HasSubstr("  Ctrl-T  send Ctrl-T\r\n")));
  EXPECT_THAT(contentOf(folder / "log"),
              AllOf(HasSubstr("sent: version\\n"), HasSubstr("received: FW 1.2.3 OK\\r\\n")));

  Program again(terminal({"--timestamps"}), {.terminal = true});
  for (int i = 0; i < 2; ++i) {
    Program fixture({"fixture", "--link", link});
    again.output.clear();
    EXPECT_TRUE(again.prints("connected to")) << again.output;
    again.type("version\r");
    EXPECT_TRUE(again.prints("] FW 1.2.3 OK\r\r\n")) << again.output;
    fixture.signal(SIGTERM);
    EXPECT_TRUE(again.prints("hung up")) << again.output;
    EXPECT_EQ(fixture.status(), 143);
  }
  expectToLeave(again);
  Program once(terminal({"--no-reconnect"}), {.terminal = true});
  EXPECT_EQ(once.status(), 1);
  EXPECT_THAT(once.output, HasSubstr("No such file or directory; check the name"));
}

TEST_F(BvdiagTerminal, LeavesTheTerminalAsItWas) {
  Program fixture({"fixture", "--link", link});
  ASSERT_TRUE(fixture.prints("\n"));
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    Program program(terminal(), {.terminal = true});
    EXPECT_TRUE(program.prints("connected")) << program.output;
    EXPECT_FALSE(program.isCooked());
    program.signal(signal);
    EXPECT_EQ(program.status(), 128 + signal);
    EXPECT_TRUE(program.isCooked()) << signal;
  }
  for (const int signal : {SIGABRT, SIGUSR1, SIGALRM}) {
    Program crashing(terminal(), {.terminal = true});
    EXPECT_TRUE(crashing.prints("connected")) << crashing.output;
    crashing.signal(signal);
    EXPECT_EQ(crashing.status(), -1);
    EXPECT_TRUE(crashing.isCooked()) << signal;
  }

  // A shell that has stopped it takes the terminal for itself.
  Program stopped(terminal(), {.terminal = true});
  EXPECT_TRUE(stopped.prints("connected")) << stopped.output;
  stopped.signal(SIGSTOP);
  stopped.cook();
  stopped.signal(SIGCONT);
  EXPECT_TRUE(stopped.prints("continued")) << stopped.output;
  expectToLeave(stopped);
  EXPECT_TRUE(stopped.isCooked());

  Program shell({"-c", "set -m; \"$0\" terminal --port \"$1\"; stty -a; echo; fg; stty -a",
                 BVDIAG_PATH, link},
                {.terminal = true, .environment = {"PATH=/usr/bin:/bin"}, .program = "/bin/sh"});
  EXPECT_TRUE(shell.prints("connected")) << shell.output;
  shell.type("\x14z");
  EXPECT_TRUE(shell.prints(" icanon ")) << shell.output;
  EXPECT_TRUE(shell.prints("continued")) << shell.output;
  shell.output.clear();
  shell.type("\x14q");
  EXPECT_EQ(shell.status(), 0);
  EXPECT_THAT(shell.output, HasSubstr(" icanon "));
}

TEST_F(BvdiagTerminal, SendsAFileAPipeAndABreak) {
  writeFile(folder / "commands", "version\necho a\n");
  Program fixture({"fixture", "--link", link});
  ASSERT_TRUE(fixture.prints("\n"));
  const auto piped = [&](std::vector<std::string> more) {
    Program program(terminal(std::move(more)), {.input = folder / "commands"});
    EXPECT_EQ(program.status(), 0) << program.errors;
    return program.output;
  };
  EXPECT_EQ(piped({"--wait", "0.5"}), "FW 1.2.3 OK\r\na\r\n");
  EXPECT_EQ(piped({"--wait", "0.5", "--line-ends-in", "any", "--line-ends-out", "crlf"}),
            "FW 1.2.3 OK\na\n");
  EXPECT_TRUE(fixture.prints("version\\r\\necho a\\r\\n")) << fixture.output;

  Program program(terminal(), {.terminal = true, .environment = {"TERM=xterm"}});
  EXPECT_TRUE(program.prints("connected")) << program.output;
  program.type("\x14s" + folder.path() + "/\xc3\xa9\x7f" + "commands\r");
  EXPECT_TRUE(program.prints("commands: 15 bytes sent\r\n")) << program.output;
  EXPECT_TRUE(program.prints("FW 1.2.3 OK\r\r\na\r\r\n")) << program.output;
  program.type(
      "\x14"
      "b\x14"
      "f/nonexistent\r\x14"
      "f/half a name\x14"
      "c");
  EXPECT_TRUE(program.prints("break sent\r\n")) << program.output;
  EXPECT_TRUE(program.prints("/nonexistent: cannot be read")) << program.output;
  EXPECT_TRUE(program.prints("*** framing: 8N1, flow control: none\r\n")) << program.output;
  EXPECT_TRUE(program.prints("*** sent 15 bytes, received 16\r\n")) << program.output;
  expectToLeave(program);

  EXPECT_THAT(errorsOf(terminal({"--framing", "7E1"}), 1), HasSubstr("does not support"));
  EXPECT_THAT(errorsOf(terminal({"--framing", "9N1"}), 2), HasSubstr("8N1"));
  fixture.signal(SIGTERM);
  EXPECT_EQ(fixture.status(), 143);
  EXPECT_THAT(errorsOf(terminal(), 1), HasSubstr("No such file"));  // a pipe does not wait
}

TEST_F(BvdiagTerminal, HasTheViewOfTheMonitorWhichWaitsToo) {
  Program monitor(
      {"monitor", "--port", link, "--reconnect", "--timestamps", "--log", folder / "log"});
  writeFile(folder / "script.json", R"({"greeting": ["one\r\n\u001b[mtwo"]})");
  for (int i = 0; i < 2; ++i) {
    monitor.output.clear();
    Program fixture({"fixture", folder / "script.json", "--link", link});
    EXPECT_TRUE(monitor.prints("] \\x1b[mtwo")) << monitor.output;
    EXPECT_THAT(monitor.output, HasSubstr("] one\n["));
    fixture.signal(SIGTERM);
    EXPECT_EQ(fixture.status(), 143);
  }
  monitor.signal(SIGINT);
  EXPECT_EQ(monitor.status(), 130);
  EXPECT_THAT(monitor.output, EndsWith("two\n"));
  EXPECT_EQ(countOf(contentOf(folder / "log"), "received: \\x1b[mtwo"), 2U);
}

}  // namespace
}  // namespace brisvane
