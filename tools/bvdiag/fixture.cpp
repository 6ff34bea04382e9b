// `bvdiag fixture`: a simulated fixture that any program can talk to.
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>

#include <brisvane/all.h>
#include <brisvane/host/files/files.h>
#include <brisvane/host/simulated/simulated_fixture.h>
#include <brisvane/types/error.h>

#include "commands.h"
#include "interrupt.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::host::simulated::Fixture;
using bv::host::simulated::FixtureScript;

constexpr std::string_view kBuiltInScript = R"json({
  "commands": [
    {"command": "version", "replies": ["FW 1.2.3 OK\r\n"]},
    {"pattern": "^echo (.*)$", "replies": ["$1\r\n"]}
  ],
  "unknown": ["ERR unknown command\r\n"]
})json";

struct FixtureOptions {
  std::string script;
  std::string link;
  bool hex = false;
  std::optional<double> duration;
};

struct Happening {
  bv::Date time;
  Fixture::Event event;
  bv::Data bytes;
};

// Carries what the fixture's thread observes to the one that prints.
class Traffic {
 public:
  void add(Fixture::Event event, bv::ByteView bytes) {
    const std::scoped_lock lock(mutex_);
    happenings_.push_back(
        {std::chrono::system_clock::now(), event, bv::Data(bytes.begin(), bytes.end())});
    changed_.notify_one();
  }

  // The next one; nullopt when none comes for a moment.
  std::optional<Happening> next() {
    constexpr std::chrono::milliseconds kMoment{50};
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, kMoment, [this] { return !happenings_.empty(); }))
      return std::nullopt;
    Happening first = std::move(happenings_.front());
    happenings_.pop_front();
    return first;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Happening> happenings_;
};

// A symbolic link that goes when it is destroyed.
class Link {
 public:
  Link(std::string path, const std::string& target) : path_(std::move(path)), target_(target) {
    if (!path_.empty() && ::symlink(target_.c_str(), path_.c_str()) == -1) error_ = errno;
  }
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;
  ~Link() {
    std::error_code ignored;
    // Another program may have put something else there.
    const bool isOwn = std::filesystem::read_symlink(path_, ignored) == target_;
    if (!path_.empty() && error_ == 0 && isOwn) std::filesystem::remove(path_, ignored);
  }

  // The errno of a failure; 0 for none.
  [[nodiscard]] int error() const { return error_; }

 private:
  std::string path_;
  std::string target_;
  int error_ = 0;
};

std::string_view nameOf(Fixture::Event event) {
  constexpr std::string_view kNames[] = {"opened", "closed", "received", "sent", "hung up"};
  return kNames[static_cast<std::size_t>(event)];
}

void show(const Happening& happening, bool hex, Output& output) {
  const std::string_view name = nameOf(happening.event);
  if (output.json()) {
    bv::Dictionary object{{"event", name}, {"time", happening.time}};
    if (hex && !happening.bytes.empty()) object.emplace("hex", happening.bytes);
    if (!hex && !happening.bytes.empty()) {
      object.emplace("text", std::string(happening.bytes.begin(), happening.bytes.end()));
    }
    return output.printJson(std::move(object));
  }
  constexpr std::size_t kColumn = 10;
  const bool isSent = happening.event == Fixture::Event::kSent;
  std::string line = output.colored(isSent ? Color::kGreen : Color::kCyan, name);
  if (!happening.bytes.empty()) {
    line.append(kColumn - name.size(), ' ');
    line += hex ? bv::BVSerialPort::hexStringFromData(happening.bytes) : escaped(happening.bytes);
  }
  output.print(line + "\n");
}

bv::Result<FixtureScript> readScript(const std::string& path) {
  constexpr std::size_t kLargest = std::size_t{16} << 20U;
  if (path.empty()) return FixtureScript::fromJson(kBuiltInScript);
  const auto json = bv::host::readFile(path, kLargest);
  if (!json.ok()) return bv::Error(json.error().number());
  return FixtureScript::fromJson(json.value());
}

// Prints the traffic until the end of the run or of the line.
void follow(Traffic& traffic, const FixtureOptions& options, Output& output) {
  const RunTime time(options.duration);
  while (!time.isOver() && !output.isBroken()) {
    const auto happening = traffic.next();
    if (happening) show(*happening, options.hex, output);
    if (happening && happening->event == Fixture::Event::kHungUp) return;
  }
}

int run(const FixtureOptions& options, Session& session) {
  Output& output = session.output();
  auto script = readScript(options.script);
  if (!script.ok()) {
    output.complain("script " + options.script + ": " + script.error().text() + "; check the file");
    return kFailure;
  }
  Traffic traffic;
  const auto started = Fixture::start(
      std::move(script.value()),
      [&traffic](Fixture::Event event, bv::ByteView bytes) { traffic.add(event, bytes); });
  if (!started.ok()) {
    output.complain("the fixture cannot be started: " + started.error().text() +
                    "; check that /dev/pts is mounted");
    return kFailure;
  }
  const Fixture& fixture = *started.value();
  const Link link(options.link, fixture.node());
  if (link.error() != 0) {
    output.complain("link " + bv::errorText(options.link, link.error()) +
                    "; remove what is there, or name another path");
    return kFailure;
  }
  if (output.json()) output.printJson(bv::Dictionary{{"node", fixture.node()}});
  if (!output.json()) output.print(fixture.node() + "\n");
  follow(traffic, options, output);
  return kSuccess;
}

}  // namespace

void addFixture(AnyCommand& program) {
  auto command = program.command<FixtureOptions>(
      "fixture",
      "Runs a simulated fixture on a terminal that any program can open. Prints its node, "
      "then what it receives and sends, until Ctrl-C or until it hangs up");
  command.argument("SCRIPT", &FixtureOptions::script,
                   "JSON file; default: answers \"version\" and \"echo ...\"");
  command.option("--link", &FixtureOptions::link, "PATH",
                 "Makes a symbolic link to the node, and removes it at the end");
  command.flag("--hex", &FixtureOptions::hex, "Prints the bytes in hexadecimal");
  command
      .option("--duration", &FixtureOptions::duration, "", "Ends after this time; default: never")
      .secondsUpTo(kLongestDuration);
  command.example("bvdiag fixture --link /tmp/fixture");
  command.footer(exitStatusText("the fixture hung up, or the duration is over",
                                "the script is wrong, or the terminal or the link cannot be made"));
  command.runs(run);
}

}  // namespace bvdiag
