// `bvdiag run`: the steps of a plan, its verdicts, and what a run leaves behind.
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

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
using testing::Setting;
using ::testing::StartsWith;
using testing::TemporaryFolder;
using testing::writeFile;

const Setting kTerminal{.terminal = true};

std::string plan(const std::string& steps, const std::string& more = "") {
  return R"({"name": "Test", )" + more + R"("steps": [)" + steps + "]}";
}

// A step that leaves a file.
std::string touching(const std::string& file) {
  return R"({"name": "mark", "run": {"program": "touch", "arguments": [")" + file + "\"]}}";
}

class BvdiagRun : public ::testing::Test {
 protected:
  // The words that run a plan on the example machine and report into the folder.
  std::vector<std::string> words(const std::string& text, std::vector<std::string> more = {}) {
    writeFile(folder_ / "plan.json", text);
    more.insert(more.begin(), {"--simulated", "run", folder_ / "plan.json", "--reports",
                               folder_ / "reports", "--name", "r"});
    return more;
  }
  std::string report(const std::string& ending) {
    return contentOf(folder_ / ("reports/r" + ending));
  }
  bool exists(const std::string& name) { return std::filesystem::exists(folder_ / name); }

  // The run's only step.
  std::string result(const std::string& step, int status, const std::string& more = "") {
    std::filesystem::remove_all(folder_ / "reports");
    outputOf(words(plan(R"({"name": "s", )" + step + "}", more)), status);
    return report(".json");
  }

  TemporaryFolder folder_;
};

TEST_F(BvdiagRun, OfTheExamplePlansPassesOrFailsAsTheyShould) {
  const std::string plans = EXAMPLE_PLANS;
  const auto run = [&](const std::string& name, int status, std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"--simulated", "run", plans + "/" + name + ".json", "--reports",
                               folder_.path(), "--name", name});
    return outputOf(std::move(more), status);
  };
  EXPECT_THAT(run("acceptance", 0),
              AllOf(HasSubstr("✓ 3 Temperature and supply, 8 times"),
                    HasSubstr("      5 V supply = 5.01 V, limits 4.75 to 5.25 V\n"),
                    HasSubstr("Reference = 5 V, limits 4.9 to 5.1 V\n"),
                    HasSubstr("- 6 Set the burn-in mode\n      step burn-in has passed\n"),
                    HasSubstr("\nPASS\n8 passed, 0 failed, 1 skipped in ")));
  EXPECT_THAT(run("fails", 1),
              AllOf(HasSubstr("5 of 5 repetitions failed: 5 V supply is 5.01 V, not 5.02 to"),
                    HasSubstr("no reply matched"), HasSubstr("the line has hung up"),
                    HasSubstr("the run stopped at \"Unplugged\""), HasSubstr("✓ 7 Note the end"),
                    HasSubstr("\nFAIL\n")));
  EXPECT_THAT(run("operator", 0,
                  {"--answer", "unit=BV123456", "--answer", "lamp=y", "--answer", "damage=no",
                   "--answer", "current=21.4 mA"}),
              HasSubstr("Current at rest = 21.4 mA, limits 18 to 24 mA\n"));
  EXPECT_THAT(contentOf(folder_ / "acceptance.json"),
              AllOf(HasSubstr(R"("verdict": "PASS")"), HasSubstr(R"("modelID": "BVSim1,1")"),
                    HasSubstr(R"("number": 5.01)"), HasSubstr(R"("median": )")));
  EXPECT_THAT(contentOf(folder_ / "operator.json"), HasSubstr(R"("unit": "BV123456")"));
  EXPECT_THAT(contentOf(folder_ / "fails.plist"), StartsWith("bplist00"));
  EXPECT_THAT(contentOf(folder_ / "fails.log"),
              AllOf(HasSubstr("ERROR step \"Silence\" failed after "),
                    HasSubstr("repetition 5 failed: 5 V supply is 5.01 V"),
                    HasSubstr("run of \"Supply of a faulty unit\" ends: FAIL")));
}

