// The command-line tool as its users meet it: the real program in processes of its own,
// on pipes and on terminals.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/bvdiag_program.h"
#include "tests/support/temporary_folder.h"

namespace brisvane {
namespace {

using std::chrono::steady_clock;
using ::testing::AllOf;
using testing::contentOf;
using testing::countOf;
using testing::errorsOf;
using testing::finished;
using testing::firstLine;
using ::testing::HasSubstr;
using ::testing::Not;
using testing::outputOf;
using testing::Program;
using ::testing::StartsWith;
using testing::TemporaryFolder;
using testing::writeFile;

TEST(BvdiagDemo, TakesEveryStepAndShowsTheLog) {
  const TemporaryFolder folder;
  const std::string log = folder / "demo.log";
  writeFile(log, "an earlier run\n");
  const std::string output = outputOf({"demo", "--log", log});
  EXPECT_EQ(countOf(output, "✓"), 14U) << output;
  EXPECT_THAT(output, AllOf(HasSubstr("FW 1.2.3 OK\\r\\n"), HasSubstr("02 90 01 F4 03"),
                            HasSubstr("one by one"),
                            HasSubstr("aggregated errors:\nError writing to serial port:5\n"),
                            Not(HasSubstr("an earlier run"))));
  // Its last step has moved the log aside.
  EXPECT_FALSE(std::filesystem::exists(log));
  const std::string moved = std::filesystem::directory_iterator(folder.path())->path();
  EXPECT_THAT(output, HasSubstr(moved));
  EXPECT_THAT(contentOf(moved),
              AllOf(StartsWith("an earlier run\n"), HasSubstr("version → FW 1.2.3 OK")));
  EXPECT_THAT(output, HasSubstr(contentOf(moved).substr(contentOf(moved).find('\n') + 1)));
}

TEST(BvdiagDemo, FailsWithAStepAndUsesAFreshLog) {
  const TemporaryFolder folder;
  writeFile(folder / "machine.json", R"({"devices": [{"name": "cu.usbserial-BV0001"}]})");
  Program demo({"demo", "--json", "--machine", folder / "machine.json"},
               {false, {"TMPDIR=" + folder.path()}});
  EXPECT_EQ(demo.status(), 1);
  EXPECT_THAT(demo.output, AllOf(HasSubstr(R"("error":"cannot be opened","ok":false)"),
                                 HasSubstr(R"("log":")" + folder.path() + "/bvdiag-demo-")));
}

TEST(BvdiagPorts, ListsTheAdaptersAlone) {
  const TemporaryFolder folder;
  const std::string machine = folder / "machine.json";
  writeFile(
      machine,
      R"({"devices": [{"name": "cu.usbserial-B"}, {"name": "ttyS0"}, {"name": "cu.usbserial-A\u001b[2J"}]})");
  EXPECT_EQ(outputOf({"ports", "--machine", machine}),
            "/dev/cu.usbserial-B  B\n/dev/cu.usbserial-A\\x1b[2J  A\\x1b[2J\n");
  EXPECT_EQ(outputOf({"--json", "--simulated", "ports"}),
            R"([{"path":"/dev/cu.usbserial-BV0001","serial":"BV0001"}])"
            "\n");
  writeFile(machine, "{}");
  Program none({"ports", "--machine", machine});
  EXPECT_EQ(none.status(), 0);
  EXPECT_EQ(none.output, "");
  EXPECT_THAT(none.errors, HasSubstr("61-brisvane.rules"));
  EXPECT_EQ(outputOf({"ports", "--json", "--machine", machine}), "[]\n");
}

TEST(BvdiagSend, HoldsEachKindOfExchange) {
  EXPECT_EQ(outputOf({"send", "version", "--simulated", "--accept", "\\d+\\.\\d+\\.\\d+ OK"}),
            "1.2.3 OK\n");
  EXPECT_EQ(outputOf({"send", "status", "--simulated", "--newline", "--timeout", "0.5"}),
            "temp=23.5 volt=5.01 OK\\r\\n\n");
  EXPECT_EQ(
      outputOf({"send", "02 10 03", "--hex", "--bytes", "5", "--simulated", "--serial", "BV"}),
      "00000000  02 90 01 F4 03                                    |.....|\n");
  EXPECT_THAT(
      outputOf({"send", "021003", "--hex", "--bytes", "5", "--simulated", "--json"}),
      AllOf(StartsWith(R"({"command":"021003","ok":true,"port":"/dev/cu.usbserial-BV0001",)"),
            HasSubstr(R"("replyHex":"029001F403")"), HasSubstr(R"("seconds":)")));
  EXPECT_THAT(
      outputOf({"send", "echo 0123456789", "--accept", "^.*\\r\\n", "--simulated", "--hex-output"}),
      AllOf(HasSubstr("|0123456789..|"), HasSubstr("30 31 32 33 34 35 36 37  38 39 0D 0A")));
  // The greeting stands ahead of the reply, unless it is drained.
  EXPECT_THAT(
      outputOf({"send", "version", "--simulated", "--no-drain", "--newline", "--timeout", "0.5"}),
      StartsWith("Fixture BV0001 ready\\r\\nFW"));
}

TEST(BvdiagSend, EscapesWhatATerminalWouldObey) {
  const std::string output =
      outputOf({"send", "echo \x1b[2J\a\ta\\b", "--simulated", "--json", "--accept", "^.*\\r\\n"});
  EXPECT_THAT(output, HasSubstr(R"("reply":"\u001b[2J\u0007\ta\\b\r\n")"));
  EXPECT_EQ(outputOf({"send", "echo \x1b[2J\a\ta\\b\x7f", "--simulated", "--accept", "^.*\\r\\n"}),
            "\\x1b[2J\\x07\\ta\\\\b\\x7f\\r\\n\n");
}

TEST(BvdiagSend, SaysWhyThereIsNoReply) {
  const std::string port = "/dev/cu.usbserial-BV0001: ";
  EXPECT_THAT(
      errorsOf({"send", "version", "--simulated", "--accept", "no such", "--timeout", "0.3"}, 1),
      StartsWith("bvdiag: " + port + "no reply matched \"no such\" within 0.3 s; try "));
  EXPECT_THAT(errorsOf({"send", "version", "--simulated", "--bytes", "99", "--timeout", "0.3"}, 1),
              StartsWith("bvdiag: " + port + "fewer than 99 bytes"));
  EXPECT_THAT(errorsOf({"send", "unplug", "--simulated", "--newline", "--timeout", "60"}, 1),
              HasSubstr("hung up"));
  EXPECT_THAT(errorsOf({"send", "x", "--port", "/nonexistent/tty"}, 1),
              StartsWith("bvdiag: /nonexistent/tty: No such file or directory; check the name"));
  EXPECT_THAT(errorsOf({"send", "x", "--port", "/dev/null"}, 1),
              StartsWith("bvdiag: /dev/null: Inappropriate ioctl"));
  EXPECT_THAT(errorsOf({"send", "x", "--simulated", "--serial", "XY"}, 1),
              HasSubstr("cu.usbserial-XY*"));
  EXPECT_THAT(outputOf({"send", "x", "--simulated", "--serial", "XY", "--json"}, 1),
              AllOf(HasSubstr(R"("ok":false)"), HasSubstr(R"("error":"/dev/)")));
  EXPECT_THAT(errorsOf({"send", "x", "--machine", "/nonexistent.json"}, 1),
              HasSubstr("/nonexistent.json: No such"));
  EXPECT_THAT(errorsOf({"send", "x", "--simulated", "--log", "/nonexistent/log"}, 1),
              StartsWith("bvdiag: log file /nonexistent/log: No such"));
}

TEST(BvdiagFixture, AnswersOneProgramAfterTheOther) {
  const TemporaryFolder folder;
  Program fixture({"fixture", "--link", folder / "tty"});
  ASSERT_TRUE(fixture.prints("\n"));
  const std::string node = firstLine(fixture.output);
  EXPECT_EQ(std::filesystem::read_symlink(folder / "tty"), node);
  EXPECT_EQ(outputOf({"send", "version", "--port", node, "--accept", "FW .*\\r\\n"}),
            "FW 1.2.3 OK\\r\\n\n");
  EXPECT_EQ(
      outputOf({"send", "echo é?", "--port", folder / "tty", "--bytes", "3", "--timeout", "0.1"},
               1),
      "");
  EXPECT_EQ(outputOf({"send", "echo again", "--port", folder / "tty", "--accept", "^.*\\r\\n"}),
            "again\\r\\n\n");
  EXPECT_TRUE(
      fixture.prints("opened\nreceived  version\\n\nsent      FW 1.2.3 OK\\r\\n\nclosed\n"));
  EXPECT_TRUE(fixture.prints("received  echo é?\n"));
  EXPECT_THAT(errorsOf({"fixture", "--link", folder / "tty"}, 1),
              HasSubstr(folder / "tty: File exists"));
  fixture.signal(SIGINT);
  EXPECT_EQ(fixture.status(), 130);
  EXPECT_FALSE(std::filesystem::is_symlink(folder / "tty"));
}

// What a shell command prints.
std::string printedBy(const std::string& command) {
  std::string text;
  std::FILE* const pipe = ::popen(command.c_str(), "re");
  for (int c = 0; (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
  ::pclose(pipe);
  return text;
}

TEST(Bvdiag, AgreesWithATerminalProgramOfOthersAtEitherEnd) {
  if (printedBy("command -v socat").empty()) GTEST_SKIP() << "no socat";
  const TemporaryFolder folder;
  const std::string node = folder / "tty";
  {
    Program fixture({"fixture", "--link", node});
    ASSERT_TRUE(fixture.prints("\n"));
    EXPECT_EQ(printedBy("printf 'version\\n' | socat -t2 - " + node + ",raw,echo=0"),
              "FW 1.2.3 OK\r\n");
  }
  writeFile(folder / "device", "read -r line; printf '%s by socat\\r\\n' \"$line\"; sleep 1");
  const std::string device =
      "socat PTY,link=" + (folder / "made") + ",raw,echo=0 EXEC:'sh " + (folder / "device") + "'";
  const std::jthread other([&] { printedBy(device); });
  for (int i = 0; i < 20'000 && !std::filesystem::exists(folder / "made"); ++i) ::usleep(1000);
  EXPECT_EQ(outputOf({"send", "--port", folder / "made", "version", "--accept",
                      "version by socat\\r\\n"}),
            "version by socat\\r\\n\n");
}

TEST(BvdiagFixture, FollowsItsScriptToTheHangUp) {
  const TemporaryFolder folder;
  writeFile(folder / "script.json",
            R"({"greeting": [{"text": "on and off", "delay": 0.1}], "hangUpAfter": 2})");
  Program fixture({"fixture", folder / "script.json", "--json", "--hex", "--link", folder / "tty"});
  ASSERT_TRUE(fixture.prints("\n"));
  EXPECT_THAT(fixture.output, StartsWith(R"({"node":"/dev/pts/)"));
  Program monitor({"monitor", "--port", folder / "tty"});
  EXPECT_EQ(fixture.status(), 0);
  EXPECT_THAT(fixture.output,
              AllOf(HasSubstr(R"({"event":"sent","hex":"6F6E",)"), HasSubstr(R"("hung up")")));
  EXPECT_EQ(monitor.status(), 1);
  EXPECT_EQ(monitor.output, "on\n");
  EXPECT_THAT(monitor.errors, HasSubstr("hung up"));

  writeFile(folder / "script.json", R"({"comands": []})");
  EXPECT_THAT(errorsOf({"fixture", folder / "script.json"}, 1),
              HasSubstr("script.json: line 1: comands: unknown field"));
}

TEST(BvdiagFixture, RemovesItsLinkWhenNobodyReads) {
  const TemporaryFolder folder;
  Program fixture({"fixture", "--link", folder / "tty"});
  ASSERT_TRUE(fixture.prints("\n"));
  fixture.stopReading();
  Program({"send", "version", "--port", folder / "tty", "--accept", "OK"}).status();
  EXPECT_EQ(fixture.status(), 1);
  EXPECT_EQ(fixture.errors, "");
  EXPECT_FALSE(std::filesystem::is_symlink(folder / "tty"));
}

TEST(BvdiagMonitor, ShowsLinesCharactersAndBytesWhole) {
  const TemporaryFolder folder;
  const std::string machine = folder / "machine.json";
  writeFile(machine, R"({"devices": [{"name": "cu.usbserial-A", "fixture": {"greeting": [
    {"text": "h\u00e9\r\n\u001b[mtwo\rthree\n\n", "split": 1, "gap": 0.01}, {"hex": "FF C3"}]}}]})");
  Program monitor({"monitor", "--machine", machine});
  EXPECT_TRUE(monitor.prints("h\u00e9\n\\x1b[mtwo\nthree\n\n\\xff"));
  monitor.signal(SIGTERM);
  EXPECT_EQ(monitor.status(), 143);
  EXPECT_THAT(monitor.output, ::testing::EndsWith("\\xff\\xc3\n"));
  // However the bytes come together.
  EXPECT_THAT(outputOf({"monitor", "--machine", machine, "--json", "--duration", "0.5"}),
              AllOf(StartsWith("{\"text\":\"h"), HasSubstr("\u00e9"), HasSubstr("\",\"time\":")));
  std::istringstream lines(
      outputOf({"monitor", "--machine", machine, "--hex", "--duration", "0.5"}));
  std::string shown;
  for (std::string line; std::getline(lines, line);) {
    EXPECT_EQ(std::stoul(line, nullptr, 16), shown.size()) << line;
    EXPECT_EQ(line.find('|'), 60U) << line;
    shown += line.substr(61, line.size() - 62);
  }
  EXPECT_THAT(shown, StartsWith("h.....[mtwo.three.."));
}

TEST(Bvdiag, AnInterruptEndsEveryExchangeAsItsTimeLimitWould) {
  const TemporaryFolder folder;
  Program fixture({"fixture", "--link", folder / "tty"});
  ASSERT_TRUE(fixture.prints("\n"));
  const std::vector<std::vector<std::string>> modes{
      {"first", "--newline"}, {"second", "--accept", "no such"}, {"third", "--bytes", "99"}};
  for (const std::vector<std::string>& mode : modes) {
    std::vector<std::string> arguments{"send",         "--timeout", "3600",        "--port",
                                       folder / "tty", "--log",     folder / "log"};
    arguments.insert(arguments.end(), mode.begin(), mode.end());
    Program send(arguments);
    ASSERT_TRUE(fixture.prints("received  " + mode.front())) << fixture.output;
    EXPECT_THAT(errorsOf({"send", "x", "--port", folder / "tty"}, 1),
                HasSubstr("another program holds it"));
    const int signal = mode.front() == "second" ? SIGTERM : SIGINT;
    send.signal(signal);
    EXPECT_EQ(send.status(), 128 + signal);
    EXPECT_THAT(send.errors, HasSubstr("interrupted"));
  }
  EXPECT_THAT(contentOf(folder / "log"),
              AllOf(HasSubstr("second ≠ "), HasSubstr("ERROR Error: Reading serial port")));
}

TEST(BvdiagProfile, TellsWhereEachValueComesFromOrWhyThereIsNone) {
  const TemporaryFolder folder;
  const std::string machine = folder / "machine.json";
  writeFile(
      machine,
      R"({"registry": {"platform": {"model": "M\u001b1"}, "rom": {"version": {"hex": "0102"}}},
                         "identity": {"UniqueChipID": 18446744073709551615}})");
  EXPECT_THAT(outputOf({"profile", "--machine", machine}),
              AllOf(HasSubstr("modelID                 M\\x1b1\n"),
                    HasSubstr("serialNumber            absent\n"),
                    HasSubstr("firmwareVersion         0102\n"),
                    HasSubstr("boardId                 Orvel\n")));
  EXPECT_THAT(outputOf({"profile", "--machine", machine, "--explain"}),
              AllOf(HasSubstr("no such node: chosen model\n"),
                    HasSubstr("not asked without a node chosen: identity UniqueChipID"),
                    HasSubstr("answered: platform model (" + machine),
                    HasSubstr("not answered: platform HwPlatformSerialNumber (" + machine)));
  EXPECT_THAT(outputOf({"profile", "--machine", machine, "--json"}),
              AllOf(HasSubstr(R"("chipId":null)"), HasSubstr(R"("modelID":"M\u001b1")"),
                    HasSubstr(R"("ecid":null)")));
}

TEST(BvdiagNvram, ReadsEachViewAndSaysWhyItCannot) {
  const auto nvram = [](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--simulated", "nvram"});
    return arguments;
  };
  const auto get = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "get");
    return nvram(arguments);
  };
  EXPECT_EQ(outputOf(get({"bench-mode", "--namespace", "system", "--require-dev-fused",
                          "--require-internal-os"})),
            "burn-in\n");
  EXPECT_EQ(outputOf(get({"EDA7697C-EB6C-4553-A921-C131036FC939:bench", "--view", "dictionary"})),
            "{\"operator\":\"BV\",\"station\":4}\n");
  EXPECT_THAT(outputOf(get({"calibration", "--namespace", "larder", "--view", "data"})),
              HasSubstr("01 02 FF"));
  EXPECT_THAT(errorsOf(get({"calibration", "--namespace", "larder"}), 1),
              HasSubstr("holds no text"));
  EXPECT_THAT(errorsOf(get({"bench-mode"}), 1), HasSubstr("check the name"));
  EXPECT_THAT(errorsOf(get({"none", "--namespace", "system"}), 1), HasSubstr("No such file"));
  EXPECT_EQ(outputOf(nvram({"list", "--namespace", "larder"})),
            "A5D42023-9BB9-4366-8741-A4A0161FDEDE:calibration\n");
  EXPECT_THAT(errorsOf(nvram({"set", "a", "value", "--namespace", "system"}), 0),
              HasSubstr("forgets"));
  EXPECT_THAT(errorsOf(nvram({"delete", "a", "--namespace", "system"}), 1), HasSubstr("(2)"));
  const TemporaryFolder folder;
  writeFile(folder / "machine.json",
            R"({"identity": {"SigningFuse": true}, "firmware": {"readOnly": true}})");
  const auto refused = [&](const std::string& guard) {
    return errorsOf(
        {"nvram", "--machine", folder / "machine.json", "get", "a", "--namespace", "system", guard},
        1);
  };
  EXPECT_THAT(refused("--require-dev-fused"), HasSubstr("production-fused"));
  EXPECT_THAT(refused("--require-internal-os"), HasSubstr("no internal OS"));
  EXPECT_THAT(errorsOf({"nvram", "set", "a", "b", "--namespace", "system", "--machine",
                        folder / "machine.json"},
                       1),
              HasSubstr("Read-only file system (30)"));
  // Without a terminal nobody can agree to a change of a real machine.
  EXPECT_THAT(errorsOf({"nvram", "delete", "a", "--namespace", "system"}, 1),
              HasSubstr("give --yes"));
}

TEST(BvdiagMachine, RecordsAMachineThatReplaysAsTheSameOne) {
  const TemporaryFolder folder;
  const std::string copy = folder / "copy.json";
  outputOf({"--simulated", "machine", "record", copy, "--unmasked", "--variables", "--everything"});
  for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
           {"profile"},
           {"registry", "show", "--variables"},
           {"nvram", "list"},
           {"interfaces", "--json"},
           {"machine", "record", "-", "--unmasked", "--everything"}}) {
    std::vector<std::string> original{"--simulated"};
    std::vector<std::string> replayed{"--machine", copy};
    original.insert(original.end(), command.begin(), command.end());
    replayed.insert(replayed.end(), command.begin(), command.end());
    EXPECT_EQ(outputOf(replayed), outputOf(original));
  }
  outputOf({"--simulated", "machine", "record", folder / "usual.json", "--unmasked"});
  EXPECT_EQ(outputOf({"--machine", folder / "usual.json", "profile"}),
            outputOf({"--simulated", "profile"}));
  const std::string before = contentOf(copy);
  EXPECT_THAT(errorsOf({"--simulated", "machine", "record", copy}, 1),
              HasSubstr("there is something already"));
  EXPECT_EQ(contentOf(copy), before);

  writeFile(folder / "secret.json", R"({"identity": {"UniqueChipID": 123456},
      "registry": {"platform": {"HwPlatformSerialNumber": "AB-12c", "model": "M1"},
                   "chosen": {"bootargs": "serial=AB-12c quiet root=PARTUUID=738a-02 net.addr=00:e0:4C:68:00:01 x=y1",
                              "id": "7d0B5a16-42c5-4b0c-9d3c-5e1d1c3a9f01", "rng-seed": {"hex": "01ff"}, "serial-number": {"hex": "41320000"}}},
      "interfaces": [{"name": "enx00e04c680001", "type": "Ethernet", "mac": "00:E0:4C:68:00:01"}, {"name": "eth0", "type": "Ethernet", "mac": "AB:cd:01-23:ef:45", "addresses": ["192.0.2.1"]}],
      "firmware": {"variables": {"EDA7697C-EB6C-4553-A921-C131036FC939:a": "b"}}})");
  // A property of blanks alone is looked through once, and not once for each of them.
  writeFile(folder / "blanks.json", R"({"registry": {"platform": {"notes": ")" +
                                        std::string(std::size_t{1} << 20U, ' ') + R"("}}})");
  EXPECT_THAT(
      outputOf({"--machine", folder / "blanks.json", "machine", "record", "-", "--everything"}),
      HasSubstr(R"("notes": " )"));
  // What the profile does not read stays away.
  const std::string usual =
      outputOf({"--machine", folder / "secret.json", "machine", "record", "-"});
  EXPECT_THAT(usual, AllOf(HasSubstr(R"("HwPlatformSerialNumber": "XX-00X")"),
                           HasSubstr(R"("model": "M1")"), HasSubstr(R"("chosen": {})"),
                           Not(HasSubstr("bootargs")), Not(HasSubstr("rng-seed"))));
  const std::string masked =
      outputOf({"--machine", folder / "secret.json", "machine", "record", "-", "--everything"});
  EXPECT_THAT(
      masked,
      AllOf(HasSubstr(R"("HwPlatformSerialNumber": "XX-00X")"), HasSubstr(R"("model": "M1")"),
            HasSubstr("serial=XX-00X quiet root=PARTUUID=000X-00 net.addr=00:e0:4C:00:00:00 x=y1"),
            HasSubstr(R"("id": "0X0X0X00-00X0-0X0X-0X0X-0X0X0X0X0X00")"),
            HasSubstr(R"("name": "enx00X00X000000")"), HasSubstr(R"("hex": "0000")"),
            HasSubstr(R"("hex": "58300000")"), HasSubstr(R"("UniqueChipID": 0)"),
            HasSubstr(R"("mac": "AB:cd:01-00:00:00")"), HasSubstr(R"("192.0.2.1")"),
            HasSubstr(R"("variables": {})")));
}

