// The system log on Linux: the journal, or syslog where there is no journal.
// Safe from any thread, and in a child forked while another thread writes.
#pragma once

#include <string>
#include <utility>

#include "brisvane/host/system_log.h"

namespace brisvane::host::real {

class JournalLog final : public SystemLog {
 public:
  // `journalSocket` is the path that tells whether a journal listens.
  explicit JournalLog(std::string journalSocket) : journalSocket_(std::move(journalSocket)) {}

  void write(const LogChannel& channel, LogType type, std::string_view format,
             std::string_view argument) const noexcept override;

 private:
  std::string journalSocket_;
};

}  // namespace brisvane::host::real