TEST_F(BvdiagRun, BeginsOnlyWhenNothingCanKeepItFromItsEnd) {
  const std::string marks = touching(folder_ / "moved");
  EXPECT_THAT(errorsOf(words(plan(marks), {"--answer", "x=1"}), 2), HasSubstr("--answer x=1: "));
  EXPECT_THAT(errorsOf(words(plan(marks + R"(, {"name": "q", "ask": {"question": "?"}})")), 2),
              HasSubstr("there is no terminal to ask on: step \"q\" asks"));
  EXPECT_THAT(
      errorsOf(words("{\"name\": \"n\",\n\"steps\": [{\"name\": \"s\",\n\"wiat\": 1}]}"), 2),
      HasSubstr("plan.json: line 2: steps[0]: must have one of: send"));
  EXPECT_THAT(errorsOf({"run", folder_ / "none.json"}, 2), HasSubstr("No such file"));
  // A change of this computer's own firmware, which nobody has confirmed.
  auto real = words(plan(
      marks +
      R"(, {"name": "v", "setVariable": {"namespace": "system", "name": "x", "value": "y"}})"));
  real.erase(real.begin());
  EXPECT_THAT(errorsOf(real, 2), HasSubstr("give --yes to confirm"));
  const std::string asks = marks + R"(, {"name": "q", "id": "q", "ask": {"question": "?"}})";
  EXPECT_THAT(errorsOf(words(plan(asks), {"--answer", "q=perhaps"}), 2),
              HasSubstr("--answer q=perhaps: please answer yes or no"));
  EXPECT_THAT(errorsOf(words(plan(asks), {"--answer", "q=y", "--answer", "q=n"}), 2),
              HasSubstr("the step has another answer already"));
  EXPECT_FALSE(exists("reports"));
  for (const char* const ending : {".log", ".json", ".plist", ".html"}) {
    std::filesystem::create_directory(folder_ / "reports");
    writeFile(folder_ / "reports/r" + ending, "earlier");
    EXPECT_THAT(errorsOf(words(plan(marks)), 2),
                HasSubstr("is there already; give another --name"));
    EXPECT_EQ(report(ending), "earlier");
    std::filesystem::remove_all(folder_ / "reports");
  }
  writeFile(folder_ / "reports", "a file");
  EXPECT_THAT(errorsOf(words(plan(marks)), 2), HasSubstr("/reports: "));
  EXPECT_FALSE(exists("moved"));
  EXPECT_THAT(outputOf(words(plan(marks), {"--check"})), HasSubstr("\"Test\", 1 step\n"));
  EXPECT_FALSE(exists("moved"));
}

TEST_F(BvdiagRun, TakesValuesOutOfTextsAndBytes) {
  const std::string text =
      R"("send": {"text": "echo $", "accept": "a=(?<a>\\S+) b=(?<b>\\S+)( c)?\\r\\n", "values": [)"
      R"({"group": "a", "name": "A", "low": -1.5, "high": 0}, {"group": "b", "base": 16}]})";
  const auto replied = [&](const std::string& reply, int status) {
    std::string step = text;
    return result(step.replace(step.find('$'), 1, reply), status);
  };
  EXPECT_THAT(replied("a=-1.5 b=0xfF", 0),
              AllOf(HasSubstr(R"("number": -1.5)"), HasSubstr(R"("number": 255)")));
  EXPECT_THAT(replied("a=+1e-3 b=1", 1), HasSubstr("A is 0.001, not -1.5 to 0"));
  for (const char* const wrong : {"nan", "inf", "1x", "0x1", "1e999"})
    EXPECT_THAT(replied("a=" + std::string(wrong) + " b=1", 1), HasSubstr("A is no number: "))
        << wrong;
  // The fixture's greeting is over by then: it would be the first bytes of the reply.
  const auto answered = [&](const std::string& send, int status) {
    return result(R"("send": {"hex": "02 10 03", "bytes": 5, "timeout": 1, )" + send + "}", status,
                  R"("port": {"settle": 0.3}, )");
  };
  EXPECT_THAT(
      answered(R"("values": [{"name": "big", "at": 2, "length": 2, "scale": 0.01, "unit": "V"},
                          {"name": "little", "at": 2, "length": 2, "order": "little"},
                          {"name": "signed", "at": 1, "length": 1, "signed": true},
                          {"name": "both", "at": 3, "length": 2, "order": "little", "signed": true}])",
               0),
      AllOf(HasSubstr(R"("text": "5")"), HasSubstr(R"("number": 62465.0)"),
            HasSubstr(R"("number": -112.0)"), HasSubstr(R"("number": 1012.0)")));
  EXPECT_THAT(answered(R"("values": [{"name": "far", "at": 4, "length": 2}])", 1),
              HasSubstr("far is not in the reply"));
  EXPECT_THAT(answered(R"("equalsHex": "02 90 01 F4 04")", 1),
              HasSubstr("what came is <02 90 01 f4 03>, not <02 90 01 f4 04>"));
}

