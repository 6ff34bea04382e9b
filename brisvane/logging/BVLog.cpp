#include "brisvane/logging/BVLog.h"

#include <array>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <utility>

#include "brisvane/host/files/files.h"
#include "brisvane/host/formats/characters.h"
#include "brisvane/host/platform.h"
#include "brisvane/logging/log_state.h"
#include "brisvane/logging/log_timestamp.h"
#include "brisvane/logging/preferences_store.h"
#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"
#include "brisvane/types/process_locks.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

using host::LogType;

constexpr std::string_view kPlainFormat = host::SystemLog::kPlaceholder;
constexpr std::string_view kErrorFormat = "ERROR %{public}@";
constexpr std::string_view kFaultFormat = "FAULT %{public}@";

constexpr std::string_view kInfoPrefix = " ";
constexpr std::string_view kErrorPrefix = " ERROR ";
constexpr std::string_view kFaultPrefix = " FAULT ";

constexpr Text kVerbosityKey = "BrisvaneVerbosityLevel";

// The character as it stands between double quotes.
std::string escaped(std::string_view character, char32_t value) {
  switch (value) {
    case U'"':
      return "\\\"";
    case U'\\':
      return "\\\\";
    case U'\0':
      return "\\0";
    case U'\t':
      return "\\t";
    case U'\n':
      return "\\n";
    case U'\r':
      return "\\r";
    default:
      break;
  }
  if (!isControl(value)) return std::string(character);
  std::array<char, 12> text{};
  static_cast<void>(
      std::snprintf(text.data(), text.size(), "\\u{%X}", static_cast<unsigned>(value)));
  return text.data();
}

// How a change message shows a path that may be absent.
std::string quoted(const std::optional<std::string>& path) {
  if (!path) return "nil";
  std::string text = "Optional(\"";
  for (std::string_view rest = *path; !rest.empty();) {
    const CodePoint first = firstCodePoint(rest);
    text += escaped(rest.substr(0, first.length), first.value);
    rest.remove_prefix(first.length);
  }
  return text += "\")";
}

std::shared_ptr<BVLog> currentDefault() {
  const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
  return logState().defaultLog;
}

// The verbosity that the preferences of the platform say. REQUIRES that they do not log: what that
// takes is being made.
std::int64_t firstVerbosity() {
  const PreferencesStore& store = PreferencesStore::standard();
#ifndef NDEBUG
  static constinit thread_local bool isAsking = false;
  assert(!isAsking && "the preferences log, which takes what they are asked for");
  isAsking = true;
#endif
  const std::int64_t verbosity = store.integer(kVerbosityKey);
#ifndef NDEBUG
  isAsking = false;
#endif
  return verbosity;
}

}  // namespace

BVLog::BVLog(const SystemLogHandle& osLog, Text logFilePath,
             std::optional<std::int64_t> verbosityLevel)
    : osLog_(osLog),
      logFilePath_(logFilePath.copy()),
      verbosityLevel_(verbosityLevel ? *verbosityLevel
                                     : PreferencesStore::standard().integer(kVerbosityKey)) {}

BVLog::~BVLog() = default;

std::optional<std::string> BVLog::logFilePath() const {
  const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
  return logFilePath_;
}

void BVLog::setLogFilePath(Text path) noexcept {
  unlessOutOfMemory([&] {
    const auto now = path.copy();
    auto then = now;
    {
      const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
      then.swap(logFilePath_);
    }
    osLog_.write(LogType::kDebug, kPlainFormat,
                 join({"Changed logFilePath from ", quoted(then), " to ", quoted(now)}));
  });
}

bool BVLog::followsLinks() const noexcept {
  const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
  return followsLinks_;
}

void BVLog::setFollowsLinks(bool follows) noexcept {
  const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
  followsLinks_ = follows;
}

std::int64_t BVLog::verbosityLevel() const noexcept {
  const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
  return verbosityLevel_;
}

void BVLog::setVerbosityLevel(std::int64_t level) noexcept {
  unlessOutOfMemory([&] {
    std::int64_t then = level;
    {
      const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
      std::swap(then, verbosityLevel_);
    }
    osLog_.write(LogType::kDebug, kPlainFormat,
                 join({"Changed verbosityLevel from ", std::to_string(then), " to ",
                       std::to_string(level)}));
  });
}

void BVLog::trueDebug(Text /*message*/) noexcept {}

void BVLog::debugl(std::int64_t level, Text message) noexcept {
  if (verbosityLevel() >= level) debug(message);
}

void BVLog::debug(Text message) noexcept {
  osLog_.write(LogType::kDebug, kPlainFormat, message.orEmpty());
}

void BVLog::info(Text message) noexcept {
  const auto platform = host::platform();
  osLog_.write(*platform, LogType::kInfo, kPlainFormat, message.orEmpty());
  appendLineToLogFile(*platform, kInfoPrefix, message);
}

