// PatternSearch, the searches of one pattern, bounded in time and memory. Private to the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "brisvane/host/formats/compiled_pattern.h"
#include "brisvane/host/formats/pattern.h"
#include "brisvane/host/formats/pcre.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// The compiled code cannot be stopped, so that a search runs in parts between which the clock is
// looked at: it tries a window of the positions where a match may begin, and at each of them no
// more steps than a limit. A window in which the limit is hit is tried again, narrower, until it is
// one position; there the limit grows by a factor, and so does the time that it takes. That costs a
// third of what the position costs anyway. Each part sees the whole text: what is behind a window
// counts for assertions.
//
// Callouts could look at the clock at any time, but slow a search down by two to several hundred
// times. They serve the few patterns that the parts do not.
//
// An object belongs to one thread at a time. All searches may throw std::bad_alloc.
class PatternSearch {
 public:
  // REQUIRES: `pattern` outlives the object.
  explicit PatternSearch(const CompiledPattern& pattern);
  PatternSearch(const PatternSearch&) = delete;
  PatternSearch& operator=(const PatternSearch&) = delete;

  // The first match that begins at `from` or behind it. Fails as Pattern::firstMatch() does.
  // REQUIRES: `text` is UTF-8, and `from` is 0 or a result of firstOpen() for a begin of `text`.
  [[nodiscard]] Result<std::optional<Pattern::Match>> firstMatch(std::string_view text,
                                                                 std::size_t from,
                                                                 const Pattern::TimeLeft& timeLeft);

  // The first position from `from` on where a match of `text`, or of a text that begins with it,
  // may begin. It is `from` itself when the search failed.
  // REQUIRES: as above; nothing that begins before `from` matches, however `text` goes on; the last
  // character of `text` is ASCII and no line end; the pattern has no callouts.
  [[nodiscard]] std::size_t firstOpen(std::string_view text, std::size_t from,
                                      const Pattern::TimeLeft& timeLeft);

 private:
  enum class Outcome { kMatch, kPartialMatch, kNone };
  [[nodiscard]] Result<Outcome> run(std::string_view text, std::size_t from,
                                    const Pattern::TimeLeft& timeLeft, std::uint32_t options);
  [[nodiscard]] double timeLeft() const;
  [[nodiscard]] std::size_t endOfWindow(double left);
  [[nodiscard]] int match(std::size_t end);
  [[nodiscard]] bool beginsInLineEnd() const;
  void widen(double taken, double left);
  [[nodiscard]] bool takeMoreSteps(double taken, double left);
  void takeMoreStack();
  static int goesOn(pcre2_callout_block* block, void* self) noexcept;

  const CompiledPattern& pattern_;
  pcre::MatchContext context_;
  pcre::MatchData data_;
  pcre::JitStack stack_;

  // Of the search under way.
  std::string_view text_;
  const Pattern::TimeLeft* timeLeft_ = nullptr;
  std::uint32_t options_ = 0;
  unsigned items_ = 0;  // that callouts have told of
  std::size_t at_ = 0;
  std::size_t width_ = 1;
  std::uint32_t maxSteps_ = 1;
  double secondsAStep_ = 0;  // with what was seen last
};

}  // namespace brisvane::host