TEST_F(BvdiagRun, HoldsValuesAgainstLimitsAsTheDecimalsThatTheyAre) {
  const auto measured = [&](const std::string& reply, const std::string& rule, int status) {
    return result(R"("send": {"text": "echo )" + reply +
                      R"(", "accept": "v=(?<v>\\S+)\\r\\n", "values": [{"group": "v", )" + rule +
                      "}]}",
                  status);
  };
  EXPECT_THAT(measured("v=57", R"("scale": 0.01, "low": 0.57, "high": 0.57)", 0),
              HasSubstr(R"("number": 0.57)"));
  EXPECT_THAT(measured("v=10000000002", R"("high": 10000000001)", 1),
              HasSubstr("v is 10000000002, not at most 10000000001"));
  EXPECT_THAT(measured("v=57", R"("scale": 1e308)", 1), HasSubstr("v is too large a number"));
  EXPECT_THAT(measured("v=+-5", R"("high": 0)", 1), HasSubstr("v is no number"));
}

TEST_F(BvdiagRun, RunsProgramsWithinTheirTimeAndKeepsWhatTheyPrint) {
  EXPECT_THAT(
      result(
          R"("run": {"program": "sh", "arguments": ["-c", "printf 'a\\377'; exit 3"], "status": 3})",
          0),
      HasSubstr(R"("receivedData": "61FF")"));
  EXPECT_THAT(result(R"("run": {"program": "false"})", 1),
              AllOf(HasSubstr("false: exit status 1, not 0"), HasSubstr(R"("received": "")")));
  EXPECT_THAT(report(".html"), HasSubstr("Nothing was received."));
  EXPECT_THAT(result(R"("run": {"program": "no-such-program-here"})", 1),
              HasSubstr("no such program"));
  // A child that it leaves behind holds its output.
  result(R"("run": {"program": "sh", "arguments": ["-c", "sleep 5 &"], "timeout": 2})", 0);
  EXPECT_THAT(result(R"("run": {"program": "yes"})", 1),
              HasSubstr("yes: has written more than 16 MiB"));
  EXPECT_THAT(result(R"("run": {"program": "sleep", "arguments": ["60"], "timeout": 0.1})", 1),
              HasSubstr("sleep: has not ended within 0.1 s"));
  EXPECT_THAT(
      result(R"("launch": {"path": "/opt/brisvane/helper", "id": "other", "timeout": 0})", 1),
      HasSubstr("/opt/brisvane/helper: not launched (result 3): openApplicationAtURL timed out"));
  EXPECT_THAT(
      result(R"("profile": {"expect": {"modelID": "BVSim2,1", "uuid": {"matches": "^7D0B"}}})", 1),
      AllOf(HasSubstr("modelID is BVSim1,1, not BVSim2,1\""), Not(HasSubstr("uuid is"))));
  EXPECT_THAT(result(R"("profile": {"expect": {"uuid": {"matches": "^X"}}})", 1),
              HasSubstr(", which does not match ^X"));
}

TEST_F(BvdiagRun, SetsAndReadsVariablesInTurn) {
  const std::string name = R"("namespace": "system", "name": "mode")";
  outputOf(
      words(plan(R"({"name": "1", "id": "1", "onFailure": "continue", "variable": {)" + name +
                 R"(}}, {"name": "2", "when": {"step": "1", "is": "failed"}, "setVariable": {)" +
                 name + R"(, "value": "{\"a\": 1}"}}, {"name": "3", "variable": {)" + name +
                 R"(, "view": "dictionary", "equals": "{\"a\":1}"}}, {"name": "4", "variable": {)" +
                 name + R"(, "view": "data", "equalsHex": "7B 22 61 22 3A 20 31 7D"}})")),
      1);  // the first step has failed
  EXPECT_THAT(report(".log"), AllOf(HasSubstr("\"1\" failed"), HasSubstr("\"2\" passed"),
                                    HasSubstr("\"3\" passed"), HasSubstr("\"4\" passed")));
}

