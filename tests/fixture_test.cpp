#include "brisvane/host/simulated/simulated_fixture.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "brisvane/host/simulated/simulated_conversation.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "brisvane/host/terminal/terminal.h"
#include "tests/support/own_process.h"

namespace brisvane::host::simulated {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

// A program's use of a serial line, from opening to closing.
class Line {
 public:
  explicit Line(const std::string& node)
      : line_(terminal::Line::open(node, {.speed = 115200}).value()) {}

  void say(std::string_view bytes) {
    const Data data(bytes.begin(), bytes.end());
    EXPECT_EQ(terminal::write(line_.descriptor(), data).optional(), data.size());
  }

  // What comes, up to `end`, a hang-up or, at the latest, for `time`.
  std::string hear(std::string_view end, std::chrono::milliseconds time = 20s) {
    std::string text;
    Data chunk(4096);
    for (const auto deadline = steady_clock::now() + time;
         !hungUp_ && steady_clock::now() < deadline;) {
      const auto count = terminal::read(line_.descriptor(), chunk);
      hungUp_ = !count.ok();
      text.append(asCharacters(chunk).substr(0, count.optional().value_or(0)));
      if (!end.empty() && text.ends_with(end)) break;
    }
    return text;
  }
  std::string ask(std::string_view command, std::string_view end) {
    return say(command), hear(end);
  }

  // Whether the line hangs up without another byte.
  bool hangsUp() { return hear("").empty() && hungUp_; }

  // Waits until as much lies unread as the kernel holds for a program.
  void awaitFull() {
    constexpr int kMost = 4095;
    for (int unread = 0; unread < kMost; std::this_thread::yield()) {
      ASSERT_EQ(::ioctl(line_.descriptor(), FIONREAD, &unread), 0);
    }
  }

  // Whether the terminal bears the mark of exclusive use.
  bool isMarked() const {
    int exclusive = -1;
    EXPECT_EQ(::ioctl(line_.descriptor(), TIOCGEXCL, &exclusive), 0);
    return exclusive != 0;
  }

 private:
  terminal::Line line_;
  bool hungUp_ = false;
};

std::unique_ptr<Fixture> fixture(std::string_view json, Fixture::Observer observer = nullptr) {
  return Fixture::start(FixtureScript::fromJson(json).value(), std::move(observer)).value();
}

TEST(Fixture, GreetsAndAnswersCommandsHoweverTheyEnd) {
  const auto simulated = fixture(R"({
    "greeting": ["ready\r\n"],
    "commands": [
      {"command": "version", "replies": ["FW 1.20\r\n"]},
      {"command": "twice", "replies": ["one\r\n", {"hex": "74 77 6F 0A"}]},
      {"command": "silence"},
      {"pattern": "^set (\\w+)=(\\d+)$", "replies": ["$1 is $2 at $$5$3\r\n"]},
      {"hex": "02 0A 0D 03", "replies": [{"hex": "06 0D"}]}],
    "unknown": ["ERR\r\n"]})");
  Line line(simulated->node());
  EXPECT_EQ(line.hear("\n"), "ready\r\n");
  for (const char* const command :
       {"version\r", "version\n", "version\r\n", "version", "silence\rversion\r"}) {
    EXPECT_EQ(line.ask(command, "\n"), "FW 1.20\r\n");
  }
  EXPECT_EQ(line.ask("twice\rnonsense\r", "ERR\r\n"), "one\r\ntwo\nERR\r\n");
  EXPECT_EQ(line.ask("SET level=42\r", "\n"), "level is 42 at $5\r\n");
  EXPECT_EQ(line.ask("\x02\n\r\x03version\r", "\n"), "\x06\rFW 1.20\r\n");
  EXPECT_EQ(line.ask("\x02\nversion\r", "FW 1.20\r\n"),
            "ERR\r\nFW 1.20\r\n");  // only began as bytes
  EXPECT_EQ(line.ask("version\r", "\n"), "FW 1.20\r\n") << "nothing came in between";
}

