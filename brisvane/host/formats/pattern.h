// Pattern, a compiled regular expression with a bounded search.
// A Pattern may be searched from any number of threads at the same time. Compiling and searching
// may throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

struct CompiledPattern;

// The syntax is that of PCRE2. Case makes no difference. \uHHHH is the character with that code
// point. Any of LF, CR, CR LF and the Unicode line ends is one line end, so that `$` and `.` stop
// before the CR LF of a serial reply. \C is refused. docs/serial.md lists what other engines have
// and this one does not.
class BRISVANE_EXPORT Pattern {
 public:
  struct Range {
    std::size_t begin;  // in bytes
    std::size_t length;
    [[nodiscard]] std::string_view of(std::string_view text) const noexcept {
      return text.substr(begin, length);
    }
  };
  // The whole match, then each group; an unset group is an empty range.
  using Match = std::vector<Range>;

  // Compiles a pattern. Fails when it is no regular expression; the error's reason says why.
  // ENOMEM: PCRE2 is out of memory.
  [[nodiscard]] static Result<Pattern> compile(std::string_view pattern);

  // The number of the group that the pattern names, as in (?<name>...): its range in a Match.
  // nullopt for a name that the pattern does not have, or has for several groups.
  [[nodiscard]] std::optional<std::size_t> groupNumber(std::string_view name) const;

  // The seconds that a search may still take. The searching thread calls it from time to time.
  // It must not throw.
  using TimeLeft = std::function<double()>;

  // Finds the first match in `text`. nullopt when there is none, and when the text is not UTF-8.
  // Blocks until the search has ended.
  //
  // ETIMEDOUT: the search was given up, at about the time when none was left.
  // ENOMEM: it needs more memory than there is, or more than 20 MB.
  // REQUIRES: `timeLeft` is not empty.
  [[nodiscard]] Result<std::optional<Match>> firstMatch(std::string_view text,
                                                        const TimeLeft& timeLeft) const;
  // The same with one second.
  [[nodiscard]] Result<std::optional<Match>> firstMatch(std::string_view text) const;

 private:
  friend class GrowingSearch;
  explicit Pattern(std::shared_ptr<const CompiledPattern> compiled) noexcept;
  std::shared_ptr<const CompiledPattern> compiled_;
};

}  // namespace brisvane::host
