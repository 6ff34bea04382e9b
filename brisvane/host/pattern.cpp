#include "brisvane/host/pattern.h"

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <new>
#include <string>
#include <utility>

#include "brisvane/host/pcre.h"
#include "brisvane/types/hex.h"
#include "brisvane/types/unicode.h"

namespace brisvane::host {

struct Pattern::Code {
  pcre::Code compiled;
};

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// The bounds of one search.
constexpr milliseconds kSearchLimit{50};
constexpr std::uint32_t kHeapLimitKiB = 20'000;
constexpr std::size_t kJitStackStart = std::size_t{32} << 10U;
constexpr std::size_t kJitStackLimit = std::size_t{8} << 20U;

// The time of one search: processor time, so that a busy machine does not make a
// search give up, but asked for only when the cheaper clock says that it may be over.
class SearchTime {
 public:
  [[nodiscard]] bool isOver() const noexcept {
    return steady_clock::now() - steadyStart_ >= kSearchLimit && processorTime() - processorStart_ >= kSearchLimit;
  }

 private:
  static microseconds processorTime() noexcept {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + microseconds(time.tv_nsec / 1000);
  }

  const steady_clock::time_point steadyStart_ = steady_clock::now();
  const microseconds processorStart_ = processorTime();
};

// \uHHHH in PCRE2's own words, \x{HHHH}. PCRE2_ALT_BSUX would do as much, but takes
// away \x{...} and \U with it. Text quoted by \Q...\E stays as it is.
std::string withCodePointEscapes(std::string_view pattern) {
  constexpr std::size_t kDigits = 4;
  std::string translated;
  bool quoted = false;
  while (!pattern.empty()) {
    const bool escape = pattern.front() == '\\' && pattern.size() > 1;
    const char kind = escape ? pattern[1] : '\0';
    if (escape && (kind == 'E' || (kind == 'Q' && !quoted))) quoted = kind == 'Q';
    const std::string_view digits = escape && kind == 'u' ? pattern.substr(2).substr(0, kDigits) : std::string_view();
    if (!quoted && digits.size() == kDigits &&
        std::all_of(digits.begin(), digits.end(), [](char c) { return hexValue(c).has_value(); })) {
      translated.append("\\x{").append(digits).append("}");
      pattern.remove_prefix(2 + kDigits);
      continue;
    }
    // In quoted text a backslash stands for itself and takes nothing with it.
    const std::size_t taken = escape && (!quoted || kind == 'Q') ? 2 : 1;
    translated.append(pattern.substr(0, taken));
    pattern.remove_prefix(taken);
  }
  return translated;
}

// What one search needs beside the compiled pattern.
class Search {
 public:
  explicit Search(const pcre2_code* code) : code_(code), data_(pcre2_match_data_create_from_pattern(code, nullptr)) {
    if (!context_) return;
    pcre2_set_heap_limit(context_.get(), kHeapLimitKiB);
    pcre2_set_callout(context_.get(), &Search::goesOn, this);
  }
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;

  // Whether there is a match, whose ranges data() then holds.
  [[nodiscard]] bool matches(std::string_view text) {
    if (!context_ || !data_) return false;  // memory ran out
    int result = match(text, 0);
    // The few patterns that recurse deeply need more stack than the thread has to spare,
    // or even the heap.
    if (result == PCRE2_ERROR_JIT_STACKLIMIT && takeMoreStack()) result = match(text, 0);
    if (result == PCRE2_ERROR_JIT_STACKLIMIT) result = match(text, PCRE2_NO_JIT);
    return result > 0;
  }

  [[nodiscard]] pcre2_match_data* data() const noexcept { return data_.get(); }

 private:
  int match(std::string_view text, std::uint32_t options) {
    return pcre2_match(code_, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), 0, options | PCRE2_NO_UTF_CHECK,
                       data_.get(), context_.get());
  }

  bool takeMoreStack() {
    stack_.reset(pcre2_jit_stack_create(kJitStackStart, kJitStackLimit, nullptr));
    pcre2_jit_stack_assign(context_.get(), nullptr, stack_.get());
    return stack_ != nullptr;
  }

  // Called by the engine at every item of the pattern that it tries.
  static int goesOn(pcre2_callout_block* /*block*/, void* self) noexcept {
    constexpr unsigned kItemsBetweenLooks = 64;
    auto& search = *static_cast<Search*>(self);
    if (++search.items_ % kItemsBetweenLooks != 0) return 0;
    return search.time_.isOver() ? PCRE2_ERROR_CALLOUT : 0;
  }

  const pcre2_code* code_;
  pcre::MatchContext context_{pcre2_match_context_create(nullptr)};
  pcre::MatchData data_;
  pcre::JitStack stack_;
  SearchTime time_;
  unsigned items_ = 0;
};

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

Pattern::Pattern(std::shared_ptr<const Code> code) noexcept : code_(std::move(code)) {}

std::optional<Pattern> Pattern::compile(std::string_view pattern) noexcept try {
  const pcre::CompileContext context(pcre2_compile_context_create(nullptr));
  if (!context) return std::nullopt;
  pcre2_set_newline(context.get(), PCRE2_NEWLINE_ANY);
  const std::string translated = withCodePointEscapes(pattern);
  int error = 0;
  PCRE2_SIZE position = 0;
  // The callouts are how a search is bounded in time: PCRE2's own match limit starts
  // anew at each position of the text.
  pcre::Code compiled(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(translated.data()), translated.size(),
                                    PCRE2_CASELESS | PCRE2_UTF | PCRE2_NEVER_BACKSLASH_C | PCRE2_AUTO_CALLOUT, &error,
                                    &position, context.get()));
  if (!compiled) return std::nullopt;
  // Without JIT (a system that forbids writable code) the search is slower, not wrong.
  static_cast<void>(pcre2_jit_compile(compiled.get(), PCRE2_JIT_COMPLETE));
  return Pattern(std::make_shared<const Code>(Code{std::move(compiled)}));
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

std::optional<Pattern::Match> Pattern::firstMatch(std::string_view text) const noexcept try {
  if (!isUtf8(text)) return std::nullopt;
  Search search(code_->compiled.get());
  return search.matches(text) ? std::optional<Match>(rangesOf(search.data())) : std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace brisvane::host
