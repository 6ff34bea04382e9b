// The help of bvdiag, and what it answers to a misspelled command line.
#include <gmock/gmock.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/bvdiag_program.h"
#include "tests/support/temporary_folder.h"

namespace brisvane {
namespace {

using ::testing::AllOf;
using testing::errorsOf;
using testing::finished;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::outputOf;
using testing::Program;
using testing::Setting;
using testing::TemporaryFolder;
using testing::writeFile;
using Words = std::vector<std::string>;

// The lines of a page that follow a title, up to an empty one.
std::vector<std::string> section(const std::string& page, const std::regex& title) {
  std::vector<std::string> lines;
  bool isWithin = false;
  std::istringstream text(page);
  for (std::string line; std::getline(text, line);) {
    if (isWithin && line.starts_with("  ") && line[2] != ' ') lines.push_back(line.substr(2));
    if (!line.starts_with("  ")) isWithin = std::regex_match(line, title);
  }
  return lines;
}

// The words that name each command, within `command` and deeper.
std::vector<Words> commandsWithin(const Words& command) {
  std::vector<Words> all;
  Words words = command;
  words.emplace_back("--help");
  for (const std::string& line :
       section(outputOf(words), std::regex("Commands:|The line:|The bench:|This machine:|"
                                           "Programs:|Bytes:"))) {
    words.back() = line.substr(0, line.find(' '));
    all.push_back(words);
    for (Words& deeper : commandsWithin(words)) all.push_back(std::move(deeper));
  }
  return all;
}

// What a person who reads the help types, on the example machine and in a folder of their own.
int statusOfExample(const std::string& line, const TemporaryFolder& folder) {
  const bool isEndless = std::regex_search(line, std::regex("bvdiag (fixture|monitor|repeat)"));
  const std::string script = "cd " + folder.path() + "; bvdiag() { '" + BVDIAG_PATH +
                             "' --simulated \"$@\"; }\n" + line +
                             (isEndless ? " --duration 0.1" : "");
  Program shell({"-c", script},
                Setting{.environment = {"PATH=/usr/bin:/bin"}, .program = "/bin/sh"});
  const int status = shell.status();
  EXPECT_THAT(shell.errors, Not(HasSubstr("--help`"))) << line;
  return status;
}

TEST(BvdiagHelp, HasExamplesThatWorkForEveryCommandAndNoMarksOfTheParser) {
  TemporaryFolder folder;
  writeFile(folder / "acceptance.json", R"({"name": "n", "steps": [{"name": "s", "wait": 0}]})");
  writeFile(folder / "key", "0123456789abcdef");
  writeFile(folder / "reply.txt", "FFFF");
  writeFile(folder / "results.json", "{}");
  for (const char* const file : {"firmware.bin", "plain.bin"})
    writeFile(folder / file, "some bytes");
  std::vector<Words> commands = commandsWithin({});
  EXPECT_GT(commands.size(), 30U);
  commands.push_back({});
  const std::regex marks(
      R"(\{|\[OPTION|Excludes|Needs:|REQUIRED|TEXT|INT\b|:SECONDS|Option Group|SUBCOMMAND| in \[|=\d)");
  for (Words words : commands) {
    words.emplace_back("--help");
    const std::string page = outputOf(words);
    std::smatch mark;
    EXPECT_FALSE(std::regex_search(page, mark, marks)) << mark.str() << "\n" << page;
    EXPECT_THAT(page, AllOf(HasSubstr("Usage: bvdiag"), HasSubstr("Exit status: ")));
    const auto examples = section(page, std::regex("Examples?:"));
    EXPECT_FALSE(examples.empty()) << page;
    for (const std::string& example : examples) {
      // That machine does not know the application.
      const int expected = example.starts_with("bvdiag launch") ? 1 : 0;
      EXPECT_EQ(statusOfExample(example, folder), expected) << example;
    }
  }
}

TEST(BvdiagHelp, TellsDefaultsAndLimitsInWords) {
  const std::string page = outputOf({"repeat", "--help"});
  EXPECT_THAT(
      page, AllOf(HasSubstr("--speed N             Bits per second; 1 or more; default: 115200\n"),
                  HasSubstr("0 to 86400 s; default: 2 s\n"),
                  HasSubstr("--flow none|hardware|software\n                        Flow control;"),
                  HasSubstr("; needs --bytes\n"),
                  HasSubstr("after that; 0\n                        or more\n")));
  EXPECT_THAT(outputOf({"log", "--help"}),
              AllOf(HasSubstr("Usage: bvdiag log MESSAGE...\n       bvdiag log COMMAND\n"),
                    HasSubstr("default: info\n")));
  EXPECT_THAT(outputOf({"fixture", "--help"}), HasSubstr("Usage: bvdiag fixture [SCRIPT]\n"));
}

TEST(BvdiagHelp, AnswersAMisspelledWordWithTheNearestAndWithItsCommandsHelp) {
  const auto answers = [](const Words& words, const std::string& answer) {
    EXPECT_EQ(errorsOf(words, 2), "bvdiag: " + answer + " --help`\n");
  };
  answers({"sned", "x"}, "there is no command \"sned\"; did you mean send?; see `bvdiag");
  answers({"nvram", "gte"}, "there is no command \"gte\"; did you mean get?; see `bvdiag nvram");
  answers({"zzzz"}, "there is no command \"zzzz\"; see `bvdiag");
  answers({"send", "x", "--acept=y"},
          "there is no option \"--acept=y\"; did you mean --accept?; see `bvdiag send");
  // An argument that is missing is not the fault where an option is misspelled.
  answers({"send", "--acept"},
          "there is no option \"--acept\"; did you mean --accept?; see `bvdiag send");
  answers({"ports", "--jsno"},
          "there is no option \"--jsno\"; did you mean --json?; see `bvdiag ports");
  answers({"hmac", "--key-fiel", "x"},
          "there is no option \"--key-fiel\"; did you mean --key-file?; see `bvdiag hmac");
  answers({"ports", "--colour-of-the-sea"},
          "there is no option \"--colour-of-the-sea\"; see `bvdiag ports");
  answers({"ports", "x"}, "\"x\" is one argument too many; see `bvdiag ports");
  answers({"log", "backup"}, "FILE is required; see `bvdiag log backup");
  answers({"nvram"}, "a command is missing; see `bvdiag nvram");
  answers({"send", "x", "--speed", "0"},
          "--speed: must be a whole number, 1 or more; see `bvdiag send");
  answers({"send", "x", "--flow", "y"},
          "--flow: \"y\" is not one of none, hardware, software; see `bvdiag send");
  answers({"send", "x", "--port"}, "--port: its value is missing; see `bvdiag send");
  answers({"send", "x", "--hex"}, "--hex needs --bytes; see `bvdiag send");
  answers({"encrypt"},
          "exactly one of --key-file and --key-env has to be given; see `bvdiag encrypt");
  answers({"--simulated", "ports", "--machine", "x"},
          "--machine does not go with --simulated; see `bvdiag ports");
}

}  // namespace
}  // namespace brisvane