TEST(Conversation, SendsEachChunkAtItsTimeAndEchoesAheadOfDelayedReplies) {
  Conversation conversation(FixtureScript::fromJson(R"({"echo": true, "commands": [
      {"command": "uneven", "replies": [{"text": "abcdefghij", "split": [1, 2, 3], "gap": 0.005}]},
      {"command": "late", "replies": [{"text": "reply.", "delay": 0.4}]}]})")
                                .value());
  const Conversation::Time start(1h);
  conversation.begin(start);
  const auto receive = [&](std::string_view bytes, Conversation::Time now) {
    conversation.receive(Data(bytes.begin(), bytes.end()), now);
  };
  const auto due = [&](Conversation::Time now) {
    return std::string(asCharacters(conversation.takeDue(now)));
  };
  receive("uneven\r", start);
  EXPECT_EQ(due(start), "uneven\ra");
  EXPECT_EQ(conversation.nextDue(start), start + 5ms);
  EXPECT_EQ(due(start + 4ms), "");
  EXPECT_EQ(due(start + 10ms), "bcdef");
  EXPECT_EQ(due(start + 15ms), "ghij");
  receive("late\r", start + 20ms);
  receive("next", start + 100ms);
  EXPECT_EQ(due(start + 419ms), "late\rnext");
  EXPECT_EQ(due(start + 420ms), "reply.");
}

TEST(Fixture, RepliesComeWholeAndInOrder) {
  const auto simulated = fixture(R"({"echo": true, "commands": [
      {"command": "even", "replies": [{"text": "abcdefghij", "split": 4, "gap": 0.005}, "."]}]})");
  Line line(simulated->node());
  EXPECT_EQ(line.ask("even\r", "."), "even\rabcdefghij.");

  // More than a line holds at once, for a program that is slow to read.
  std::vector<std::string> noises;
  for (const std::string seed : {"7", "7", "8"}) {
    const auto noisy = fixture(R"({"greeting": [{"noise": 300000}, "end"], "seed": )" + seed + "}");
    Line program(noisy->node());
    program.awaitFull();
    noises.push_back(program.hear("end"));
    EXPECT_EQ(noises.back().size(), 300'003U);
  }
  EXPECT_TRUE(noises[0] == noises[1]);
  EXPECT_FALSE(noises[0] == noises[2]);
}

TEST(Fixture, ServesProgramsOneAfterTheOtherAndTellsNoneWhatWasMeantForAnother) {
  std::atomic<std::size_t> received = 0;
  std::atomic<int> closed = 0;
  const auto observer = [&](Fixture::Event event, ByteView bytes) {
    if (event == Fixture::Event::kReceived) received += bytes.size(), received.notify_all();
    if (event == Fixture::Event::kClosed) ++closed, closed.notify_all();
  };
  const auto simulated = fixture(R"({"greeting": ["ready\r\n"], "commands": [
      {"command": "version", "replies": ["FW 1\r\n"]},
      {"command": "later", "replies": [{"text": "stale\r\n", "delay": 0.1}]},
      {"command": "unread", "replies": ["stale\r\n"]}]})",
                                 observer);
  const auto awaitMoreThan = [](auto& count, auto past) {
    for (auto now = count.load(); now <= past; now = count) count.wait(now);
  };
  for (const std::string command :
       {"", "", "", "later\r", "", "later\r", "unread\r", "", "unread\r"}) {
    int closedBefore = 0;
    {
      Line first(simulated->node());
      EXPECT_EQ(first.ask("version\r", "FW 1\r\n"), "ready\r\nFW 1\r\n");
      closedBefore = closed;
      const std::size_t expected = received + command.size() + 4;
      first.say(command + "half");
      awaitMoreThan(received, expected - 1);
    }
    // What lies unread is taken away once the fixture has seen that the line is closed.
    if (command == "unread\r") awaitMoreThan(closed, closedBefore);
    Line second(simulated->node());
    EXPECT_EQ(second.ask("version\r", "FW 1\r\n"), "ready\r\nFW 1\r\n") << "after " << command;
    EXPECT_EQ(second.hear("", command == "later\r" ? 150ms : 1ms), "");
  }
}

TEST(Fixture, LeavesTheMarkOfAProgramThatOpensRightAfterAnotherHasClosed) {
  const auto simulated = fixture(R"({"unknown": ["ERR\n"]})");
  for (int round = 0; round < 20; ++round) {
    Line line(simulated->node());
    EXPECT_EQ(line.ask("what\r", "\n"), "ERR\n");  // it has followed the opening by now
    ASSERT_TRUE(line.isMarked()) << "in round " << round;
  }
}