void BVLog::error(Text message) noexcept {
  const auto platform = host::platform();
  osLog_.write(*platform, LogType::kError, kErrorFormat, message.orEmpty());
  unlessOutOfMemory([&] { collectError(message); });
  appendLineToLogFile(*platform, kErrorPrefix, message);
}

void BVLog::fault(Text message) noexcept {
  const auto platform = host::platform();
  osLog_.write(*platform, LogType::kFault, kFaultFormat, message.orEmpty());
  appendLineToLogFile(*platform, kFaultPrefix, message);
}

// Counts only what is appended, and that without the lock. Each round is for a last line that
// another thread has changed meanwhile; it is empty but after initAggregatedError().
void BVLog::collectError(Text message) {
  constexpr auto kLimit = static_cast<std::size_t>(kErrorStringMaxLength);
  const std::string entry = join({message.orEmpty(), "\n"});
  std::size_t added = 0;
  for (std::optional<std::string> lastLine;;) {
    {
      const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
      auto& collected = logState().aggregatedError;
      if (!collected) collected.emplace();
      if (collected->length > kLimit) return;
      if (collected->lastLine() == lastLine) {
        collected->text += entry;
        collected->length = collected->lengthOfLines += added;
        return;
      }
      lastLine = collected->lastLine();
    }
    added = host::characterCount(*lastLine + entry, kLimit);
  }
}

void BVLog::appendLineToLogFile(const host::Platform& platform, std::string_view prefix,
                                Text message) noexcept {
  const Result<> appended = memoryPermitting(Result<>(Error(ENOMEM)), [&]() -> Result<> {
    const auto path = logFilePath();
    if (!path || path->empty()) return {};
    const std::string timestamp = logTimestamp(platform.clock().wall());
    return host::appendLineToFile(*path, join({timestamp, prefix, message.orEmpty(), " \n"}),
                                  followsLinks() ? host::Links::kFollowed : host::Links::kRefused);
  });
  if (appended.ok()) return;
  setLogFileFailure(appended.error());
  if (appended.error().what().empty()) return;  // there is no memory for an entry
  unlessOutOfMemory([&] {
    osLog_.write(platform, LogType::kError, kErrorFormat,
                 join({"ERROR: Failed to write string to file ", appended.error().text()}));
  });
}

void BVLog::setLogFileFailure(const Error& error) noexcept {
  const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
  logFileFailure_ = error;
}

std::optional<Error> BVLog::logFileFailure() const noexcept {
  const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
  return logFileFailure_;
}

std::shared_ptr<BVLog> BVLog::defaultLog() {
  if (auto current = currentDefault()) return current;
  // Asked for ahead of the lock, perhaps by several threads: preferences that a tool brings may
  // take their time or fork.
  const std::int64_t verbosity = firstVerbosity();
  const SystemLogHandle& channel = SystemLogHandle::waylineLog();
  const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
  std::shared_ptr<BVLog>& log = logState().defaultLog;
  if (log == nullptr) log = std::make_shared<BVLog>(channel, nullptr, verbosity);
  return log;
}

void BVLog::setDefault(std::shared_ptr<BVLog> log) noexcept {
  unlessOutOfMemory([&] {
    static_cast<void>(defaultLog());
    if (log == nullptr) return;
    const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
    logState().defaultLog.swap(log);  // the previous one is released after the lock
  });
}

void BVLog::configureDefault(const SystemLogHandle& osLog, Text logFilePath,
                             std::optional<std::int64_t> verbosityLevel) noexcept {
  unlessOutOfMemory([&] {
    static_cast<void>(defaultLog());
    setDefault(std::make_shared<BVLog>(osLog, logFilePath, verbosityLevel));
  });
}

std::string BVLog::aggregatedErrorDescription() {
  const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
  const auto& collected = logState().aggregatedError;
  return collected ? collected->text : std::string();
}

void BVLog::initAggregatedError(Text text) noexcept {
  unlessOutOfMemory([&] {
    std::optional<ErrorText> replaced(std::in_place, text.orEmpty(), kErrorStringMaxLength);
    const std::scoped_lock lock(host::processLock(host::ProcessLock::kLoggers));
    logState().aggregatedError.swap(replaced);
  });
}

void BVLog::Default::trueDebug(Text message) noexcept {
  unlessOutOfMemory([&] { defaultLog()->trueDebug(message); });
}

void BVLog::Default::debugl(std::int64_t level, Text message) noexcept {
  unlessOutOfMemory([&] { defaultLog()->debugl(level, message); });
}

void BVLog::Default::debug(Text message) noexcept {
  unlessOutOfMemory([&] { defaultLog()->debug(message); });
}

void BVLog::Default::info(Text message) noexcept {
  unlessOutOfMemory([&] { defaultLog()->info(message); });
}

void BVLog::Default::error(Text message) noexcept {
  unlessOutOfMemory([&] { defaultLog()->error(message); });
}

void BVLog::Default::fault(Text message) noexcept {
  unlessOutOfMemory([&] { defaultLog()->fault(message); });
}

}  // namespace brisvane
