// What all loggers of the process share. Private to the library.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace brisvane {

class BVLog;

// The text that collects the errors, and its length in user-perceived characters. A length above
// the limit only says that there are more.
struct ErrorText {
  ErrorText() = default;
  ErrorText(std::string_view content, std::size_t limit);

  // What stands after the last line feed, and joins what is appended to it.
  [[nodiscard]] std::string_view lastLine() const noexcept;

  std::string text;
  std::size_t lengthOfLines = 0;  // up to the last line feed
  std::size_t length = 0;         // of all
};

// REQUIRES of every use: host::ProcessLock::kLoggers is held, which stands for the
// properties of every logger, too. Hold it for a copy or an assignment, never during I/O
// or while characters are counted.
struct LogState {
  std::shared_ptr<BVLog> defaultLog;         // null until first used
  std::optional<ErrorText> aggregatedError;  // none for empty: a text would need initialisation
};

// Needs no initialisation and is never destroyed.
LogState& logState() noexcept;

}  // namespace brisvane
