// The three command/reply exchanges of a port.
#include <algorithm>
#include <array>
#include <utility>

#include "brisvane/host/clock.h"
#include "brisvane/host/formats/growing_search.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/serial/BVSerialPort.h"
#include "brisvane/support/strings.h"
#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

using Additions::stringByTrimmingWhitespace;

constexpr std::size_t kChunkSize = 256;
// A byte exchange is complete at the next quiet poll after this many, all in all.
constexpr int kQuietPolls = 2;

using Chunk = std::array<std::uint8_t, kChunkSize>;

// Appends received bytes as 7-bit ASCII.
void appendAscii(std::string& text, ByteView bytes) {
  for (const std::uint8_t byte : bytes)
    appendUtf8(text, byte < 0x80 ? char32_t{byte} : kReplacementCharacter);
}

// The searches of a growing reply. A pattern that runs away on a part of a reply may match the
// whole at once. So a search is given little time at first; when that is not enough, the next one
// waits until the line is quiet or the reply has grown well, and is given more, up to all that is
// left of the exchange's.
class ReplySearch {
 public:
  // REQUIRES: `reply` and `clock` outlive the object.
  ReplySearch(const host::Pattern& pattern, const std::string& reply, const host::Clock& clock)
      : search_(pattern), reply_(reply), clock_(clock) {}

  // Whether there is something to search, after a poll.
  [[nodiscard]] bool isDue(bool quiet) const noexcept {
    if (!givenUp_) return reply_.size() > searched_;
    return quiet || reply_.size() > searched_ + searched_ / 4;
  }
  [[nodiscard]] bool hasMore() const noexcept { return reply_.size() > searched_; }

  // The part of the reply that matches. `left` is what is left of the exchange's time; a search has
  // the least time even so, because what came in time is searched after the limit, too.
  [[nodiscard]] std::optional<std::string_view> match(Seconds left) {
    const Seconds limit = std::max(kLeastTime, std::min(time_, left));
    const host::Stopwatch sinceStart(clock_);
    const auto found = search_.firstMatch(reply_, [&] { return limit - sinceStart.elapsed(); });
    searched_ = reply_.size();
    givenUp_ = !found.ok() && found.error().number() == ETIMEDOUT;
    if (givenUp_) time_ *= 4;
    if (!found.ok() || !found.value()) return std::nullopt;
    return found.value()->front().of(reply_);
  }

 private:
  static constexpr Seconds kLeastTime = 0.1;
  static constexpr Seconds kFirstTime = 0.25;

  host::GrowingSearch search_;
  const std::string& reply_;
  const host::Clock& clock_;
  std::size_t searched_ = 0;  // of the reply, by the last search
  bool givenUp_ = false;      // the last search
  Seconds time_ = kFirstTime;
};

// An info line about a command and what came of it.
void logExchange(Text command, std::string_view relation, std::string_view reply) {
  BVLog::Default::info(join(
      {stringByTrimmingWhitespace(command), relation, stringByTrimmingWhitespace(reply), "\n"}));
}

}  // namespace

bool BVSerialPort::writeCommand(ByteView command) const noexcept {
  return writeOnce(command).optional() == command.size();
}

// --- The described operations, where lack of memory ends ---

bool BVSerialPort::sendDataCommand(Bytes command, Data& getResponse, std::int32_t minimumLength,
                                   Seconds timeout) {
  return memoryPermitting(
      false, [&] { return exchangeBytes(command.orEmpty(), getResponse, minimumLength, timeout); });
}

bool BVSerialPort::sendStringCommand(Text command, std::string& getResponse, Seconds withTimeout) {
  return memoryPermitting(false,
                          [&] { return exchangeUntilSilence(command, getResponse, withTimeout); });
}

bool BVSerialPort::sendStringCommand(Text command, std::string& getResponse, Text acceptPattern,
                                     Seconds withTimeout) {
  return memoryPermitting(
      false, [&] { return exchangeUntilMatch(command, getResponse, acceptPattern, withTimeout); });
}

