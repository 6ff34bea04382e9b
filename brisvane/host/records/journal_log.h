// The system log on Linux: the journal, or the syslog daemon where there is no journal.
// Safe from any thread, and in a child forked while another thread writes.
#pragma once

#include <string>
#include <string_view>

#include "brisvane/host/records/log_socket.h"
#include "brisvane/host/records/system_log.h"

namespace brisvane::host::real {

// A daemon that hangs is waited for once, for at most 2 seconds; entries are then dropped until it takes one again,
// and an entry reports how many.
class JournalLog final : public SystemLog {
 public:
  // The paths at which the journal and the syslog daemon listen.
  JournalLog(std::string_view journalSocket, std::string_view syslogSocket) noexcept
      : journal_(journalSocket, LogSocket::LargeEntries::kAsDescriptor),
        syslog_(syslogSocket, LogSocket::LargeEntries::kRefused) {}

  void write(const LogChannel& channel, LogType type, std::string_view format,
             std::string_view argument) const noexcept override;

 private:
  mutable LogSocket journal_;
  mutable LogSocket syslog_;
};

}  // namespace brisvane::host::real
