// BVLog, the logger: the system log, a log file, and a text that collects the errors.
// Any number of threads may call every operation at the same time, also from the destructor of a
// static object. An operation returns when its work is done: it blocks for the file system and the
// system log. An operation that is not noexcept may throw std::bad_alloc. Nothing else is thrown.
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

// Sends each message to the system log. An info, error or fault message also becomes a line of the
// log file, when there is one. An error message is also collected in the aggregated error text of
// the process. An absent message is taken as the empty text.
//
// A line is the timestamp in local time, a space, the level ("ERROR " or "FAULT ", nothing
// for info), the message unchanged, a space and a line feed:
//
//   2024-03-05 9:7:3 port opened
//   2024-03-05 9:7:4 ERROR Error writing to serial port:5
//
// The message is written byte for byte: nothing is escaped, and bytes that are not UTF-8 stay.
//
// The time zone is the one in force when the line is written. A change of TZ takes effect at once.
// A change of /etc/localtime takes effect with the first line of the next second.
// REQUIRES: no other thread changes the environment (setenv, putenv), because a line reads TZ.
//
// Each line opens the file, appends in one write and closes it. On a local file system, lines of
// several threads and processes neither tear nor get lost. The file may be moved away at any time:
// the next line makes a new one at the same path. A file that exists and cannot be opened is never
// replaced.
//
// A logging operation has no result. When a line cannot be written, logFileFailure() has the
// reason, and the system log gets an error entry: "ERROR: Failed to write string to file ", the
// path, ": " and the reason.
//
// What can damage a line:
// - A full disk, or a limit of the process, can cut it short. Its beginning stays in the file. The
//   failure is reported as above. The next line of this process to that file begins with a line
//   feed, so that only one line is damaged. Lines of other processes follow directly.
// - A process that is killed while it writes (kill -9) leaves the whole line, its beginning, or
//   nothing. No line feed follows a beginning then. A process that is killed while it makes a new
//   log file can leave a file beside it, named ".bv" and 16 hexadecimal digits. Nobody removes that
//   file.
// - A crash of the machine or a power failure can also lose lines whose operations have returned,
//   because no line is synced to the disk. kill -9 loses none of these.
//
// When the system log hangs, the library waits for it once, for at most 2 seconds. It then drops
// entries until the system log takes one again. The entry after that says how many were dropped.
// The file gets every line.
//
//   namespace bv = brisvane;
//   const auto& channel = bv::SystemLogHandle::waylineLog();
//   bv::BVLog::configureDefault(channel, "/var/tmp/run.log", std::nullopt);
//   bv::BVLog::Default::info("port opened");
class BRISVANE_EXPORT BVLog final {
 public:
  // A logger on a channel of the system log, with an optional log file. Without a verbosity level,
  // reads the preference "BrisvaneVerbosityLevel" of the process's standard store once, now: 0 when
  // it is missing or no number.
  BVLog(const SystemLogHandle& osLog, Text logFilePath, std::optional<std::int64_t> verbosityLevel);
  BVLog(const BVLog&) = delete;
  BVLog& operator=(const BVLog&) = delete;
  ~BVLog();

  // The path of the log file; nullopt or empty for none. Setting it touches no file, and records
  // the change as a debug entry. When memory runs out, the path may be unchanged.
  [[nodiscard]] std::optional<std::string> logFilePath() const;
  void setLogFilePath(Text path) noexcept;

  // Whether a line follows symbolic links in the path of the log file; true at first. When not, a
  // path with a symbolic link in it, be it the file or a folder, takes no line, and
  // logFileFailure() is ELOOP. A backup then fails in the same way; links in the path that it moves
  // the log to are followed. To log no line before it is set, set it ahead of setDefault().
  [[nodiscard]] bool followsLinks() const noexcept;
  void setFollowsLinks(bool follows) noexcept;

  // The last failure to write a line of this logger to the log file; nullopt when there was none.
  // The error's what() is the path; it is empty when memory ran out.
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

  // Moves the log file to `destination`. The next line begins a new file at the log's path. An
  // absent destination stands for backupPath() of now. Does nothing without a log file.
  //
  // Fails when something is at the destination, as after two backups within one second: nothing is
  // ever replaced. A failure leaves the file in place, except in the cases that host::moveFile()
  // lists. The default logger logs it as an error: "Failed to backup log: ", both paths and the
  // reason, then the places where the file is left if it could not be moved back.
  //
  // Blocks for a rename, or for a copy to another file system.
  void backupLogFileTo(Text destination) noexcept;

  // The path to which a backup without a destination moves the log file at `logPath`: the date and
  // the time, in local time, stand ahead of the extension. /var/log/run.log becomes
  // /var/log/run_2024-03-05_9:7:3.log. The extension begins with the last dot of the file's name,
  // wherever that stands. Without a dot, date and time come last.
  [[nodiscard]] static std::string backupPath(Text logPath, Date moment);

  // The default logger of the process, to which the whole library logs. Never null. The first use
  // (reading, setting, configuring or logging) makes one on waylineLog() without a log file.
  [[nodiscard]] static std::shared_ptr<BVLog> defaultLog();
  // Replaces the default logger. Null is ignored. The previous logger is not changed.
  static void setDefault(std::shared_ptr<BVLog> log) noexcept;
  // Makes a new logger from these arguments the default one.
  static void configureDefault(const SystemLogHandle& osLog, Text logFilePath,
                               std::optional<std::int64_t> verbosityLevel) noexcept;

  // A copy of the aggregated error text. It collects every error of every logger, each followed by
  // a line feed. Once it is longer than 4,000 user-perceived characters, further errors are left
  // out.
  [[nodiscard]] static std::string aggregatedErrorDescription();
  // Replaces that text. An empty or absent `text` clears it.
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
  void appendLineToLogFile(const host::Platform& platform, std::string_view prefix,
                           Text message) noexcept;
  void collectError(Text message);

  static constexpr std::int64_t kErrorStringMaxLength = 4000;  // user-perceived characters

  const SystemLogHandle osLog_;
  std::optional<std::string> logFilePath_;
  std::optional<Error> logFileFailure_;
  std::int64_t verbosityLevel_ = 0;
  bool followsLinks_ = true;
};

}  // namespace brisvane