TEST(Machine, ADeviceHangsUpAsItsScriptOrItsOwnerSaysAndIsGone) {
  auto machine = Machine::fromJson(R"({"devices": [
      {"name": "counting", "fixture": {"greeting": ["0123456789"], "hangUpAfter": 14,
                                       "commands": [{"command": "more", "replies": ["abcdefgh", "never"]}]}},
      {"name": "told", "fixture": {"commands": [{"command": "off", "replies": ["bye"], "hangUp": true}]}},
      {"name": "idle", "fixture": {}}]})")
                     .value();
  const auto platform = machine->platform();
  const DeviceNodes& nodes = platform->deviceNodes();
  Line counting(nodes.location("/dev/counting"));
  EXPECT_EQ(counting.hear("9"), "0123456789");
  EXPECT_EQ(counting.ask("more\r", ""), "abcd");
  EXPECT_TRUE(counting.hangsUp());
  Line told(nodes.location("/dev/told"));
  EXPECT_EQ(told.ask("off\r", ""), "bye");
  EXPECT_TRUE(told.hangsUp());
  EXPECT_TRUE(machine->fixture("told")->hasHungUp());
  EXPECT_EQ(nodes.list().value(), std::vector<std::string>{"idle"});
  EXPECT_FALSE(terminal::Line::open(nodes.location("/dev/told"), {.speed = 115200}).ok());

  Line idle(nodes.location("/dev/idle"));
  EXPECT_EQ(idle.hear("", 1ms), "");
  machine.reset();
  EXPECT_TRUE(idle.hangsUp());
  EXPECT_EQ(nodes.list().value(), std::vector<std::string>());
}

TEST(Machine, ThatIsMalformedIsRefusedWithThePlaceAndTheReason) {
  const std::pair<std::string, std::string> fixtures[] = {
      {R"({"comands": []})", "comands: unknown field"},
      {R"({"echo": 1})", "echo: must be true or false"},
      {R"({"commands": [{"replies": []}]})",
       "commands[0].command: one of command, pattern, hex is needed"},
      {R"({"commands": [{"command": "a", "hex": "00"}]})",
       "commands[0].hex: cannot stand beside \"command\""},
      {R"({"commands": [{"pattern": "("}]})",
       "commands[0].pattern: is not a regular expression: missing closing parenthesis"},
      {R"({"commands": [{"command": "a"}, {"command": "b", "replies": [{"text": "c", "delay": "d"}]}]})",
       "commands[1].replies[0].delay: must be a number of seconds from 0 to 86400"},
      {R"({"unknown": [{"text": "b", "split": [1, 0]}]})",
       "unknown[0].split[1]: must be a whole number of at least 1"}};
  const auto errorOf = [](const std::string& json) {
    const auto machine = Machine::fromJson(json);
    return machine.ok() ? "none" : machine.error().text();
  };
  for (const auto& [script, expected] : fixtures) {
    EXPECT_EQ(errorOf("{\n\"devices\": [{\"name\": \"a\",\n\"fixture\": " + script + "}]}"),
              "line 3: devices[0].fixture." + expected);
  }
  EXPECT_EQ(errorOf(R"({"devices": [{"name": "a"}, {"name": "../b"}]})"),
            "line 1: devices[1].name: must be a file name");
  EXPECT_EQ(errorOf(R"({"preferences": {"suites": {"s": {"k": [1]}}}})"),
            "line 1: preferences.suites.s.k: must be a text, a number, true or false");
  EXPECT_EQ(Machine::fromFile("/nowhere/bench.json").error().text(),
            "/nowhere/bench.json: No such file or directory");
  EXPECT_EQ(errorOf(std::string(Machine::exampleDescription())), "none");
}

TEST(Fixture, KeepsOffTheStandardStreamsOfAProgramThatClosedThem) {
  testing::inProcessOfItsOwn([] {
    for (const int stream : {0, 1, 2}) ::close(stream);
    const auto simulated =
        fixture(R"({"greeting": ["ready\n"], "commands": [{"command": "a", "replies": ["b\n"]}]})");
    Line line(simulated->node());
    bool isRight = line.hear("ready\n") == "ready\n" && line.ask("a\n", "b\n") == "b\n";
    for (const int stream : {0, 1, 2}) isRight &= ::fcntl(stream, F_GETFD) == -1;
    std::_Exit(isRight ? 0 : 1);
  });
}

}  // namespace
}  // namespace brisvane::host::simulated
