// bvdiag on the screens of people: narrow and wide ones, some without colours, windows that change
// their size or are closed, and adapters that go away. The terminals are real.
#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/bvdiag_program.h"
#include "tests/support/screen.h"
#include "tests/support/temporary_folder.h"

namespace brisvane {
namespace {

using ::testing::AllOf;
using testing::contentOf;
using testing::countOf;
using testing::errorsOf;
using testing::finished;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::outputOf;
using testing::Program;
using testing::progressWidth;
using ::testing::StartsWith;
using testing::TemporaryFolder;
using testing::writeFile;
using Words = std::vector<std::string>;

constexpr std::array<unsigned short, 3> kColumns{40, 80, 200};

TEST(BvdiagScreen, HasColorsAndACountdownUnlessItIsNotToHave) {
  const std::vector<std::string> silent{"send", "silence",   "--simulated", "--accept",
                                        "none", "--timeout", "0.8"};
  Program onTerminal(silent, {true, {}});
  EXPECT_EQ(onTerminal.status(), 1);
  EXPECT_THAT(onTerminal.output, AllOf(HasSubstr("\rwaiting for the reply: 0."),
                                       HasSubstr(" \r\x1b[31mbvdiag:\x1b[0m")));
  Program onPipe(silent);
  EXPECT_EQ(onPipe.status(), 1);
  EXPECT_EQ(onPipe.output, "");
  EXPECT_THAT(onPipe.errors, StartsWith("bvdiag: "));
  EXPECT_EQ(countOf(onPipe.errors, "\n"), 1U);

  const std::vector<std::string> failing{"send", "x", "--port", "/nonexistent"};
  const auto failingWith = [&failing](const std::string& variable) {
    return finished(Program(failing, {.terminal = true, .environment = {variable}}), 1).output;
  };
  EXPECT_THAT(failingWith("NO_COLOR=1"), StartsWith("bvdiag: "));
  EXPECT_THAT(failingWith("TERM=dumb"), StartsWith("bvdiag: "));
  EXPECT_THAT(failingWith("NO_COLOR="), StartsWith("\x1b[31m"));
  Program dumb(silent, {.terminal = true, .environment = {"TERM=dumb"}});
  EXPECT_EQ(dumb.status(), 1);
  EXPECT_THAT(dumb.output, StartsWith("bvdiag: "));
  EXPECT_THAT(errorsOf({"send", "x", "--port", "/nonexistent", "--color", "always"}, 1),
              StartsWith("\x1b[31m"));
}

TEST(BvdiagScreen, IsNeverNarrowerThanTheLineThatCountsDown) {
  Program send({"send", "silence", "--simulated", "--accept", "x", "--timeout", "3600"},
               {.terminal = true, .columns = 40});
  EXPECT_TRUE(send.prints("\rwaiting for the reply: 359")) << send.output;
  const std::size_t resized = send.output.size();
  send.resize(20);
  EXPECT_TRUE(send.prints("\rwait: 35")) << send.output;
  send.resize(100);
  EXPECT_TRUE(send.prints("s left (Ctrl-C ends it)")) << send.output;
  std::istringstream lines(send.output.substr(0, send.output.find("(Ctrl-C")));
  std::vector<std::size_t> widths;
  for (std::string line; std::getline(lines, line, '\r');) widths.push_back(line.size());
  widths.pop_back();
  EXPECT_LE(*std::max_element(widths.begin(), widths.end()), 39U) << send.output;
  const std::size_t narrow = send.output.find("\rwait: 35", resized);
  std::istringstream later(
      send.output.substr(narrow, send.output.find("\rwaiting", narrow) - narrow));
  for (std::string line; std::getline(later, line, '\r');) EXPECT_LE(line.size(), 19U) << line;
}

TEST(BvdiagScreen, EndsACommandByItsInterruptKey) {
  const std::vector<std::pair<Words, std::string>> commands{
      {{"send", "silence", "--accept", "x", "--timeout", "3600"}, "\rwaiting"},
      {{"monitor"}, "ready"},
      {{"fixture"}, "\n"},
      {{"crc32", "/dev/zero"}, "\rreading /dev/zero: "}};
  for (auto [arguments, sign] : commands) {
    arguments.emplace_back("--simulated");
    Program program(arguments, {.terminal = true});
    EXPECT_TRUE(program.prints(sign)) << program.output;
    program.type("\x03");
    EXPECT_EQ(program.status(), 130) << program.output;
  }
}

// Commands that take long, on a fixture behind a link.
class BvdiagWindow : public ::testing::Test {
 protected:
  BvdiagWindow() : device_({"fixture", folder_ / "fixture.json", "--link", link_}) {
    EXPECT_TRUE(device_.prints("\n"));
  }

  // `words` with the plan, or the exchange, that does not end by itself.
  Words wordsOf(const std::string& command) {
    if (command == "terminal") return {"terminal", "--port", link_, "--no-reconnect"};
    if (command == "repeat")
      return {"repeat", "version", "--accept", "FW .*\\r\\n", "--port",
              link_,    "--times", "100000",   "--interval",  "0.05"};
    std::filesystem::remove_all(folder_ / "reports");
    return {"run",       folder_ / "plan.json", "--port", link_,
            "--reports", folder_ / "reports",   "--name", "r"};
  }
  // What each shows once it is under way.
  static const char* signOf(const std::string& command) {
    return command == "terminal" ? "connected" : command == "repeat" ? "failed, " : "s left";
  }

