#include "brisvane/host/formats/pattern_search.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

namespace brisvane::host {
namespace {

constexpr std::uint32_t kHeapLimitKiB = 20'000;
constexpr std::size_t kJitStackStart = std::size_t{32} << 10U;
constexpr std::size_t kJitStackLimit = std::size_t{8} << 20U;
constexpr unsigned kFactor = 4;
constexpr std::uint32_t kFewestSteps = 1000;
constexpr std::uint32_t kMostSteps = std::numeric_limits<std::uint32_t>::max();
constexpr double kLeastSecondsAStep = 1e-9;

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

}  // namespace

PatternSearch::PatternSearch(const CompiledPattern& pattern)
    : pattern_(pattern),
      context_(pcre2_match_context_create(nullptr)),
      data_(pcre2_match_data_create_from_pattern(pattern.code.get(), nullptr)) {
  if (!context_) return;
  pcre2_set_heap_limit(context_.get(), kHeapLimitKiB);
  if (pattern_.hasCallouts) pcre2_set_callout(context_.get(), &PatternSearch::goesOn, this);
}

Result<std::optional<Pattern::Match>> PatternSearch::firstMatch(std::string_view text,
                                                                std::size_t from,
                                                                const Pattern::TimeLeft& timeLeft) {
  const auto outcome = run(text, from, timeLeft, 0);
  if (!outcome.ok()) return outcome.error();
  if (outcome.value() == Outcome::kNone) return std::optional<Pattern::Match>();
  return std::optional(rangesOf(data_.get()));
}

// PCRE2_PARTIAL_HARD ends a run at the first position where the engine looks for a character behind
// the text's end, whatever comes of it. Positions before have been refuted by what is there, and
// stay so. The engine looks at the end in three other ways, none of which a text as required here
// answers differently when it goes on: whether it ends behind a line end (`$`, `\Z`), whether an LF
// follows its CR, and `(?m)^` behind a line end that is its last character.
std::size_t PatternSearch::firstOpen(std::string_view text, std::size_t from,
                                     const Pattern::TimeLeft& timeLeft) {
  // The interpreter: a text of some hundred bytes is not worth another compilation.
  const auto outcome = run(text, from, timeLeft, PCRE2_PARTIAL_HARD | PCRE2_NO_JIT);
  if (!outcome.ok() || outcome.value() == Outcome::kMatch) return from;
  if (outcome.value() == Outcome::kPartialMatch) return pcre2_get_ovector_pointer(data_.get())[0];
  return pattern_.atLines ? std::max(from, text.rfind('\n') + 1) : text.size();
}

Result<PatternSearch::Outcome> PatternSearch::run(std::string_view text, std::size_t from,
                                                  const Pattern::TimeLeft& timeLeft,
                                                  std::uint32_t options) {
  if (!context_ || !data_) return Error(ENOMEM);
  text_ = text;
  timeLeft_ = &timeLeft;
  options_ = options;
  at_ = from;
  // At first as many as read a million characters, should each read all that follows.
  width_ = (std::size_t{1} << 20U) / (text_.size() - from + 1) + 1;
  maxSteps_ = kFewestSteps;
  secondsAStep_ = 10 * kLeastSecondsAStep;
  double left = this->timeLeft();
  while (left > 0) {
    std::size_t end = endOfWindow(left);
    int result = match(end);
    if (result > 0 && beginsInLineEnd()) {
      result = PCRE2_ERROR_NOMATCH;
      end = pcre2_get_startchar(data_.get()) + 1;
    }
    if (result > 0) return Outcome::kMatch;
    if (result == PCRE2_ERROR_PARTIAL) return Outcome::kPartialMatch;
    if (result == PCRE2_ERROR_NOMATCH && end == text_.size()) return Outcome::kNone;
    const double before = std::exchange(left, this->timeLeft());
    const double taken = std::max(before - left, 0.0);  // a date that is set can make it negative
    if (result == PCRE2_ERROR_NOMATCH) {
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

// A finite time, to calculate with.
double PatternSearch::timeLeft() const { return std::min((*timeLeft_)(), 1e9); }

// The end of the window that begins at at_: no wider than can be tried in the time that is left,
// should each position take all its steps.
std::size_t PatternSearch::endOfWindow(double left) {
  if (pattern_.inOnePiece) return text_.size();
  const double inTime = left / (maxSteps_ * secondsAStep_);
  width_ = static_cast<std::size_t>(std::clamp(inTime, 1.0, static_cast<double>(width_)));
  if (width_ >= text_.size() - at_) return text_.size();
  std::size_t end = at_ + width_;
  // Only the beginnings of lines are tried, and the first position of a window.
  if (pattern_.atLines) end = std::min(text_.find('\n', end - 1), text_.size() - 1) + 1;
  // A match may begin before CR LF, but not between the two; that is not seen of the last position
  // of a window.
  const auto isBehindCrLf = [this](std::size_t at) {
    return at > 1 && text_[at - 1] == '\n' && text_[at - 2] == '\r';
  };
  while (end < text_.size() &&
         (isContinuation(text_[end]) || isBehindCrLf(end) || isBehindCrLf(end + 1)))
    ++end;
  return end;
}

int PatternSearch::match(std::size_t end) {
  std::size_t last = PCRE2_UNSET;
  if (end < text_.size()) {
    last = end - 1;
    while (isContinuation(text_[last])) --last;
  }
  pcre2_set_offset_limit(context_.get(), last);
  pcre2_set_match_limit(context_.get(), pattern_.hasCallouts ? kMostSteps : maxSteps_);
  return pcre2_match(pattern_.code.get(), reinterpret_cast<PCRE2_SPTR>(text_.data()), text_.size(),
                     at_, options_ | PCRE2_NO_UTF_CHECK, data_.get(), context_.get());
}

// JIT takes the LF of a CR LF for the beginning of a line, where a pattern begins with (?m)^ and
// CR LF is one line end. The interpreter does not.
bool PatternSearch::beginsInLineEnd() const {
  const std::size_t begin = pcre2_get_startchar(data_.get());
  return pattern_.notInCrLf && begin > 0 && begin < text_.size() && text_[begin] == '\n' &&
         text_[begin - 1] == '\r';
}

void PatternSearch::widen(double taken, double left) {
  secondsAStep_ = std::max(secondsAStep_ / 2, kLeastSecondsAStep);
  if (taken * kFactor < left / 2 && width_ <= text_.size()) width_ *= kFactor;
}

// For a window in which the limit was hit. False when there is no time for more.
bool PatternSearch::takeMoreSteps(double taken, double left) {
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
void PatternSearch::takeMoreStack() {
  if (stack_) {
    options_ |= PCRE2_NO_JIT;
    width_ = 1;
    return;
  }
  stack_.reset(pcre2_jit_stack_create(kJitStackStart, kJitStackLimit, nullptr));
  if (!stack_) options_ |= PCRE2_NO_JIT;
  pcre2_jit_stack_assign(context_.get(), nullptr, stack_.get());
}

// Called by the engine at every item of the pattern that it tries.
int PatternSearch::goesOn(pcre2_callout_block* /*block*/, void* self) noexcept {
  constexpr unsigned kItemsBetweenLooks = 64;
  auto& search = *static_cast<PatternSearch*>(self);
  if (++search.items_ % kItemsBetweenLooks != 0) return 0;
  return search.timeLeft() > 0 ? 0 : PCRE2_ERROR_CALLOUT;
}

}  // namespace brisvane::host
