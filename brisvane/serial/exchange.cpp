// The three command/reply exchanges of a port.
#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "brisvane/host/clock.h"
#include "brisvane/host/pattern.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/serial/BVSerialPort.h"
#include "brisvane/serial/polling.h"
#include "brisvane/support/strings.h"
#include "brisvane/types/join.h"
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
  for (const std::uint8_t byte : bytes) appendUtf8(text, byte < 0x80 ? char32_t{byte} : kReplacementCharacter);
}

// An info line that tells of a command and what came of it.
void logExchange(Text command, std::string_view relation, std::string_view reply) {
  BVLog::Default::info(join({stringByTrimmingWhitespace(command), relation, stringByTrimmingWhitespace(reply), "\n"}));
}

}  // namespace

bool BVSerialPort::writeCommand(ByteView command) const noexcept { return writeOnce(command) == command.size(); }

bool BVSerialPort::sendDataCommand(ByteView command, Data& getResponse, std::int32_t minimumLength,
                                   Seconds timeout) try {
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
    const ByteView bytes = ByteView(chunk).first(readOnce(chunk).value_or(0));
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
} catch (const std::bad_alloc&) {
  return false;
}

bool BVSerialPort::sendStringCommand(Text command, std::string& getResponse, Seconds withTimeout) try {
  const auto line = spLock();
  const std::scoped_lock lock(*line);
  if (!isAscii(command.orEmpty()) || !writeCommand(asBytes(command.orEmpty()))) return false;
  std::string reply;
  Chunk chunk;
  host::Stopwatch silence(platform_->clock());
  while (silence.elapsed() < withTimeout) {
    host::pause(kPollPause);
    const auto count = readOnce(chunk);
    if (!count) return false;
    if (*count == 0) continue;
    silence.restart();
    appendAscii(reply, ByteView(chunk).first(*count));
  }
  getResponse = stringByTrimmingWhitespace(reply);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

bool BVSerialPort::sendStringCommand(Text command, std::string& getResponse, Text acceptPattern,
                                     Seconds withTimeout) try {
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
  if (!pattern) return false;
  std::string reply;
  Chunk chunk;
  const host::Stopwatch sinceStart(platform_->clock());
  while (sinceStart.elapsed() < withTimeout) {
    host::pause(kPollPause);
    const auto count = locked([&] { return readOnce(chunk); });
    if (!count) {
      BVLog::Default::info("Serial port read error!");
      break;
    }
    if (*count == 0) continue;
    appendAscii(reply, ByteView(chunk).first(*count));
    if (const auto match = pattern->firstMatch(reply)) {
      const std::string_view matched = match->front().of(reply);
      logExchange(command, " → ", matched);
      getResponse = matched;
      return true;
    }
  }
  logExchange(command, " ≠ ", reply);
  return false;
} catch (const std::bad_alloc&) {
  return false;
}

}  // namespace brisvane
