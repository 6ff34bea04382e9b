// Pattern, a compiled regular expression with a bounded search.
// A Pattern may be searched from any number of threads at the same time.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "brisvane/types/export.h"

namespace brisvane::host {

// Perl-compatible syntax (PCRE2), matched without regard to case. Beyond it, \uHHHH
// is the character with that code point. Any of LF, CR, CR LF and the Unicode line
// ends counts as one line end, so that `$` and `.` treat the CR LF of a serial reply
// as such. \C is refused.
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

  // The first match in `text`; nullopt when there is none. A search that would take
  // more than about 50 ms of processor time, or more memory than its share, is given
  // up and counts as no match. Text that is not UTF-8 matches nothing.
  [[nodiscard]] std::optional<Match> firstMatch(std::string_view text) const noexcept;

 private:
  struct Code;
  explicit Pattern(std::shared_ptr<const Code> code) noexcept;
  std::shared_ptr<const Code> code_;
};

}  // namespace brisvane::host