// --- The exchanges ---

bool BVSerialPort::exchangeBytes(ByteView command, Data& getResponse, std::int32_t minimumLength,
                                 Seconds timeout) {
  const auto line = spLock();
  const std::scoped_lock lock(*line);
  if (!writeCommand(command)) return false;
  const auto enough = static_cast<std::size_t>(std::max(minimumLength, std::int32_t{0}));
  Data reply;
  Chunk chunk;
  int quietPolls = 0;  // never reset: those before the first byte count too
  host::Stopwatch silence(platform_->clock());
  for (;;) {
    host::pause(kPollPause);
    const ByteView bytes = ByteView(chunk).first(readOnce(chunk).optional().value_or(0));
    if (bytes.empty()) {
      ++quietPolls;
    } else {
      silence.restart();
      reply.insert(reply.end(), bytes.begin(), bytes.end());
    }
    // The time-out comes first: it wins over a reply completed in the same poll.
    // (Written so that a limit that is no number ends the exchange, too.)
    if (!(silence.elapsed() <= timeout)) {
      BVLog::Default::error("Error: Reading serial port timed out.");
      return false;
    }
    if (reply.size() >= enough && quietPolls > kQuietPolls) {
      getResponse = std::move(reply);
      return true;
    }
  }
}

bool BVSerialPort::exchangeUntilSilence(Text command, std::string& getResponse,
                                        Seconds withTimeout) {
  const auto line = spLock();
  const std::scoped_lock lock(*line);
  if (!isAscii(command.orEmpty()) || !writeCommand(asBytes(command.orEmpty()))) return false;
  std::string reply;
  Chunk chunk;
  host::Stopwatch silence(platform_->clock());
  while (silence.elapsed() < withTimeout) {
    host::pause(kPollPause);
    const auto count = readOnce(chunk);
    if (!count.ok()) return false;
    if (count.value() == 0) continue;
    silence.restart();
    appendAscii(reply, ByteView(chunk).first(count.value()));
  }
  getResponse = stringByTrimmingWhitespace(reply);
  return true;
}

bool BVSerialPort::exchangeUntilMatch(Text command, std::string& getResponse, Text acceptPattern,
                                      Seconds withTimeout) {
  const std::string commandLine = join({command.orEmpty(), "\n"});
  const auto line = spLock();
  const auto locked = [&line](const auto& operation) {
    const std::scoped_lock lock(*line);
    return operation();
  };
  if (!isAscii(commandLine) || !locked([&] { return writeCommand(asBytes(commandLine)); })) {
    BVLog::Default::info("Serial port FWUP write error!\n");
    BVLog::Default::info("Try pressing 'Connect' again!\n");
    return false;
  }
  if (!acceptPattern.present()) {
    BVLog::Default::info(commandLine);
    return true;
  }
  const auto pattern = host::Pattern::compile(acceptPattern.orEmpty());
  if (!pattern.ok()) return false;
  std::string reply;
  Chunk chunk;
  const host::Stopwatch sinceStart(platform_->clock());
  ReplySearch search(pattern.value(), reply, platform_->clock());
  const auto isAccepted = [&] {
    const auto matched = search.match(withTimeout - sinceStart.elapsed());
    if (!matched) return false;
    logExchange(command, " → ", *matched);
    getResponse = *matched;
    return true;
  };
  while (sinceStart.elapsed() < withTimeout) {
    host::pause(kPollPause);
    const auto count = locked([&] { return readOnce(chunk); });
    const std::size_t size = count.optional().value_or(0);
    appendAscii(reply, ByteView(chunk).first(size));
    if (search.isDue(size == 0) && isAccepted()) return true;
    if (!count.ok()) {
      BVLog::Default::info("Serial port read error!");
      break;
    }
  }
  if (search.hasMore() && isAccepted()) return true;
  logExchange(command, " ≠ ", reply);
  return false;
}

}  // namespace brisvane
