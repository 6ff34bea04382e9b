#include "brisvane/host/simulated/fixture.h"

#include <gmock/gmock.h>

#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "brisvane/host/simulated/machine.h"
#include "brisvane/host/terminal.h"

namespace brisvane::host::simulated {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

// A program's use of a serial line, from opening to closing.
class Line {
 public:
  explicit Line(const std::string& node) : descriptor_(terminal::open(node)) {
    EXPECT_TRUE(terminal::claim(descriptor_) && terminal::clearStatusFlags(descriptor_) &&
                terminal::makeRaw(descriptor_, 115200))
        << node;
  }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line() { terminal::close(descriptor_); }

  void say(std::string_view bytes) {
    const Data data(bytes.begin(), bytes.end());
    EXPECT_EQ(terminal::write(descriptor_, data), data.size());
  }

  // What comes, up to `end` or, at the latest, for `time`.
  std::string hear(std::string_view end, std::chrono::milliseconds time = 5s) {
    std::string text;
    Data chunk(4096);
    for (const auto deadline = steady_clock::now() + time; !hungUp_ && steady_clock::now() < deadline;) {
      const auto count = terminal::read(descriptor_, chunk);
      hungUp_ = !count;
      text.append(chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(count.value_or(0)));
      if (!end.empty() && text.ends_with(end)) break;
    }
    return text;
  }
  std::string hearFor(std::chrono::milliseconds time) { return hear("", time); }

  std::string ask(std::string_view command, std::string_view end) {
    say(command);
    return hear(end);
  }

  [[nodiscard]] bool hasHungUp() const { return hungUp_; }

 private:
  int descriptor_;
  bool hungUp_ = false;
};

std::unique_ptr<Fixture> fixture(std::string_view json, Fixture::Observer observer = nullptr) {
  std::string error;
  auto script = FixtureScript::fromJson(json, error);
  EXPECT_TRUE(script) << error;
  auto started = script ? Fixture::start(std::move(*script), error, std::move(observer)) : nullptr;
  EXPECT_NE(started, nullptr) << error;
  return started;
}

TEST(Fixture, GreetsAndAnswersCommandsHoweverTheyEnd) {
  const auto simulated = fixture(R"({
    "greeting": ["ready\r\n"],
    "commands": [
      {"command": "version", "replies": ["FW 1.20\r\n"]},
      {"command": "twice", "replies": ["one\r\n", {"hex": "74 77 6F 0A"}]},
      {"command": "silence"},
      {"pattern": "^set (\\w+)=(\\d+)$", "replies": ["$1 is $2 at $$5$3\r\n"]},
      {"hex": "02 0A 0D 03", "replies": [{"hex": "06 0D"}]}
    ],
    "unknown": ["ERR\r\n"], "commandGap": 0.05})");
  Line line(simulated->node());
  EXPECT_EQ(line.hear("\n"), "ready\r\n");
  EXPECT_EQ(line.ask("version\r", "\n"), "FW 1.20\r\n");
  EXPECT_EQ(line.ask("version\n", "\n"), "FW 1.20\r\n");
  EXPECT_EQ(line.ask("version\r\n", "\n"), "FW 1.20\r\n");
  EXPECT_EQ(line.ask("version", "\n"), "FW 1.20\r\n");  // ended by the quiet after it
  EXPECT_EQ(line.ask("twice\rnonsense\r", "ERR\r\n"), "one\r\ntwo\nERR\r\n");
  EXPECT_EQ(line.ask("SET level=42\r", "\n"), "level is 42 at $5\r\n");
  EXPECT_EQ(line.ask(std::string_view("\x02\n\r\x03version\r"), "\n"), "\x06\rFW 1.20\r\n");
  EXPECT_EQ(line.ask("\x02\nversion\r", "FW 1.20\r\n"), "ERR\r\nFW 1.20\r\n");  // only began as bytes
  EXPECT_EQ(line.ask("silence\rversion\r", "\n"), "FW 1.20\r\n");
  line.say("ver");
  line.say("sion\r");
  EXPECT_EQ(line.hear("\n"), "FW 1.20\r\n");
  EXPECT_EQ(line.hearFor(200ms), "");
}

