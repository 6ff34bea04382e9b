// What holds for every command of bvdiag: usage, standard output, and JSON.
#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/bvdiag_program.h"
#include "tests/support/temporary_folder.h"

namespace brisvane {
namespace {

using ::testing::AllOf;
using testing::countOf;
using ::testing::EndsWith;
using testing::errorsOf;
using testing::finished;
using testing::firstLine;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::outputOf;
using testing::Program;
using testing::Setting;
using testing::StandardOutput;
using ::testing::StartsWith;
using testing::TemporaryFolder;
using testing::writeFile;

using Arguments = std::vector<std::string>;

TEST(BvdiagUsage, IsToldFromFailureWhenWrong) {
  const std::vector<Arguments> wrong{
      {},
      {"nonsense"},
      {"send"},
      {"log"},
      {"ports", "surplus"},
      {"send", "x", "--no-such-option"},
      {"send", "02", "--hex"},
      {"send", "0", "--hex", "--bytes", "1"},
      {"send", "x", "--accept", "("},
      {"send", "x", "--accept", "y", "--bytes", "1"},
      {"send", "\xc3\xa9"},
      {"send", "x", "--port", "/dev/null", "--serial", "y"},
      {"send", "x", "--speed", "0"},
      {"send", "x", "--timeout", "-1"},
      {"send", "x", "--timeout", "nan"},
      {"send", "x", "--timeout", "inf"},
      {"monitor", "--duration", "soon"},
      {"ports", "--color", "green"},
      {"ports", "--simulated", "--machine", "x"},
  };
  for (auto arguments : wrong) {
    Program program(arguments);
    EXPECT_EQ(program.status(), 2) << ::testing::PrintToString(arguments);
    EXPECT_THAT(program.errors, StartsWith("bvdiag: ")) << ::testing::PrintToString(arguments);
    EXPECT_EQ(program.output, "");
    arguments.insert(arguments.begin(), "--json");
    EXPECT_THAT(outputOf(arguments, 2),
                AllOf(StartsWith(R"({"error":")"), EndsWith("\",\"ok\":false}\n")));
  }
  EXPECT_THAT(errorsOf({"-V"}, 2), StartsWith("bvdiag: there is no option \"-V\"; "));
  EXPECT_THAT(errorsOf({"nonsense", "-V"}, 2),
              StartsWith("bvdiag: there is no command \"nonsense\"; "));
  EXPECT_EQ(outputOf({"--version"}), "bvdiag 1.0 (Brisvane-1)\n");
}

TEST(BvdiagOutput, FailsWhenItCannotBeWritten) {
  for (const Arguments& arguments : std::vector<Arguments>{{"--help"},
                                                           {"--version"},
                                                           {"send", "--help"},
                                                           {"ports", "--simulated"},
                                                           {"ports", "--simulated", "--json"}}) {
    Program full(arguments, {.output = StandardOutput::kFull});
    EXPECT_EQ(full.status(), 1);
    EXPECT_EQ(full.errors, "bvdiag: standard output: No space left on device\n");
    Program closed(arguments, {.output = StandardOutput::kClosed});
    EXPECT_EQ(closed.status(), 1);
    EXPECT_EQ(closed.errors, "bvdiag: standard output: is closed\n");
    // Who has gone does not want to hear why.
    Program unread(arguments, {.output = StandardOutput::kNobodyReads});
    EXPECT_EQ(unread.status(), 1);
    EXPECT_EQ(unread.errors, "");
  }
}

TEST(BvdiagJson, OfAFailureIsALineInEveryCommand) {
  const TemporaryFolder folder;
  const std::string machine = folder / "machine.json";
  const std::string nowhere = folder / "no/where";
  writeFile(
      machine,
      R"({"interfaceFailure": "enumeration", "launchService": {"refusesSubscriptions": true}})");
  for (Arguments arguments : std::vector<Arguments>{{"demo"},
                                                    {"demo", "--log", nowhere},
                                                    {"send", "x"},
                                                    {"monitor"},
                                                    {"fixture", nowhere},
                                                    {"fixture", "--link", nowhere},
                                                    {"log", "--file", nowhere, "x"},
                                                    {"log", "backup", nowhere},
                                                    {"exec", nowhere},
                                                    {"exec", "false"},
                                                    {"launch", "x"},
                                                    {"nvram", "list"},
                                                    {"nvram", "get", "x"},
                                                    {"nvram", "set", "x", "y"},
                                                    {"nvram", "delete", "x"},
                                                    {"interfaces"},
                                                    {"machine", "record", machine},
                                                    {"machine", "record", nowhere},
                                                    {"digest", nowhere},
                                                    {"crc32", nowhere},
                                                    {"hmac", "--key-env", "NONE", machine},
                                                    {"hmac", "--key-file", machine, nowhere},
                                                    {"hex", "--decode", machine},
                                                    {"base64", nowhere},
                                                    {"encrypt", "--key-file", nowhere, machine},
                                                    {"decrypt", "--key-file", machine, machine},
                                                    {"random", "1", "--output", machine},
                                                    {"plist", machine, nowhere}}) {
    arguments.insert(arguments.begin(), {"--json", "--machine", machine});
    Program program(arguments);
    EXPECT_NE(program.status(), 0) << ::testing::PrintToString(arguments);
    const std::string& output = program.output;
    const std::string last = output.substr(output.rfind('\n', output.size() - 2) + 1);
    EXPECT_THAT(last, AllOf(StartsWith("{"), HasSubstr("\"error\":\""), HasSubstr("\"ok\":false"),
                            EndsWith("}\n")))
        << ::testing::PrintToString(arguments) << output;
    const bool isFixture = arguments[3] == "fixture" || arguments[3] == "demo";
    EXPECT_TRUE(isFixture || countOf(output, "\n") == 1) << output;
  }
  // Ahead of the command itself.
  EXPECT_THAT(outputOf({"profile", "--json", "--machine", nowhere}, 1),
              AllOf(StartsWith(R"({"error":"the simulated machine cannot be made: )"),
                    EndsWith("\"ok\":false}\n")));
}

TEST(BvdiagJson, OfAResultIsOneLine) {
  const TemporaryFolder folder;
  const std::string file = folder / "file";
  writeFile(file, "{}");
  const auto resultOf = [](Arguments arguments) {
    arguments.insert(arguments.begin(), {"--json", "--simulated"});
    return outputOf(arguments);
  };
  EXPECT_EQ(resultOf({"digest", file}),
            R"({"file":")" + file +
                R"(","ok":true,"sha1":"bf21a9e8fbc5a3846fb05b4fa0859e0917b2202f"})"
                "\n");
  EXPECT_EQ(resultOf({"hex", file}), R"({"file":")" + file + "\",\"hex\":\"7b7d\",\"ok\":true}\n");
  EXPECT_EQ(resultOf({"random", "0", "--hex"}), "{\"data\":\"\",\"ok\":true,\"size\":0}\n");
  EXPECT_EQ(
      resultOf({"nvram", "get", "bench-mode", "--namespace", "system"}),
      R"({"name":"EDA7697C-EB6C-4553-A921-C131036FC939:bench-mode","ok":true,"value":"burn-in","view":"text"})"
      "\n");
  EXPECT_THAT(resultOf({"demo", "--log", folder / "log"}), HasSubstr(R"("ok":true})"));
  // A description stays one, for --machine.
  const std::string description = resultOf({"machine", "record", "-"});
  EXPECT_EQ(countOf(description, "\n"), 1U);
  writeFile(folder / "machine.json", description);
  EXPECT_EQ(outputOf({"--json", "--machine", folder / "machine.json", "machine", "record", "-"}),
            description);
  EXPECT_THAT(outputOf({"--simulated", "machine", "record", "-"}), StartsWith("{\n  \""));
}