  static std::string planText(const std::string& done) {
    return R"({"name": "Test", "steps": [)"
           R"({"name": "exchange", "send": {"text": "version", "accept": "FW .*\\r\\n"}},)"
           R"({"name": "a step with a long name, 長い名前, for which no narrow terminal has the room",)"
           R"( "send": {"text": "silence", "accept": "x", "timeout": 600}}],)"
           R"("always": [{"name": "end", "run": {"program": "touch", "arguments": [")" +
           done + R"("]}}]})";
  }

  const TemporaryFolder folder_;
  const std::string link_ = folder_ / "tty";
  const bool written_ =
      (writeFile(folder_ / "plan.json", planText(folder_ / "done")),
       writeFile(folder_ / "fixture.json",
                 R"({"commands": [{"command": "version", "replies": ["FW 1.2.3 OK\r\n"]},)"
                 R"({"command": "silence"}]})"),
       true);
  Program device_;
};

TEST_F(BvdiagWindow, IsNeverNarrowerThanTheProgress) {
  for (const std::string command : {"repeat", "run"}) {
    for (const unsigned short columns : kColumns) {
      Program program(wordsOf(command), {.terminal = true, .columns = columns});
      EXPECT_TRUE(program.prints(signOf(command))) << program.output;
      EXPECT_LT(progressWidth(program.output), columns) << program.output;
      program.resize(30);
      // The first line after that may have been drawn before.
      const std::size_t resized = program.output.size();
      EXPECT_TRUE(program.printsMore(300)) << program.output;
      const std::size_t next = program.output.find('\r', program.output.find('\r', resized) + 1);
      EXPECT_LT(progressWidth(program.output.substr(next)), 30U) << program.output;
      program.signal(SIGINT);
      EXPECT_EQ(program.status(), 130) << program.output;
      EXPECT_TRUE(program.isCooked());
    }
  }
}

TEST_F(BvdiagWindow, NeedsNoColoursAndNoCursor) {
  for (const std::string command : {"repeat", "run"}) {
    for (const char* const variable : {"NO_COLOR=1", "TERM=dumb"}) {
      Words words = wordsOf(command);
      // Both end by themselves, after what would show a progress.
      if (command == "repeat") words.insert(words.end(), {"--duration", "0.8"});
      if (command == "run")
        writeFile(folder_ / "plan.json", R"({"name": "n", "steps": [{"name": "w", "wait": 0.8}]})");
      Program program(words, {.terminal = true, .environment = {variable}});
      EXPECT_EQ(program.status(), 0) << program.output;
      EXPECT_THAT(program.output, Not(HasSubstr("\x1b"))) << variable;
      const bool isDumb = std::string(variable) == "TERM=dumb";
      EXPECT_EQ(countOf(program.output, "\r") == countOf(program.output, "\r\n"), isDumb)
          << program.output;
      if (command == "run") {
        EXPECT_THAT(program.output, HasSubstr(isDumb ? "\r\nPASS\r\n" : "█████▄"));
      }
    }
    Program pipe(wordsOf(command == "run" ? "run" : "repeat"), {});
    pipe.signal(SIGTERM);
    EXPECT_THAT((pipe.status(), pipe.output + pipe.errors), Not(HasSubstr("\r")));
  }
}

TEST_F(BvdiagWindow, SeesTheAdapterGoAway) {
  for (const std::string command : {"repeat", "run", "terminal"}) {
    Program device({"fixture", folder_ / "fixture.json", "--link", folder_ / "other"});
    ASSERT_TRUE(device.prints("\n"));
    Words words = wordsOf(command);
    std::replace(words.begin(), words.end(), link_, folder_ / "other");
    Program program(words, {.terminal = true});
    ASSERT_TRUE(program.prints(signOf(command))) << program.output;
    device.signal(SIGTERM);
    EXPECT_EQ(program.status(), 1) << program.output;
    EXPECT_THAT(program.output, HasSubstr("hung up")) << command;
    EXPECT_TRUE(program.isCooked());
    EXPECT_EQ(device.status(), 128 + SIGTERM);
  }
  EXPECT_THAT(contentOf(folder_ / "reports/r.json"), HasSubstr("the line has hung up"));
  EXPECT_TRUE(std::filesystem::exists(folder_ / "done"));
}

TEST_F(BvdiagWindow, MayBeClosedAndTheCommandStillDoesWhatIsAlwaysDone) {
  for (const std::string command : {"repeat", "run", "terminal"}) {
    Program program(wordsOf(command), {.terminal = true});
    ASSERT_TRUE(program.prints(signOf(command))) << program.output;
    program.closeWindow();
    EXPECT_EQ(program.status(), 128 + SIGHUP) << command;
  }
  EXPECT_TRUE(std::filesystem::exists(folder_ / "done"));
  EXPECT_THAT(contentOf(folder_ / "reports/r.json"), HasSubstr("\"interrupted\": true"));
  EXPECT_TRUE(std::filesystem::exists(folder_ / "reports/r.html"));
  // The line is free for the next one.
  EXPECT_THAT(outputOf({"send", "version", "--port", link_, "--accept", "FW .*\\r\\n"}),
              StartsWith("FW 1.2.3 OK"));
}

TEST(BvdiagHelp, FitsEachWindow) {
  for (const unsigned short columns : kColumns) {
    for (const Words& words : {Words{"--help"}, Words{"send", "--help"}, Words{"run", "--help"}}) {
      Program program(words, {.terminal = true, .columns = columns});
      EXPECT_EQ(program.status(), 0);
      std::istringstream lines(program.output);
      for (std::string line; std::getline(lines, line);) {
        // An example stays in one piece, to be copied.
        if (line.starts_with("  bvdiag ")) continue;
        EXPECT_LE(line.size() - 1, columns) << line;
      }
    }
  }
}

}  // namespace
}  // namespace brisvane
