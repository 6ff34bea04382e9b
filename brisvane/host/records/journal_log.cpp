#include "brisvane/host/records/journal_log.h"

#include <syslog.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <string>

#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"
#include "brisvane/types/process_locks.h"

namespace brisvane::host::real {
namespace {

int priorityOf(LogType type) noexcept {
  switch (type) {
    case LogType::kDebug:
      return LOG_DEBUG;
    case LogType::kInfo:
      return LOG_INFO;
    case LogType::kError:
      return LOG_ERR;
    case LogType::kFault:
      return LOG_CRIT;
  }
  return LOG_ERR;
}

std::string filledIn(std::string_view format, std::string_view argument) {
  std::string text(format);
  const std::size_t at = format.find(SystemLog::kPlaceholder);
  if (at != std::string_view::npos) text.replace(at, SystemLog::kPlaceholder.size(), argument);
  return text;
}

// A field of the journal's protocol. A value of several lines has its length, in little-endian
// order, in place of the "=".
void addField(std::string& entry, std::string_view name, std::string_view value) {
  entry += name;
  if (value.find('\n') == std::string_view::npos) {
    entry += '=';
  } else {
    entry += '\n';
    for (unsigned shift = 0; shift < 64; shift += 8) {
      entry += static_cast<char>(std::uint64_t{value.size()} >> shift & 0xFFU);
    }
  }
  entry += value;
  entry += '\n';
}

std::string journalEntry(const LogChannel& channel, LogType type, std::string_view message) {
  constexpr std::size_t kOtherFields = 200;
  std::string entry;
  entry.reserve(message.size() + kOtherFields);
  addField(entry, "MESSAGE", message);
  addField(entry, "PRIORITY", std::to_string(priorityOf(type)));
  addField(entry, "SYSLOG_IDENTIFIER", program_invocation_short_name);
  addField(entry, "BRISVANE_SUBSYSTEM", channel.subsystem);
  addField(entry, "BRISVANE_CATEGORY", channel.category);
  return entry;
}

// "<14>Mar  5 09:07:03 program: message", as syslog(3) sends it, which cannot be used: it waits for
// a daemon that hangs.
std::string syslogEntry(const LogChannel& /*channel*/, LogType type, std::string_view message) {
  constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::time_t seconds = std::time(nullptr);
  std::tm fields{};
  {
    const std::scoped_lock lock(processLock(ProcessLock::kTimeZone));
    ::localtime_r(&seconds, &fields);
  }
  std::array<char, 64> head{};
  static_cast<void>(std::snprintf(head.data(), head.size(), "<%d>%s %2d %02d:%02d:%02d ",
                                  LOG_USER | priorityOf(type), kMonths[fields.tm_mon],
                                  fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec));
  return join({head.data(), program_invocation_short_name, ": ", message});
}

using Encoder = std::string (*)(const LogChannel&, LogType, std::string_view);

// Comes after the entry that was taken, which there may be no room beside.
void reportDropped(LogSocket& socket, Encoder encode, const LogChannel& channel) {
  const std::uint32_t dropped = socket.takeDropped();
  if (dropped == 0) return;
  const std::string entry =
      encode(channel, LogType::kError,
             join({"Entries dropped before this one, because the system log did not take them: ",
                   std::to_string(dropped)}));
  if (socket.send(entry, LogSocket::Waiting::kNone) != LogSocket::Outcome::kTaken)
    socket.addDropped(dropped);
}

// False when the socket is not the one to use.
bool record(LogSocket& socket, Encoder encode, const LogChannel& channel, LogType type,
            std::string_view message) {
  const LogSocket::Outcome outcome =
      socket.send(encode(channel, type, message), LogSocket::Waiting::kShort);
  if (outcome == LogSocket::Outcome::kHung) socket.addDropped(1);
  if (outcome == LogSocket::Outcome::kTaken) reportDropped(socket, encode, channel);
  return outcome != LogSocket::Outcome::kUnavailable;
}

}  // namespace

void JournalLog::write(const LogChannel& channel, LogType type, std::string_view format,
                       std::string_view argument) const noexcept {
  unlessOutOfMemory([&] {
    const std::string message = filledIn(format, argument);
    if (!record(journal_, journalEntry, channel, type, message))
      record(syslog_, syslogEntry, channel, type, message);
  });
}

}  // namespace brisvane::host::real
