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
  EXPECT_THAT(outputOf(repeat({"ok", "--accept", "ok\\n", "--duration", "0", "--json"})),
              HasSubstr("\"exchanges\":0,"));
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
                AllOf(HasSubstr("\r1 exchanges in 0."), HasSubstr(" s, all agreed\r\n"),
                      HasSubstr("  median "), HasSubstr(" ms  1  #"), Not(HasSubstr("\x1b["))));
    EXPECT_LT(widthOf(repeat.output), columns) << repeat.output;
    EXPECT_EQ(countOf(repeat.output, "\r[-") > 0, columns > 40) << repeat.output;
  }
}

}  // namespace
}  // namespace brisvane
