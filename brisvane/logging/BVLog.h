// BVLog, the logger: the system log, a log file, and a text that collects the errors.
// Every operation may be called from any thread at the same time, and from the
// destructor of a static object. All work is done, and the file system and the system log
// waited for, before an operation returns. What gives a value or makes an object may throw
// std::bad_alloc, as the containers do; nothing else throws.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "brisvane/logging/system_log_handle.h"
#include "brisvane/types/error.h"
#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/text.h"

namespace brisvane {

// Sends each message to the system log. info, error and fault messages also become a
// line of the log file, when there is one; error messages are also collected in the
// aggregated error text of the process. An absent message counts as the empty text.
//
// A line is the timestamp in local time, a space, the level ("ERROR " or "FAULT ", nothing
// for info), the message unchanged, a space and a line feed:
//
//   2024-03-05 9:7:3 port opened
//   2024-03-05 9:7:4 ERROR Error writing to serial port:5
//
// The message's bytes are written as they are: nothing is escaped, and what is not UTF-8 stays so.
//
// The time zone is the one in force when the line is written. A change of TZ is followed at once, one
// of /etc/localtime from the first line of the next second on. REQUIRES: no other thread changes the
// environment meanwhile (setenv, putenv), because a line reads TZ.
//
// Each line opens the file, appends in one write and closes it: lines of several threads
// and processes neither tear nor get lost on a local file system, even while the file is moved away, which a new
// one at the same path follows. No operation reports a failure to its caller. A line that
// cannot be written is reported to the system log as an error entry, "ERROR: Failed to write
// string to file " with the path, ": " and the reason; an existing file that cannot be
// opened is never replaced.
//
// What can damage a line:
// - A full disk, or a limit of the process, can cut it short. Its beginning stays in the file, and the failure
//   is reported as above. The next line of this process to that file begins with a line feed, so that only
//   one line is damaged. Lines of other processes follow directly.
// - A process that is killed while it writes (kill -9) leaves the whole line, its beginning, or nothing. No line
//   feed follows a beginning then. Killed while it makes a new log file, it can leave a file beside it
//   whose name is ".bv" and 16 hexadecimal digits, and which nobody removes.
// - A machine that crashes or loses its power can also lose lines whose operations have returned: no
//   line is synced to the disk. kill -9 loses none of these.
//
// A system log that hangs is waited for once, for at most 2 seconds; its entries are then dropped until it takes one
// again, and an entry reports how many. The file gets every line.
//
//   namespace bv = brisvane;
//   bv::BVLog::configureDefault(bv::SystemLogHandle::waylineLog(), "/var/tmp/run.log", std::nullopt);
//   bv::BVLog::Default::info("port opened");
class BRISVANE_EXPORT BVLog final {
 public:
  // A logger on a channel of the system log, with an optional log file. Without a
  // verbosity level, the preference "BrisvaneVerbosityLevel" of the process's standard
  // store decides, now and for good: 0 when it is missing or no number.
  BVLog(const SystemLogHandle& osLog, Text logFilePath, std::optional<std::int64_t> verbosityLevel);
  BVLog(const BVLog&) = delete;
  BVLog& operator=(const BVLog&) = delete;
  ~BVLog();

  // The path of the log file; nullopt or empty for none. Setting it touches no file
  // and records the change as a debug entry.
  [[nodiscard]] std::optional<std::string> logFilePath() const;
  void setLogFilePath(Text path) noexcept;

  // Why a line of this logger did not reach the log file, the last of them; nullopt when all did.
  // What the error concerns is the path; nothing when memory ran out.
  [[nodiscard]] std::optional<Error> logFileFailure() const noexcept;

  // The threshold of debugl. Setting it records the change as a debug entry.
  [[nodiscard]] std::int64_t verbosityLevel() const noexcept;
  void setVerbosityLevel(std::int64_t level) noexcept;

  // Records nothing anywhere.
  void trueDebug(Text message) noexcept;
  // A debug entry when verbosityLevel() is at least `level`.
  void debugl(std::int64_t level, Text message) noexcept;
  // A debug entry, at every verbosity level.
  void debug(Text message) noexcept;
  // An info entry and a line of the log file.
  void info(Text message) noexcept;
  // An error entry, the aggregated error text, and a line of the log file.
  void error(Text message) noexcept;
  // A fault entry and a line of the log file.
  void fault(Text message) noexcept;

  // Moves the log file aside; the next line begins a new one at its path. Without a destination
  // it stays in its folder, under its name with the local date and time ahead of the extension:
  // /var/log/run.log becomes /var/log/run_2024-03-05_9:7:3.log. The extension is what follows the
  // last dot of the name, be that its first or its last character; without a dot the stamp comes last.
  //
  // Nothing is ever replaced: a destination that exists, as after two backups within one second, is
  // a failure. A failure leaves the file in place, and is reported as an error of the default logger:
  // "Failed to backup log: ", both paths and the reason, and where the file is should it not even
  // have been put back, or should its last lines alone not have reached another file system.
  // Without a log file nothing is done or reported.
  //
  // Blocks for a rename; to another file system, for a copy, which host::moveFile() describes.
  void backupLogFileTo(Text destination) noexcept;

  // The path that a backup of the log file at `logPath` has without a destination, at a moment.
  [[nodiscard]] static std::string backupPath(Text logPath, Date moment);

  // The process-wide default logger, which the whole library reports through. The
  // first use of it (reading, setting, configuring, logging) builds one on waylineLog()
  // without a log file; it is never null.
  [[nodiscard]] static std::shared_ptr<BVLog> defaultLog();
  // Replaces the default logger; null is ignored. The previous one is left as it is.
  static void setDefault(std::shared_ptr<BVLog> log) noexcept;
  // Makes a new logger from these arguments the default one.
  static void configureDefault(const SystemLogHandle& osLog, Text logFilePath,
                               std::optional<std::int64_t> verbosityLevel) noexcept;

  // A copy of the text that collects every error of every logger, each followed by a
  // line feed. It takes no more once it is longer than 4,000 user-perceived characters.
  [[nodiscard]] static std::string aggregatedErrorDescription();
  // Replaces that text; an empty one clears it.
  static void initAggregatedError(Text text) noexcept;

  // The operations of the logger that is the default at the moment of the call.
  struct Default {
    Default() = delete;
    static void trueDebug(Text message) noexcept;
    static void debugl(std::int64_t level, Text message) noexcept;
    static void debug(Text message) noexcept;
    static void info(Text message) noexcept;
    static void error(Text message) noexcept;
    static void fault(Text message) noexcept;
    static void backupLogFileTo(Text destination) noexcept;
  };

 private:
  void setLogFileFailure(const Error& error) noexcept;
  void appendLineToLogFile(const host::Platform& platform, std::string_view prefix, Text message) noexcept;
  void collectError(Text message);

  static constexpr std::int64_t kErrorStringMaxLength = 4000;  // user-perceived characters

  const SystemLogHandle osLog_;
  std::optional<std::string> logFilePath_;
  std::optional<Error> logFileFailure_;
  std::int64_t verbosityLevel_ = 0;
};

}  // namespace brisvane