TEST(Fixture, RepliesComeWholeAndInOrderWithEchoesAheadOfDelayedOnes) {
  const std::string alphabet = "abcdefghijklmnopqrstuvwxyz";
  const auto simulated = fixture(R"({"echo": true, "commands": [
      {"command": "uneven", "replies": [{"text": "abcdefghijklmnopqrstuvwxyz", "split": [1, 2, 20], "gap": 0.005}]},
      {"command": "even", "replies": [{"text": "abcdefghijklmnopqrstuvwxyz", "split": 4, "gap": 0.005}, "."]},
      {"command": "late", "replies": [{"text": "reply.", "delay": 0.4}]}]})");
  Line line(simulated->node());
  EXPECT_EQ(line.ask("uneven\r", "z"), "uneven\r" + alphabet);
  EXPECT_EQ(line.ask("even\r", "."), "even\r" + alphabet + ".");
  const auto asked = steady_clock::now();
  EXPECT_EQ(line.ask("late\r", "\r"), "late\r");
  line.say("next");
  EXPECT_EQ(line.hear("reply."), "nextreply.");
  EXPECT_GE(steady_clock::now() - asked, 400ms);

  // More than a line holds at once, to a program that is slow to read.
  const auto noisy = fixture(R"({"commands": [{"command": "n", "replies": [{"noise": 300000}, "end"]}], "seed": 7})");
  const auto same = fixture(R"({"commands": [{"command": "n", "replies": [{"noise": 300000}, "end"]}], "seed": 7})");
  const auto other = fixture(R"({"commands": [{"command": "n", "replies": [{"noise": 300000}, "end"]}], "seed": 8})");
  std::vector<std::string> noises;
  for (const auto& source : {noisy.get(), same.get(), other.get()}) {
    Line program(source->node());
    program.say("n\r");
    std::this_thread::sleep_for(50ms);
    noises.push_back(program.hear("end", 20s));
    EXPECT_EQ(noises.back().size(), 300'003U);
  }
  EXPECT_TRUE(noises[0] == noises[1]);
  EXPECT_FALSE(noises[0] == noises[2]);
}

TEST(Fixture, HangsUpAsItsScriptOrItsOwnerSays) {
  const auto counting = fixture(R"({"greeting": ["0123456789"], "hangUpAfter": 14,
      "commands": [{"command": "more", "replies": ["abcdefgh", "never"]}]})");
  Line counted(counting->node());
  EXPECT_EQ(counted.hear("9"), "0123456789");
  EXPECT_EQ(counted.ask("more\r", ""), "abcd");
  EXPECT_TRUE(counted.hasHungUp());
  EXPECT_EQ(terminal::open(counting->node()), -1);
  EXPECT_TRUE(counting->hasHungUp());

  const auto told = fixture(R"({"commands": [{"command": "off", "replies": ["bye"], "hangUp": true}]})");
  Line last(told->node());
  EXPECT_EQ(last.ask("off\r", ""), "bye");
  EXPECT_TRUE(last.hasHungUp());

  std::mutex mutex;
  std::vector<Fixture::Event> events;
  const auto pulled =
      fixture(R"({"commands": [{"command": "x", "replies": ["y"]}]})", [&](Fixture::Event event, ByteView) {
        const std::scoped_lock lock(mutex);
        events.push_back(event);
      });
  {
    Line first(pulled->node());
    EXPECT_EQ(first.ask("x\r", "y"), "y");
  }
  Line cut(pulled->node());
  EXPECT_EQ(cut.ask("x\r", "y"), "y");
  pulled->hangUp();
  EXPECT_TRUE(pulled->hasHungUp());
  cut.hear("");
  EXPECT_TRUE(cut.hasHungUp());
  pulled->hangUp();
  const std::scoped_lock lock(mutex);
  using enum Fixture::Event;
  EXPECT_THAT(events, ElementsAre(kOpened, kReceived, kSent, kClosed, kOpened, kReceived, kSent, kHungUp));
}

