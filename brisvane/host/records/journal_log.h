// JournalLog, the system log on Linux: the journal, or the syslog daemon where there is no journal.
// Safe from any thread, and in a child that is forked while another thread writes.
#pragma once

#include <string>
#include <string_view>

#include "brisvane/host/records/log_socket.h"
#include "brisvane/host/records/system_log.h"

namespace brisvane::host::real {

// write() waits for a daemon that hangs only once, for at most 2 seconds. After that it drops
// entries without waiting, until the daemon takes one again. A further entry then reports how many
// were dropped.
class JournalLog final : public SystemLog {
 public:
  // The paths of the sockets of the journal and of the syslog daemon.
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
