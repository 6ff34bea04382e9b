// What a fixture sends, through each exchange of a port.
//
// The first part of the input is an operation and a pattern: "silence", "match PATTERN", "bytes N",
// "poll N" or "byte N". Each further part is a chunk that comes when the port waits; an empty one
// is a wait in which nothing comes. "hang up" ends the line.
//
// The port has one end of a socket pair. Time is played: a wait in which nothing comes takes its
// time on the clock only.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <deque>
#include <memory>
#include <optional>

#include "brisvane/host/files/descriptor.h"
#include "brisvane/serial/BVSerialPort.h"
#include "brisvane/types/unicode.h"
#include "fuzz/support/fuzzing.h"
#include "fuzz/support/plain_engine.h"

namespace brisvane::fuzz {
namespace {

using host::real::Descriptor;
using std::chrono::nanoseconds;

constexpr Seconds kLimit = 2;
constexpr std::string_view kHangUp = "hang up";

nanoseconds played{0};

// The machine's clock, and the time that was played: a search that runs away is given up all the
// same.
class PlayedClock final : public host::Clock {
 public:
  Wall wall() const noexcept override { return std::chrono::system_clock::now() + played; }
  Steady steady() const noexcept override { return std::chrono::steady_clock::now() + played; }
};

// The fixture's end of the line.
class Line {
 public:
  Line(std::vector<std::string_view>::const_iterator begin,
       std::vector<std::string_view>::const_iterator end)
      : chunks_(begin, end) {
    int ends[2] = {-1, -1};
    require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there is a line");
    tool_ = Descriptor(ends[0]);
    fixture_ = Descriptor(ends[1]);
  }

  [[nodiscard]] int toolsEnd() const { return tool_.get(); }

  // What comes while the port waits; false when nothing does.
  bool play() {
    if (chunks_.empty()) return false;
    const std::string_view chunk = chunks_.front();
    chunks_.pop_front();
    if (chunk == kHangUp) {
      fixture_.reset(-1);
      chunks_.clear();
      return true;
    }
    if (chunk.empty()) return false;
    received_ += chunk;
    return ::write(fixture_.get(), chunk.data(), chunk.size()) >= 0;
  }

  // All that has come.
  [[nodiscard]] const std::string& received() const { return received_; }
  [[nodiscard]] bool hasHungUp() const { return !fixture_.valid(); }

 private:
  Descriptor tool_;
  Descriptor fixture_;
  std::deque<std::string_view> chunks_;
  std::string received_;
};

Line* line = nullptr;

std::string asAscii(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    appendUtf8(text, value < 0x80 ? char32_t{value} : kReplacementCharacter);
  }
  return text;
}

std::string trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

std::size_t numberIn(std::string_view text) {
  std::size_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return std::min<std::size_t>(number, 1000);
}

void exchangeBytes(BVSerialPort& port, std::size_t least) {
  Data reply;
  if (!port.sendDataCommand("?", reply, static_cast<std::int32_t>(least), kLimit)) return;
  require(reply.size() >= least, "a reply of bytes is long enough");
  require(line->received().starts_with(asCharacters(reply)), "a reply is what has come");
}

void exchangeUntilSilence(BVSerialPort& port) {
  std::string reply = "none";
  if (!port.sendStringCommand("?", reply, kLimit)) {
    require(line->hasHungUp() && reply == "none", "an exchange that ends by silence succeeds");
    return;
  }
  require(reply == trimmed(asAscii(line->received())), "a reply is all that has come");
}

void exchangeUntilMatch(BVSerialPort& port, std::string_view pattern) {
  std::string reply = "none";
  const bool isAccepted = port.sendStringCommand("?", reply, pattern, kLimit);
  const PlainEngine engine(pattern);
  if (!isAccepted) {
    require(reply == "none", "a reply is set on success alone");
    return;
  }
  const auto plainly =
      engine.compiles() ? engine.firstMatch(asAscii(line->received())) : std::nullopt;
  if (plainly) {
    require(plainly->has_value(), "the plain engine accepts what is accepted");
    require(plainly->value().front().of(asAscii(line->received())) == reply,
            "a reply is what the plain engine finds");
  }
}

void poll(BVSerialPort& port, std::size_t polls) {
  const auto bytes = port.readSerialWithTimeout(static_cast<PollCount>(polls));
  require(!bytes || !bytes->empty(), "a poll that gives something gives bytes");
  require(!bytes || line->received().starts_with(asCharacters(*bytes)), "a poll gives what came");
}

void receiveBytes(BVSerialPort& port, std::size_t polls) {
  std::string bytes;
  std::uint8_t byte = 0;
  while (port.receiveByte(byte, static_cast<std::uint32_t>(polls)) == 0)
    bytes += static_cast<char>(byte);
  require(line->received().starts_with(bytes), "bytes come in their order");
}

}  // namespace

void run(std::string_view input) {
  const auto parts = partsOf(input);
  const std::string_view operation = parts.front().substr(0, parts.front().find(' '));
  const std::string_view argument =
      parts.front().substr(std::min(operation.size() + 1, parts.front().size()));

  auto platform = std::make_shared<host::Platform>();
  platform->setClock(std::make_shared<PlayedClock>());
  const host::ScopedPlatform installed(platform);
  Line fixture(parts.begin() + 1, parts.end());
  line = &fixture;
  BVSerialPort port("/dev/played");
  port.setSpHandle(fixture.toolsEnd());
  if (operation == "silence") exchangeUntilSilence(port);
  if (operation == "match") exchangeUntilMatch(port, argument);
  if (operation == "bytes") exchangeBytes(port, numberIn(argument));
  if (operation == "poll") poll(port, numberIn(argument));
  if (operation == "byte") receiveBytes(port, numberIn(argument));
  line = nullptr;
}

}  // namespace brisvane::fuzz

// --- The system calls that wait ---

extern "C" int __real_poll(pollfd* descriptors, nfds_t count, int milliseconds);

extern "C" int __wrap_poll(pollfd* descriptors, nfds_t count, int milliseconds) {
  using namespace brisvane::fuzz;
  const int ready = __real_poll(descriptors, count, 0);
  if (ready != 0 || milliseconds == 0 || line == nullptr) return ready;
  if (line->play()) return __real_poll(descriptors, count, 0);
  played += std::chrono::milliseconds(milliseconds);
  return 0;
}

extern "C" int __wrap_nanosleep(const timespec* time, timespec* /*left*/) {
  using namespace std::chrono;
  brisvane::fuzz::played += seconds(time->tv_sec) + nanoseconds(time->tv_nsec);
  return 0;
}