TEST(BvdiagInterfaces, ListsAndRecordsWhatTheMachineHas) {
  const TemporaryFolder folder;
  EXPECT_EQ(outputOf({"--simulated", "interfaces"}),
            "eth0             Ethernet   02:00:5e:10:00:01  192.0.2.10\n"
            "wlan0            IEEE80211  02:00:5e:10:00:02  198.51.100.7\n");
  writeFile(folder / "machine.json", R"({"interfaces": [
      {"name": "eth0", "type": "Ethernet", "up": false, "mac": "02:00:5e:10:00:01", "addresses": ["192.0.2.1"]},
      {"type": "VLAN"},
      {"name": "a long\u001b[name of it", "type": "VLAN", "addresses": ["192.0.2.2", "192.0.2.3"]},
      {"name": "lo", "type": "Ethernet", "loopback": true, "addresses": ["127.0.0.1"]}]})");
  const std::string line = "a long\\x1b[name of it VLAN  192.0.2.2          192.0.2.3\n";
  EXPECT_EQ(outputOf({"--machine", folder / "machine.json", "interfaces"}), line + line);

  outputOf({"--machine", folder / "machine.json", "machine", "record", folder / "copy.json"});
  EXPECT_EQ(outputOf({"--machine", folder / "copy.json", "interfaces"}), line + line);

  for (const std::string failure : {"enumeration", "addresses"}) {
    const std::string machine = folder / (failure + ".json");
    writeFile(machine, R"({"interfaceFailure": ")" + failure + R"("})");
    outputOf({"--machine", machine, "machine", "record", folder / ("copy of " + failure)});
    EXPECT_THAT(contentOf(folder / ("copy of " + failure)),
                HasSubstr(R"("interfaceFailure": ")" + failure + '"'));
  }
  EXPECT_THAT(errorsOf({"--machine", folder / "enumeration.json", "interfaces"}, 1),
              HasSubstr("cannot be listed"));
  EXPECT_EQ(outputOf({"--machine", folder / "addresses.json", "interfaces", "--json"}), "[]\n");
}

