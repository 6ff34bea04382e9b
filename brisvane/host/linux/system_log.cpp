// The caller of a logger is who speaks, not the line below.
#define SD_JOURNAL_SUPPRESS_LOCATION

#include "brisvane/host/linux/system_log.h"

#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <mutex>
#include <new>

#include "brisvane/host/process_locks.h"
#include "brisvane/types/join.h"

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

// syslog(3) holds a lock of glibc's while it writes, which a forked child may find taken
// for ever. Ours around it is free in the child; a fork waits for one entry.
void writeToSyslog(int priority, const std::string& message) {
  const std::scoped_lock lock(processLocks().syslog);
  ::syslog(LOG_USER | priority, "%s", message.c_str());
}

void writeToJournal(const LogChannel& channel, int priority, std::string_view message) {
  const std::array fields{join({"MESSAGE=", message}), join({"PRIORITY=", std::to_string(priority)}),
                          join({"SYSLOG_IDENTIFIER=", program_invocation_short_name}),
                          join({"BRISVANE_SUBSYSTEM=", channel.subsystem}),
                          join({"BRISVANE_CATEGORY=", channel.category})};
  std::array<iovec, fields.size()> parts{};
  for (std::size_t i = 0; i < fields.size(); ++i) {
    parts[i] = {const_cast<char*>(fields[i].data()), fields[i].size()};  // iovec knows no const
  }
  sd_journal_sendv(parts.data(), static_cast<int>(parts.size()));
}

}  // namespace

void JournalLog::write(const LogChannel& channel, LogType type, std::string_view format,
                       std::string_view argument) const noexcept try {
  const std::string message = filledIn(format, argument);
  // sd_journal_sendv reports success when nobody listens.
  if (::access(journalSocket_.c_str(), F_OK) == 0) {
    writeToJournal(channel, priorityOf(type), message);
  } else {
    writeToSyslog(priorityOf(type), message);
  }
} catch (const std::bad_alloc&) {
  // Dropped: a log never fails towards its caller.
}

}  // namespace brisvane::host::real
