// Patterns in a text that grows: each search finds what one plain run of the engine finds in what
// has come so far. The input is a pattern, bytes that say where the text is cut, and a text.
#include "brisvane/host/formats/growing_search.h"

#include "brisvane/types/unicode.h"
#include "fuzz/support/fuzzing.h"
#include "fuzz/support/plain_engine.h"

namespace brisvane::fuzz {
namespace {

void growAndSearch(const host::Pattern& pattern, const PlainEngine& engine, Choices cuts,
                   std::string_view text) {
  constexpr std::uint64_t kMostPatience = 64;
  host::GrowingSearch search(pattern, cuts.below(kMostPatience));
  std::size_t size = 0;
  for (const ByteView piece : piecesOf(asBytes(text), cuts)) {
    size += piece.size();
    // A copy: the text may have moved.
    const std::string soFar(text.substr(0, size));
    const auto expected =
        isUtf8(soFar) ? engine.firstMatch(soFar) : std::optional(PlainEngine::Found());
    if (!expected) return;
    const auto found = search.firstMatch(soFar, [] { return 10.0; });
    require(found.ok(), "a search that has time ends");
    require(sameRanges(found.value(), *expected), "a search finds what the plain engine finds");
  }
}

}  // namespace

void run(std::string_view input) {
  const auto parts = partsOf(input);
  if (parts.size() < 3) return;
  const auto pattern = host::Pattern::compile(parts[0]);
  const PlainEngine engine(parts[0]);
  if (!pattern.ok() || !engine.compiles() || !PlainEngine::knows(parts[0])) return;
  growAndSearch(pattern.value(), engine, Choices(parts[1]), parts[2]);
}

}  // namespace brisvane::fuzz