TEST(BvdiagLog, WritesEachMessageAndNoticesWhenItCannot) {
  const TemporaryFolder folder;
  const std::string log = folder / "run.log";
  EXPECT_EQ(outputOf({"log", "--file", log, "plain", "[a,b]", "demo"}),
            "aggregated errors: none\n");
  EXPECT_EQ(outputOf({"log", "--file", log, "--level", "error", "first", "--", "-second"}),
            "aggregated errors:\nfirst\n-second\n");
  EXPECT_EQ(outputOf({"log", "--level", "fault", "--json", "bad"}),
            R"({"aggregatedError":"","file":null,"level":"fault","messages":1,"ok":true})"
            "\n");
  outputOf({"log", "--file", log, "--level", "debug", "unseen"});
  const std::string content = contentOf(log);
  EXPECT_EQ(countOf(content, "\n"), 5U) << content;
  EXPECT_THAT(content, AllOf(HasSubstr(" plain \n"), HasSubstr(" [a,b] \n"),
                             HasSubstr(" ERROR -second \n")));
  EXPECT_THAT(
      errorsOf({"log", "--file", folder / "no/run.log", "x"}, 1),
      StartsWith("bvdiag: log file " + folder / "no/run.log" + ": No such file or directory"));
  EXPECT_THAT(errorsOf({"log", "--file", "/dev/full", "x"}, 1),
              HasSubstr("/dev/full: No space left on device"));
}

}  // namespace
}  // namespace brisvane