TEST(BvdiagOutput, EscapesWhatATerminalWouldObeyWhereverItComesFrom) {
  // DEL, a C1 control, bidirectional controls, and characters that are harmless.
  const std::string text = "a\x7f\u009b2J\u061c\u200e\u202e\u2069\u00e9\u2026";
  const std::string inJson = R"(a\u007f\u009b2J\u061c\u200e\u202e\u2069)"
                             "\u00e9\u2026";
  const std::string inText = R"(a\x7f\xc2\x9b2J\xd8\x9c\xe2\x80\x8e\xe2\x80\xae\xe2\x81\xa9)"
                             "\u00e9\u2026";
  const TemporaryFolder folder;
  const std::string machine = folder / "machine.json";
  const std::string name = "EDA7697C-EB6C-4553-A921-C131036FC939:v";
  writeFile(machine, R"({"registry": {"root": {"k": ")" + text +
                         R"("}}, "firmware": {"variables": {")" + name + R"(": "{\"k\": \")" +
                         text + R"(\"}"}}})");
  EXPECT_EQ(outputOf({"--machine", machine, "nvram", "get", name, "--view", "dictionary"}),
            R"({"k":")" + inJson + "\"}\n");
  EXPECT_THAT(outputOf({"--machine", machine, "machine", "record", "-", "--everything"}),
              HasSubstr(inJson));
  EXPECT_THAT(outputOf({"--machine", machine, "registry", "show"}), HasSubstr(inText));
  EXPECT_THAT(outputOf({"log", "--level", "error", text, "--json"}), HasSubstr(inJson + "\\n"));
  EXPECT_EQ(outputOf({"log", "--level", "error", text + "\r\nx\ry"}),
            "aggregated errors:\n" + inText + "\r\nx\\ry\n");
  EXPECT_THAT(errorsOf({"exec", text}, 127), HasSubstr(inText));
  writeFile(folder / text, "#!/bin/sh\nsleep 5\n");
  std::filesystem::permissions(folder / text, std::filesystem::perms::owner_all);
  Program waiting({"exec", folder / text},
                  {.terminal = true, .environment = {"PATH=/usr/bin:/bin"}});
  EXPECT_TRUE(waiting.prints(inText + ": 0.")) << waiting.output;
}

}  // namespace
}  // namespace brisvane