TEST(Fixture, ServesProgramsOneAfterTheOtherAndTellsNoneWhatWasMeantForAnother) {
  const auto simulated = fixture(R"({"greeting": ["ready\r\n"], "commands": [
      {"command": "version", "replies": ["FW 1\r\n"]},
      {"command": "burst", "replies": ["start\r\n", {"text": "unread\r\n", "delay": 0.02},
                                       {"text": "late\r\n", "delay": 0.1}]}]})");
  for (int i = 0; i < 24; ++i) {
    {
      Line first(simulated->node());
      EXPECT_EQ(first.ask("version\r", "FW 1\r\n"), "ready\r\nFW 1\r\n") << i;
      EXPECT_TRUE(i % 3 == 0 || first.ask("burst\r", "start\r\n") == "start\r\n") << i;
      first.say("half a comm");
      std::this_thread::sleep_for(i % 3 == 1 ? 10ms : 60ms);
    }
    Line second(simulated->node());
    EXPECT_EQ(second.ask("version\r", "FW 1\r\n"), "ready\r\nFW 1\r\n") << i;
    EXPECT_EQ(second.hearFor(120ms), "") << i;
  }
}

TEST(FixtureScript, AMalformedOneIsRefusedWithThePlaceAndTheReason) {
  const std::pair<const char*, const char*> wrong[] = {
      {R"([])", "description: must be an object"},
      {R"({"comands": []})", "comands: unknown field"},
      {R"({"echo": 1})", "echo: must be true or false"},
      {R"({"greeting": "hello"})", "greeting: must be an array"},
      {R"({"greeting": [7]})", "greeting[0]: must be an object"},
      {R"({"commands": [{"replies": []}]})", "commands[0].command: one of command, pattern, hex is needed"},
      {R"({"commands": [{"command": "a", "hex": "00"}]})", "commands[0].hex: cannot stand beside \"command\""},
      {R"({"commands": [{"command": null}]})", "commands[0].command: must be a text"},
      {R"({"commands": [{"pattern": "("}]})", "commands[0].pattern: is not a regular expression"},
      {R"({"commands": [{"hex": "0"}]})", "commands[0].hex: must be pairs of hexadecimal digits"},
      {R"({"commands": [{"hex": " "}]})", "commands[0].hex: must be pairs of hexadecimal digits"},
      {R"({"commands": [{"command": "a", "reply": "b"}]})", "commands[0].reply: unknown field"},
      {R"({"unknown": ["a", {"text": "b", "noise": 1}]})", "unknown[1].noise: cannot stand beside \"text\""},
      {R"({"unknown": [{"text": "b", "delay": -1}]})", "unknown[0].delay: must be a number of seconds from 0 to 86400"},
      {R"({"unknown": [{"text": "b", "gap": "1"}]})", "unknown[0].gap: must be a number of seconds from 0 to 86400"},
      {R"({"unknown": [{"text": "b", "split": [1, 0]}]})", "unknown[0].split[1]: must be a whole number of at least 1"},
      {R"({"unknown": [{"text": "b", "split": 0}]})", "unknown[0].split: must be a whole number of at least 1"},
      {R"({"unknown": [{"noise": 1000001}]})", "unknown[0].noise: must be at most 1000000"},
      {R"({"hangUpAfter": -1})", "hangUpAfter: must be a whole number of at least 0"},
      {R"({"seed": 1.5})", "seed: must be a whole number of at least 0"},
  };
  for (const auto& [json, expected] : wrong) {
    std::string error;
    EXPECT_FALSE(FixtureScript::fromJson(json, error)) << json;
    EXPECT_EQ(error, expected);
  }
}

TEST(Machine, IsWhatItsDescriptionSaysOrNothingButAnErrorThatNamesThePlace) {
  const std::pair<const char*, const char*> wrong[] = {
      {R"({"devices": [{"name": "a"}, {"name": "b", "fixture": {"commands": [
           {"command": "c"}, {"command": "d", "replies": [{"text": "e", "delay": "f"}]}]}}]})",
       "devices[1].fixture.commands[1].replies[0].delay: must be a number of seconds from 0 to 86400"},
      {R"({"devices": [{"name": "../a"}]})", "devices[0].name: must be a file name"},
      {R"({"devices": [{"fixture": {}}]})", "devices[0].name: must be a text"},
      {R"({"devices": [{"name": "a", "fixture": []}]})", "devices[0].fixture.description: must be an object"},
      {R"({"devices": {}})", "devices: must be an array"},
      {R"({"device": []})", "device: unknown field"},
      {R"({"preferences": {"suite": {}}})", "preferences.suite: unknown field"},
      {R"({"preferences": {"standard": {"k": [1]}}})",
       "preferences.standard.k: must be a text, a number, true or false"},
      {R"({"preferences": {"suites": {"s": 1}}})", "preferences.suites.s: must be an object"},
      {R"({"preferences": {"suites": {"": {}}}})", "preferences.suites: a suite needs a name"},
  };
  for (const auto& [json, expected] : wrong) {
    std::string error;
    EXPECT_EQ(Machine::fromJson(json, error), nullptr) << json;
    EXPECT_EQ(error, expected);
  }
  std::string error;
  EXPECT_EQ(Machine::fromFile("/nowhere/bench.json", error), nullptr);
  EXPECT_EQ(error, "/nowhere/bench.json: No such file or directory");
  EXPECT_EQ(Machine::fromFile("/proc/self/status", error), nullptr);
  EXPECT_THAT(error, StartsWith("/proc/self/status: parse error at line 1"));
}