TEST_F(BvdiagRun, RepeatsAStepUntilItFailsOrPassesOrIsDone) {
  // Succeeds from the third time on.
  const std::string program = R"("run": {"program": "sh", "arguments": ["-c", "echo x >>)" +
                              (folder_ / "count") + R"(; test $(wc -l <)" + (folder_ / "count") +
                              R"() -ge 3"]}, )";
  const auto repeated = [&](const std::string& repeat, int status) {
    std::filesystem::remove(folder_ / "count");
    result(program + repeat, status);
    return contentOf(folder_ / "count").size() / 2;
  };
  EXPECT_EQ(repeated(R"("repeat": {"times": 5})", 1), 1U);
  EXPECT_EQ(repeated(R"("repeat": {"times": 5}, "onFailure": "continue")", 1), 5U);
  EXPECT_THAT(report(".json"), HasSubstr("2 of 5 repetitions failed: sh: exit status 1"));
  EXPECT_EQ(repeated(R"("repeat": {"times": 5, "until": "passed"})", 0), 3U);
  EXPECT_EQ(repeated(R"("repeat": {"times": 2, "until": "passed"})", 1), 2U);
}

TEST_F(BvdiagRun, DoesWhatIsAlwaysDoneWithoutAConnectionToo) {
  outputOf(words(plan(
               R"({"name": "s", "send": {"text": "version", "accept": "FW"}})",
               R"("port": {"serial": "none"}, "always": [)" + touching(folder_ / "done") + "], ")),
           1);
  EXPECT_TRUE(exists("done"));
  EXPECT_THAT(report(".json"), HasSubstr("cu.usbserial-none*: there is no such adapter"));
}

TEST_F(BvdiagRun, SaysWhyItHasFailedAndLeavesItsReportsBesideThoseOfTheSameSecond) {
  const std::string step =
      R"({"name": "s", "send": {"text": "bogus", "accept": "FW", "timeout": 0.3}})";
  EXPECT_THAT(outputOf(words(plan(step), {"--json"}), 1),
              AllOf(HasSubstr(R"("error":"1 step has failed")"), HasSubstr(R"("ok":false)")));
  EXPECT_THAT(report(".json"), Not(HasSubstr("\"received\"")));
  EXPECT_THAT(report(".html"), HasSubstr("No reply was taken. The log has what came."));
  const std::string name = folder_ / "\xFFplan.json";  // which is no UTF-8
  writeFile(name, plan(touching(folder_ / "x")));
  for (int i = 0; i < 3; ++i) outputOf({"run", name, "--reports", folder_ / "same"});
  using Files = std::filesystem::directory_iterator;
  EXPECT_EQ(std::distance(Files(folder_ / "same"), Files()), 3 * 4);
}

TEST_F(BvdiagRun, LeavesAPageWithVerdictMachineValuesAndCharts) {
  const std::string count = folder_ / "count";
  const std::string program =
      R"~("run": {"program": "sh", "arguments": ["-c", "echo x >>)~" + count +
      "; echo v=$(wc -l <" + count + R"~()"], "matches": "v=(?<v>\\d+)", "values": [)~" +
      R"~({"group": "v", "name": "Supply", "low": 1, "high": 249, "unit": "V"}]}, )~" +
      R"~("onFailure": "continue", "repeat": {"times": 250})~";
  result(program, 1);
  const std::string page = report(".html");
  EXPECT_THAT(page,
              AllOf(StartsWith("<!DOCTYPE html>\n<html lang=\"en\">"), HasSubstr("✗ </span>FAIL"),
                    HasSubstr("<bdi>BV00SIM0001</bdi>"), HasSubstr(">1 to 250</td>"),
                    HasSubstr("1 of 250 repetitions failed: Supply is 250 V, not 1 to 249 V"),
                    HasSubstr("Measured 1 to 250 V; limits 1 to 249 V; 1 failed.</desc>"),
                    HasSubstr("at most 249</text>"), HasSubstr("Content-Security-Policy")));
  // Of 250 repetitions three share a row of the table, and a cross marks those that failed.
  EXPECT_THAT(page,
              AllOf(HasSubstr("<th scope=\"row\">1 to 3</th><td>1</td><td>3</td><td>passed"),
                    HasSubstr("<th scope=\"row\">250</th><td>250</td><td>250</td><td>failed")));
  EXPECT_EQ(countOf(page, "class=\"cross\""), 1U);
  EXPECT_EQ(countOf(page, "<figure>"), 2U);  // with the times
}

