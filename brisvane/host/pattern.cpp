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
  bool anchorsToSearchStart;  // holds \G, which tells where a search began
};

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// The bounds of one search. The match limit holds for one starting position (about
// 2 ms with JIT); the slices below bound the sum over all of them.
constexpr std::uint32_t kMatchLimit = 1'000'000;
constexpr std::uint32_t kHeapLimitKiB = 20'000;
constexpr std::size_t kJitStackStart = std::size_t{32} << 10U;
constexpr std::size_t kJitStackLimit = std::size_t{1} << 20U;
constexpr milliseconds kSearchLimit{50};

// A search goes over the starting positions slice by slice and looks at the time
// between them, because PCRE2 itself cannot be interrupted.
constexpr std::size_t kFirstSlice = 16;
constexpr std::size_t kLargestSlice = 4096;
constexpr microseconds kShortSlice{1000};
constexpr microseconds kLongSlice{4000};

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
struct Search {
  pcre::MatchContext context{pcre2_match_context_create(nullptr)};
  pcre::MatchData data;
  pcre::JitStack stack;  // for the few patterns that need more than the thread's own

  explicit Search(const pcre2_code* code) : data(pcre2_match_data_create_from_pattern(code, nullptr)) {
    if (!ready()) return;
    pcre2_set_match_limit(context.get(), kMatchLimit);
    pcre2_set_heap_limit(context.get(), kHeapLimitKiB);
  }

  // False when memory ran out.
  [[nodiscard]] bool ready() const noexcept { return context && data; }

  // False when there was nothing more to take.
  bool takeMoreStack() noexcept {
    if (stack) return false;
    stack.reset(pcre2_jit_stack_create(kJitStackStart, kJitStackLimit, nullptr));
    pcre2_jit_stack_assign(context.get(), nullptr, stack.get());
    return stack != nullptr;
  }
};

int searchSlice(const pcre2_code* code, Search& search, std::string_view text, std::size_t begin, std::size_t last) {
  pcre2_set_offset_limit(search.context.get(), last);
  for (;;) {
    const int result = pcre2_match(code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), begin,
                                   PCRE2_NO_UTF_CHECK, search.data.get(), search.context.get());
    if (result != PCRE2_ERROR_JIT_STACKLIMIT || !search.takeMoreStack()) return result;
  }
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

// The next starting position at or after `at` that does not split a character.
std::size_t characterBoundary(std::string_view text, std::size_t at) noexcept {
  while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U) ++at;
  return at;
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
  pcre::Code compiled(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(translated.data()), translated.size(),
                                    PCRE2_CASELESS | PCRE2_UTF | PCRE2_NEVER_BACKSLASH_C | PCRE2_USE_OFFSET_LIMIT,
                                    &error, &position, context.get()));
  if (!compiled) return std::nullopt;
  // Without JIT (a system that forbids writable code) the search is slower, not wrong.
  static_cast<void>(pcre2_jit_compile(compiled.get(), PCRE2_JIT_COMPLETE));
  const bool anchors = pattern.find("\\G") != std::string_view::npos;
  return Pattern(std::make_shared<const Code>(Code{std::move(compiled), anchors}));
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

std::optional<Pattern::Match> Pattern::firstMatch(std::string_view text) const noexcept try {
  const pcre2_code* const code = code_->compiled.get();
  Search search(code);
  if (!search.ready() || !isUtf8(text)) return std::nullopt;
  const SearchTime time;
  // A slice would look like the start of a search to \G.
  std::size_t slice = code_->anchorsToSearchStart ? text.size() + 1 : kFirstSlice;
  for (std::size_t begin = 0; begin <= text.size() && !time.isOver();) {
    const auto sliceStart = steady_clock::now();
    const std::size_t next = characterBoundary(text, begin + std::min(slice, text.size() + 1 - begin));
    const int result = searchSlice(code, search, text, begin, next - 1);
    if (result > 0) return rangesOf(search.data.get());
    if (result != PCRE2_ERROR_NOMATCH) return std::nullopt;  // over a limit
    begin = next;
    const auto taken = steady_clock::now() - sliceStart;
    if (taken < kShortSlice) slice = std::min(slice * 2, kLargestSlice);
    if (taken > kLongSlice) slice = std::max(slice / 2, std::size_t{1});
  }
  return std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace brisvane::host