TEST(Machine, ADeviceThatHasHungUpIsGoneAndAllAreOnceTheMachineIs) {
  std::string error;
  auto machine = Machine::fromJson(Machine::exampleDescription(), error);
  ASSERT_NE(machine, nullptr) << error;
  const auto other = Machine::fromJson(Machine::exampleDescription(), error);
  const auto platform = machine->platform();
  const auto names = platform->deviceNodes().list();
  ASSERT_EQ(names->size(), 1U);
  const std::string path = "/dev/" + names->front();
  {
    Line line(platform->deviceNodes().location(path));
    EXPECT_TRUE(line.ask("unplug\r", "").ends_with("bye\r\n"));
    EXPECT_TRUE(line.hasHungUp());
    EXPECT_THAT(*platform->deviceNodes().list(), IsEmpty());
    EXPECT_EQ(platform->deviceNodes().location(path), "");
    EXPECT_TRUE(machine->fixture(names->front())->hasHungUp());
  }

  platform->systemLog().write({"org.example", "BV"}, LogType::kFault, "%{public}@", "text");
  EXPECT_THAT(machine->systemLog(), ElementsAre(LogEntry{"org.example", "BV", LogType::kFault, "%{public}@", "text"}));
  machine->clearSystemLog();
  EXPECT_THAT(machine->systemLog(), IsEmpty());

  machine = Machine::fromJson(Machine::exampleDescription(), error);
  const auto outliving = machine->platform();
  Line line(outliving->deviceNodes().location(path));
  machine.reset();
  line.hear("");
  EXPECT_TRUE(line.hasHungUp());
  EXPECT_THAT(*outliving->deviceNodes().list(), IsEmpty());
  EXPECT_EQ(other->platform()->deviceNodes().list(), names);  // each machine is its own
}

}  // namespace
}  // namespace brisvane::host::simulated
