#include "brisvane/host/formats/growing_search.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "brisvane/host/formats/compiled_pattern.h"
#include "brisvane/host/formats/pattern_search.h"
#include "brisvane/types/unicode.h"

namespace brisvane::host {
namespace {

constexpr double kMostSecondsToAsk = 1e-3;

constexpr char lower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool isPrintableAscii(char c) noexcept { return c >= ' ' && c <= '~'; }

// Whether a text may have a word, which is ASCII in lower case, whatever the case of its letters.
bool mayHave(std::string_view text, std::string_view word) {
  // The letters beyond ASCII that k and s are the same as begin with these bytes in UTF-8: the
  // Kelvin sign, U+212A, and the long s, U+017F.
  constexpr auto isLead = [](char c) { return c == '\xE2' || c == '\xC5'; };
  return std::search(text.begin(), text.end(), word.begin(), word.end(),
                     [](char a, char b) { return lower(a) == b; }) != text.end() ||
         std::any_of(text.begin(), text.end(), isLead);
}

}  // namespace

struct GrowingSearch::State {
  State(std::shared_ptr<const CompiledPattern> compiled, std::size_t bytes)
      : pattern(std::move(compiled)), search(*pattern), patience(bytes), enough(bytes) {}

  // What every match has; without it no search is needed.
  [[nodiscard]] bool hasWord(std::string_view text) {
    if (wordSeen || pattern->word.empty()) return true;
    const std::size_t known = std::exchange(looked, text.size());
    wordSeen =
        mayHave(text.substr(known - std::min(known, pattern->word.size() - 1)), pattern->word);
    return wordSeen;
  }

  [[nodiscard]] bool isUtf8(std::string_view text) {
    if (!brisvane::isUtf8(text.substr(valid))) return false;
    valid = text.size();
    return true;
  }

  // Moves `open` ahead, for a text without a match. A text whose last character has something to do
  // with line ends, or with what may follow, is cut: what is refuted for a part stays refuted for
  // the whole.
  void refute(std::string_view text, const Pattern::TimeLeft& timeLeft) {
    if (pattern->inOnePiece || text.size() - open < enough) return;
    const auto last = std::find_if(text.rbegin(), text.rend(), isPrintableAscii);
    const auto size = static_cast<std::size_t>(std::distance(last, text.rend()));
    if (size > open) {
      const double until = std::max(timeLeft() - kMostSecondsToAsk, 0.0);
      open = search.firstOpen(text.substr(0, size), open, [&] { return timeLeft() - until; });
    }
    enough = std::max(patience, 2 * (text.size() - open));
  }

  std::shared_ptr<const CompiledPattern> pattern;
  PatternSearch search;
  bool wordSeen = false;
  std::size_t looked = 0;  // for the word
  std::size_t valid = 0;   // UTF-8
  std::size_t open = 0;    // the first position where a match may begin
  const std::size_t patience;
  std::size_t enough;  // bytes from `open` on, to ask again which are refuted
};

GrowingSearch::GrowingSearch(const Pattern& pattern, std::size_t patience)
    : state_(std::make_unique<State>(pattern.compiled_, patience)) {}
GrowingSearch::~GrowingSearch() = default;
GrowingSearch::GrowingSearch(GrowingSearch&&) noexcept = default;
GrowingSearch& GrowingSearch::operator=(GrowingSearch&&) noexcept = default;

Result<std::optional<Pattern::Match>> GrowingSearch::firstMatch(std::string_view text,
                                                                const Pattern::TimeLeft& timeLeft) {
  State& state = *state_;
  if (!state.hasWord(text) || !state.isUtf8(text)) return std::optional<Pattern::Match>();
  auto found = state.search.firstMatch(text, state.open, timeLeft);
  if (found.ok() && !found.value()) state.refute(text, timeLeft);
  return found;
}

}  // namespace brisvane::host
