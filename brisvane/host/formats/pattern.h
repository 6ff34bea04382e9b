// Pattern, a compiled regular expression with a bounded search.
// A Pattern may be searched from any number of threads at the same time.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "brisvane/types/export.h"

namespace brisvane::host {

// The syntax of PCRE2, matched without regard to case. Beyond it, \uHHHH is the character with that code point. Any of
// LF, CR, CR LF and the Unicode line ends counts as one line end, so that `$` and `.` treat the CR LF of a serial reply
// as such. \C is refused. docs/serial.md lists what other engines have and this one has not.
class BRISVANE_EXPORT Pattern {
 public:
  struct Range {
    std::size_t begin;  // in bytes
    std::size_t length;
    [[nodiscard]] std::string_view of(std::string_view text) const noexcept { return text.substr(begin, length); }
  };
  // The whole match, then each group; an unset group is an empty range.
  using Match = std::vector<Range>;

  // nullopt when the pattern does not compile.
  [[nodiscard]] static std::optional<Pattern> compile(std::string_view pattern) noexcept;

  // The seconds that a search may still take. Asked from time to time, on the thread that searches. Must not throw.
  using TimeLeft = std::function<double()>;

  // The first match in `text`; nullopt when there is none, when the search takes more memory than its share, and for a
  // text that is not UTF-8. Blocks until the search has ended. One that needs more time than is left is given up at
  // about the time when none is left: the result is nullopt, and `givenUp` is true, as it is in no other case.
  // REQUIRES: `timeLeft` is not empty.
  [[nodiscard]] std::optional<Match> firstMatch(std::string_view text, const TimeLeft& timeLeft,
                                                bool* givenUp = nullptr) const noexcept;
  // The same with one second.
  [[nodiscard]] std::optional<Match> firstMatch(std::string_view text) const noexcept;

 private:
  struct Code;
  explicit Pattern(std::shared_ptr<const Code> code) noexcept;
  std::shared_ptr<const Code> code_;
};

}  // namespace brisvane::host
