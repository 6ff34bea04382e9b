#include "brisvane/host/formats/pattern.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "brisvane/host/formats/compiled_pattern.h"
#include "brisvane/types/unicode.h"

namespace brisvane::host {
namespace {

constexpr std::uint32_t kHeapLimitKiB = 20'000;
constexpr std::size_t kJitStackStart = std::size_t{32} << 10U;
constexpr std::size_t kJitStackLimit = std::size_t{8} << 20U;

constexpr bool isContinuation(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

Pattern::Match rangesOf(pcre2_match_data* data) {
  const PCRE2_SIZE* const offsets = pcre2_get_ovector_pointer(data);
  Pattern::Match match;
  for (std::size_t group = 0; group < pcre2_get_ovector_count(data); ++group) {
    const std::size_t begin = offsets[2 * group];
    const std::size_t end = offsets[2 * group + 1];
    // \K inside a lookahead can set a begin behind the end.
    const bool unset = begin == PCRE2_UNSET || end < begin;
    match.push_back(unset ? Pattern::Range{0, 0} : Pattern::Range{begin, end - begin});
  }
  return match;
}

// One search. The compiled code cannot be stopped, so that it runs in parts between which the clock
// is looked at: it tries a window of the positions where a match may begin, and at each of them no
// more steps than a limit. A window in which the limit is hit is tried again, narrower, until it is
// one position; there the limit grows by a factor, and so does the time that it takes. That costs a
// third of what the position costs anyway. Each part sees the whole text: what is behind a window
// counts for assertions.
//
// Callouts could look at the clock at any time, but slow a search down by two to several hundred
// times. They serve the few patterns that the parts do not.
class Search {
 public:
  Search(const CompiledPattern& pattern, std::string_view text, const Pattern::TimeLeft& timeLeft)
      : pattern_(pattern), text_(text), timeLeft_(timeLeft) {
    if (!context_) return;
    pcre2_set_heap_limit(context_.get(), kHeapLimitKiB);
    if (pattern_.hasCallouts) pcre2_set_callout(context_.get(), &Search::goesOn, this);
  }
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;

  [[nodiscard]] Result<std::optional<Pattern::Match>> run() {
    if (!context_ || !data_) return Error(ENOMEM);
    double left = timeLeft();
    while (left > 0) {
      const std::size_t end = endOfWindow(left);
      const int result = match(end);
      if (result > 0) return std::optional(rangesOf(data_.get()));
      const double before = std::exchange(left, timeLeft());
      const double taken = std::max(before - left, 0.0);  // a date that is set can make it negative
      if (result == PCRE2_ERROR_NOMATCH) {
        if (end == text_.size()) return std::optional<Pattern::Match>();
        at_ = end;
        widen(taken, left);
      } else if (result == PCRE2_ERROR_JIT_STACKLIMIT) {
        takeMoreStack();
      } else if (result == PCRE2_ERROR_MATCHLIMIT) {
        if (!takeMoreSteps(taken, left)) break;
      } else if (result != PCRE2_ERROR_CALLOUT) {
        return Error(ENOMEM);  // or a limit that stands for it
      }
    }
    return Error(ETIMEDOUT);
  }

 private:
  // A finite time, to calculate with.
  [[nodiscard]] double timeLeft() const { return std::min(timeLeft_(), 1e9); }

  // The end of the window that begins at at_: no wider than can be tried in the time that is left,
  // should each position take all its steps.
  std::size_t endOfWindow(double left) {
    if (pattern_.inOnePiece) return text_.size();
    const double inTime = left / (maxSteps_ * secondsAStep_);
    width_ = static_cast<std::size_t>(std::clamp(inTime, 1.0, static_cast<double>(width_)));
    if (width_ >= text_.size() - at_) return text_.size();
    std::size_t end = at_ + width_;
    // Only the beginnings of lines are tried, and the first position of a window.
    if (pattern_.atLines) end = std::min(text_.find('\n', end - 1), text_.size() - 1) + 1;
    // A match may begin before CR LF, but not between the two; that is not seen of the last
    // position of a window.
    const auto isBehindCrLf = [this](std::size_t at) {
      return at > 1 && text_[at - 1] == '\n' && text_[at - 2] == '\r';
    };
    while (end < text_.size() &&
           (isContinuation(text_[end]) || isBehindCrLf(end) || isBehindCrLf(end + 1)))
      ++end;
    return end;
  }

  int match(std::size_t end) {
    std::size_t last = PCRE2_UNSET;
    if (end < text_.size()) {
      last = end - 1;
      while (isContinuation(text_[last])) --last;
    }
    pcre2_set_offset_limit(context_.get(), last);
    pcre2_set_match_limit(context_.get(), pattern_.hasCallouts ? kMostSteps : maxSteps_);
    return pcre2_match(pattern_.code.get(), reinterpret_cast<PCRE2_SPTR>(text_.data()),
                       text_.size(), at_, options_ | PCRE2_NO_UTF_CHECK, data_.get(),
                       context_.get());
  }

  void widen(double taken, double left) {
    secondsAStep_ = std::max(secondsAStep_ / 2, kLeastSecondsAStep);
    if (taken * kFactor < left / 2 && width_ <= text_.size()) width_ *= kFactor;
  }

  // For a window in which the limit was hit. False when there is no time for more.
  bool takeMoreSteps(double taken, double left) {
    if (!pattern_.inOnePiece && width_ > 1) {
      width_ = 1;
      return true;
    }
    secondsAStep_ = std::max(taken / maxSteps_, kLeastSecondsAStep);
    const double factor = left < taken * kFactor ? left / taken : double{kFactor};
    if (pattern_.hasCallouts || factor < 1.2 || maxSteps_ == kMostSteps) return false;
    maxSteps_ = static_cast<std::uint32_t>(std::min(maxSteps_ * factor, double{kMostSteps}));
    return true;
  }

  // The few patterns that recurse deeply need more stack than the thread has to spare, or even the
  // heap.
  void takeMoreStack() {
    if (stack_) {
      options_ = PCRE2_NO_JIT;
      width_ = 1;
      return;
    }
    stack_.reset(pcre2_jit_stack_create(kJitStackStart, kJitStackLimit, nullptr));
    if (!stack_) options_ = PCRE2_NO_JIT;
    pcre2_jit_stack_assign(context_.get(), nullptr, stack_.get());
  }

  // Called by the engine at every item of the pattern that it tries.
  static int goesOn(pcre2_callout_block* /*block*/, void* self) noexcept {
    constexpr unsigned kItemsBetweenLooks = 64;
    auto& search = *static_cast<Search*>(self);
    if (++search.items_ % kItemsBetweenLooks != 0) return 0;
    return search.timeLeft() > 0 ? 0 : PCRE2_ERROR_CALLOUT;
  }

  static constexpr unsigned kFactor = 4;
  static constexpr std::uint32_t kMostSteps = std::numeric_limits<std::uint32_t>::max();
  static constexpr double kLeastSecondsAStep = 1e-9;

  const CompiledPattern& pattern_;
  const std::string_view text_;
  const Pattern::TimeLeft& timeLeft_;
  pcre::MatchContext context_{pcre2_match_context_create(nullptr)};
  pcre::MatchData data_{pcre2_match_data_create_from_pattern(pattern_.code.get(), nullptr)};
  pcre::JitStack stack_;
  std::uint32_t options_ = 0;
  unsigned items_ = 0;

  std::size_t at_ = 0;
  // At first as many as read a million characters, should each read the whole text.
  std::size_t width_ = (std::size_t{1} << 20U) / (text_.size() + 1) + 1;
  std::uint32_t maxSteps_ = 1000;
  double secondsAStep_ = 10 * kLeastSecondsAStep;  // with what was seen last
};

}  // namespace

struct Pattern::Code {
  CompiledPattern compiled;
};

Pattern::Pattern(std::shared_ptr<const Code> code) noexcept : code_(std::move(code)) {}

Result<Pattern> Pattern::compile(std::string_view pattern) {
  auto compiled = compilePattern(pattern);
  if (!compiled.ok()) return compiled.error();
  return Pattern(std::make_shared<const Code>(Code{std::move(compiled).value()}));
}

std::optional<std::size_t> Pattern::groupNumber(std::string_view name) const {
  const std::string terminated(name);
  if (terminated.find('\0') != std::string::npos) return std::nullopt;
  const int number = pcre2_substring_number_from_name(
      code_->compiled.code.get(), reinterpret_cast<PCRE2_SPTR>(terminated.c_str()));
  return number > 0 ? std::optional(static_cast<std::size_t>(number)) : std::nullopt;
}

Result<std::optional<Pattern::Match>> Pattern::firstMatch(std::string_view text,
                                                          const TimeLeft& timeLeft) const {
  if (!isUtf8(text)) return std::optional<Match>();
  return Search(code_->compiled, text, timeLeft).run();
}

Result<std::optional<Pattern::Match>> Pattern::firstMatch(std::string_view text) const {
  using std::chrono::steady_clock;
  const auto end = steady_clock::now() + std::chrono::seconds(1);
  return firstMatch(
      text, [end] { return std::chrono::duration<double>(end - steady_clock::now()).count(); });
}

}  // namespace brisvane::host