TEST_F(BvdiagRun, IsEndedByTheInterruptKeyWithItsLastStepsAndReports) {
  const std::string always =
      R"("always": [{"name": "quiet", "send": {"text": "echo idle", "accept": "idle\\r\\n"}}, )" +
      touching(folder_ / "done") + "], ";
  Program program(
      words(plan(R"({"name": "long", "wait": 600}, {"name": "never", "wait": 0})", always)),
      kTerminal);
  ASSERT_TRUE(program.prints("step 1 of 4, long: "));
  program.type("\x03");
  EXPECT_EQ(program.status(), 130);
  EXPECT_TRUE(exists("done"));
  EXPECT_THAT(report(".json"),
              AllOf(HasSubstr(R"("interrupted": true)"), HasSubstr(R"("verdict": "FAIL")"),
                    HasSubstr(R"("reason": "the run was interrupted")"),
                    HasSubstr(R"("received": "idle)")));
}

TEST_F(BvdiagRun, EndsAProgramOfItsOwnWhenItIsTerminated) {
  const std::string script = "echo $$ >" + (folder_ / "pid") + "; exec sleep 600";
  Program program(words(plan(R"({"name": "s", "run": {"program": "sh", "arguments": ["-c", ")" +
                             script + R"("]}})")));
  while (contentOf(folder_ / "pid").find('\n') == std::string::npos) ::usleep(1000);
  program.signal(SIGTERM);
  EXPECT_EQ(program.status(), 128 + SIGTERM);
  EXPECT_EQ(::kill(std::stoi(contentOf(folder_ / "pid")), 0), -1);
  EXPECT_THAT(report(".json"), HasSubstr("sh: interrupted"));
}

TEST_F(BvdiagRun, AsksThePersonAtTheTerminal) {
  Program program(words(plan(R"~({"name": "w", "wait": 0.3},
                     {"name": "u", "ask": {"question": "Unit?", "answer": "serialNumber", "matches": "^BV"},
                      "repeat": {"times": 2, "until": "passed"}},
                     {"name": "l", "onFailure": "continue", "ask": {"question": "Green?"}},
                     {"name": "t", "ask": {"question": "Volts?", "answer": "text", "matches": "(?<v>\\d+)",
                      "values": [{"group": "v", "name": "volts", "high": 5}]}})~")),
                  kTerminal);
  program.type("BV-too-early\n");
  ASSERT_TRUE(program.prints("Unit? [serial number] "));
  program.type("with a blank\n");
  ASSERT_TRUE(program.prints("no blank\r\nUnit? [serial number] "));
  program.output.clear();
  program.type("XX1\r");
  ASSERT_TRUE(program.prints("Unit? "));  // which drops what comes ahead of it
  program.type("BV2\r");
  ASSERT_TRUE(program.prints("Green? [yes/no] "));
  program.type("perhaps\n");
  ASSERT_TRUE(program.prints("please answer yes or no"));
  program.type("NO\n");
  ASSERT_TRUE(program.prints("Volts? "));
  program.type("4\n");
  EXPECT_EQ(program.status(), 1);
  EXPECT_THAT(program.output, AllOf(HasSubstr("the answer is NO"),
                                    HasSubstr("volts = 4, limits at most 5"), HasSubstr("██████")));
  EXPECT_THAT(report(".json"), AllOf(HasSubstr(R"("unit": "BV2")"), Not(HasSubstr("too-early"))));
}

TEST_F(BvdiagRun, FitsANarrowTerminalAndAPipe) {
  Program narrow(words(plan(R"({"name": "w", "wait": 0})")),
                 Setting{.terminal = true, .columns = 40});
  EXPECT_EQ(narrow.status(), 0);
  EXPECT_THAT(narrow.output, HasSubstr("█████▄"));
  std::filesystem::remove_all(folder_ / "reports");
  EXPECT_THAT(outputOf(words(plan(R"({"name": "w", "wait": 0})"), {"--json"})),
              AllOf(StartsWith(R"({"action":"waits 0 s","always":false,"attempts":[{"ok":true)"),
                    HasSubstr(R"("ok":true,"seconds":)"), HasSubstr(R"("verdict":"PASS"})")));
}

}  // namespace
}  // namespace brisvane
