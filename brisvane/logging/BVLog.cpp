#include "brisvane/logging/BVLog.h"

#include <array>
#include <cstdio>
#include <mutex>
#include <new>
#include <utility>

#include "brisvane/host/characters.h"
#include "brisvane/host/files.h"
#include "brisvane/host/platform.h"
#include "brisvane/logging/log_state.h"
#include "brisvane/logging/log_timestamp.h"
#include "brisvane/logging/preferences_store.h"
#include "brisvane/types/join.h"
#include "brisvane/types/never_destroyed.h"

namespace brisvane {
namespace {

using host::LogType;

constexpr std::string_view kPlainFormat = "%{public}@";
constexpr std::string_view kErrorFormat = "ERROR %{public}@";
constexpr std::string_view kFaultFormat = "FAULT %{public}@";

constexpr std::string_view kInfoPrefix = " ";
constexpr std::string_view kErrorPrefix = " ERROR ";
constexpr std::string_view kFaultPrefix = " FAULT ";

constexpr Text kVerbosityKey = "BrisvaneVerbosityLevel";

std::string escaped(char c) {
  switch (c) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\0':
      return "\\0";
    case '\t':
      return "\\t";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    default:
      break;
  }
  const auto byte = static_cast<unsigned char>(c);
  if (byte >= 0x20 && byte != 0x7F) return {c};
  std::array<char, 8> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "\\u{%X}", byte));
  return text.data();
}

// How a change message shows a path that may be absent.
std::string quoted(const std::optional<std::string>& path) {
  if (!path) return "nil";
  std::string text = "Optional(\"";
  for (const char c : *path) text += escaped(c);
  return text += "\")";
}

// Runs an operation that has nothing to report a lack of memory with.
template <typename Operation>
void unlessOutOfMemory(const Operation& operation) noexcept {
  try {
    operation();
  } catch (const std::bad_alloc&) {
    // The message is lost: a logger never fails towards its caller.
  }
}

// The default logger, built on first use.
std::shared_ptr<BVLog>& defaultLogUnderLock(std::unique_lock<std::mutex>& lock) {
  // Reads the preferences, which is why the mutex is not held yet.
  static NeverDestroyed<std::shared_ptr<BVLog>> initial(
      std::make_shared<BVLog>(SystemLogHandle::waylineLog(), Text(), std::nullopt));
  lock = std::unique_lock(logState().mutex);
  auto& current = logState().defaultLog;
  if (current == nullptr) current = *initial;
  return current;
}

}  // namespace

BVLog::BVLog(const SystemLogHandle& osLog, Text logFilePath, std::optional<std::int64_t> verbosityLevel)
    : osLog_(osLog),
      logFilePath_(logFilePath.copy()),
      verbosityLevel_(verbosityLevel ? *verbosityLevel : PreferencesStore::standard().integer(kVerbosityKey)) {}

BVLog::~BVLog() = default;

std::optional<std::string> BVLog::logFilePath() const {
  const std::scoped_lock lock(logState().mutex);
  return logFilePath_;
}

void BVLog::setLogFilePath(Text path) noexcept {
  unlessOutOfMemory([&] {
    const auto now = path.copy();
    auto then = now;
    {
      const std::scoped_lock lock(logState().mutex);
      then.swap(logFilePath_);
    }
    osLog_.write(LogType::kDebug, kPlainFormat, join({"Changed logFilePath from ", quoted(then), " to ", quoted(now)}));
  });
}

std::int64_t BVLog::verbosityLevel() const noexcept {
  const std::scoped_lock lock(logState().mutex);
  return verbosityLevel_;
}

void BVLog::setVerbosityLevel(std::int64_t level) noexcept {
  unlessOutOfMemory([&] {
    std::int64_t then = level;
    {
      const std::scoped_lock lock(logState().mutex);
      std::swap(then, verbosityLevel_);
    }
    osLog_.write(LogType::kDebug, kPlainFormat,
                 join({"Changed verbosityLevel from ", std::to_string(then), " to ", std::to_string(level)}));
  });
}

void BVLog::trueDebug(Text /*message*/) noexcept {}

void BVLog::debugl(std::int64_t level, Text message) noexcept {
  if (verbosityLevel() >= level) debug(message);
}

void BVLog::debug(Text message) noexcept { osLog_.write(LogType::kDebug, kPlainFormat, message.orEmpty()); }

void BVLog::info(Text message) noexcept {
  osLog_.write(LogType::kInfo, kPlainFormat, message.orEmpty());
  appendLineToLogFile(kInfoPrefix, message);
}

void BVLog::error(Text message) noexcept {
  osLog_.write(LogType::kError, kErrorFormat, message.orEmpty());
  unlessOutOfMemory([&] { collectError(message); });
  appendLineToLogFile(kErrorPrefix, message);
}

void BVLog::fault(Text message) noexcept {
  osLog_.write(LogType::kFault, kFaultFormat, message.orEmpty());
  appendLineToLogFile(kFaultPrefix, message);
}

void BVLog::collectError(Text message) {
  const std::string entry = join({message.orEmpty(), "\n"});
  const std::scoped_lock lock(logState().mutex);
  std::string& collected = logState().aggregatedError;
  if (!host::hasMoreCharactersThan(collected, static_cast<std::size_t>(errorStringMaxLength_))) collected += entry;
}

void BVLog::appendLineToLogFile(std::string_view prefix, Text message) noexcept {
  unlessOutOfMemory([&] {
    const auto path = logFilePath();
    if (!path || path->empty()) return;
    const std::string timestamp = logTimestamp(host::platform()->clock().wall());
    const host::Error failed = host::appendToFile(*path, join({timestamp, prefix, message.orEmpty(), " \n"}));
    if (!failed) return;
    osLog_.write(LogType::kError, kErrorFormat,
                 join({"ERROR: Failed to write string to file ", *path, ": ", failed.text()}));
  });
}

std::shared_ptr<BVLog> BVLog::defaultLog() {
  std::unique_lock<std::mutex> lock;
  return defaultLogUnderLock(lock);
}

void BVLog::setDefault(std::shared_ptr<BVLog> log) {
  std::unique_lock<std::mutex> lock;
  auto& current = defaultLogUnderLock(lock);
  if (log != nullptr) current.swap(log);  // the previous one is released after the lock
}

void BVLog::configureDefault(const SystemLogHandle& osLog, Text logFilePath,
                             std::optional<std::int64_t> verbosityLevel) {
  setDefault(std::make_shared<BVLog>(osLog, logFilePath, verbosityLevel));
}

std::string BVLog::aggregatedErrorDescription() {
  const std::scoped_lock lock(logState().mutex);
  return logState().aggregatedError;
}

void BVLog::initAggregatedError(Text text) {
  std::string replaced(text.orEmpty());
  const std::scoped_lock lock(logState().mutex);
  logState().aggregatedError.swap(replaced);
}

void BVLog::Default::trueDebug(Text message) noexcept { defaultLog()->trueDebug(message); }
void BVLog::Default::debugl(std::int64_t level, Text message) noexcept { defaultLog()->debugl(level, message); }
void BVLog::Default::debug(Text message) noexcept { defaultLog()->debug(message); }
void BVLog::Default::info(Text message) noexcept { defaultLog()->info(message); }
void BVLog::Default::error(Text message) noexcept { defaultLog()->error(message); }
void BVLog::Default::fault(Text message) noexcept { defaultLog()->fault(message); }

}  // namespace brisvane
