// Patterns in texts: the bounded search finds what one plain run of the engine finds, and ends when
// its time is over. The input is a pattern, then texts.
#include "brisvane/host/formats/pattern.h"

#include <chrono>

#include "fuzz/support/fuzzing.h"
#include "fuzz/support/plain_engine.h"

namespace brisvane::fuzz {
namespace {

using std::chrono::steady_clock;

double secondsUntil(steady_clock::time_point end) {
  return std::chrono::duration<double>(end - steady_clock::now()).count();
}

// However little time a search has, which decides how few positions each of its parts tries.
void searchAsPlainly(const host::Pattern& pattern, const PlainEngine& engine,
                     std::string_view text) {
  const auto expected = engine.firstMatch(text);
  if (!expected) return;
  for (const double left : {1e-9, 5e-5, 10.0}) {
    const auto found = pattern.firstMatch(text, [left] { return left; });
    require(found.ok(), "a search that has time ends");
    require(sameRanges(found.value(), *expected), "a search finds what the plain engine finds");
  }
}

void searchInTime(const host::Pattern& pattern, std::string_view text) {
  constexpr std::chrono::milliseconds kTime{50};
  constexpr double kMostTooLong = 10;  // seconds, on a machine that is busy
  const auto end = steady_clock::now() + kTime;
  const auto found = pattern.firstMatch(text, [end] { return secondsUntil(end); });
  require(secondsUntil(end) > -kMostTooLong, "a search ends when its time is over");
  if (!found.ok()) {
    const int number = found.error().number();
    require(number == ETIMEDOUT || number == ENOMEM, "a search fails for want of time or memory");
  }
}

}  // namespace

void run(std::string_view input) {
  const auto parts = partsOf(input);
  const std::string_view expression = parts.front();
  const auto pattern = host::Pattern::compile(expression);
  const PlainEngine engine(expression);
  const bool isComparable = PlainEngine::knows(expression);
  require(!isComparable || pattern.ok() == engine.compiles(),
          "a pattern compiles when the engine says so");
  if (!pattern.ok()) return;
  for (std::size_t i = 1; i < parts.size(); ++i) {
    if (isComparable && engine.compiles()) searchAsPlainly(pattern.value(), engine, parts[i]);
    searchInTime(pattern.value(), parts[i]);
  }
  // A text on which many patterns run away.
  searchInTime(pattern.value(), std::string(5'000, 'a') + "!");
}

}  // namespace brisvane::fuzz
