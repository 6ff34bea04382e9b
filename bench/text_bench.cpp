// Texts: the edit distance.
#include <brisvane/support/Brisvane.h>
#include <edlib.h>

#include <random>

#ifdef BRISVANE_BENCH_RAPIDFUZZ
#include <rapidfuzz/distance/Levenshtein.hpp>
#endif

#include "bench/harness.h"

namespace brisvane::bench {
namespace {

constexpr const char* kOneWord = "one word after the other, and not several in a vector";

std::string letters(std::size_t count, std::mt19937& random) {
  std::string text(count, ' ');
  for (char& letter : text) letter = static_cast<char>('a' + random() % 26);
  return text;
}

int edlibDistance(const std::string& first, const std::string& second) {
  const EdlibAlignResult result = edlibAlign(
      first.data(), static_cast<int>(first.size()), second.data(), static_cast<int>(second.size()),
      edlibNewAlignConfig(-1, EDLIB_MODE_NW, EDLIB_TASK_DISTANCE, nullptr, 0));
  const int distance = result.editDistance;
  edlibFreeAlignResult(result);
  return distance;
}

Row distanceRow(std::string size, const Goal& goal, const std::string& first,
                const std::string& second) {
  const auto expected = edlibDistance(first, second);
  Row row{std::move(size),
          goal,
          {giving(
               "edlib", [=] { return edlibDistance(first, second); }, expected),
           giving(
               "levenshteinDistanceBetween",
               [=] { return Brisvane::levenshteinDistanceBetween(first, second); }, expected)}};
#ifdef BRISVANE_BENCH_RAPIDFUZZ
  row.cases.push_back(giving(
      "rapidfuzz-cpp",
      [=] { return static_cast<int>(rapidfuzz::levenshtein_distance(first, second)); }, expected));
#endif
  return row;
}

Row unrelatedRow(std::size_t units, const Goal& goal) {
  std::mt19937 random(static_cast<unsigned>(units));
  const std::string first = letters(units, random);
  return distanceRow(std::to_string(units) + ", unrelated", goal, first, letters(units, random));
}

// One unit in fifty is replaced, left out or put in.
Row similarRow(std::size_t units, const Goal& goal) {
  std::mt19937 random(static_cast<unsigned>(units));
  const std::string first = letters(units, random);
  std::string second = first;
  for (std::size_t edits = units / 50; edits != 0; --edits) {
    second.replace(random() % second.size(), random() % 2, letters(random() % 2, random));
  }
  return distanceRow(std::to_string(units) + ", similar", goal, first, second);
}

}  // namespace

std::vector<Table> textTables() {
  return {{"levenshteinDistanceBetween",
           {unrelatedRow(8, 0.13), unrelatedRow(64, 0.15), unrelatedRow(1000, {0.3, 0.8, kOneWord}),
            unrelatedRow(10'000, {0.3, 0.45, kOneWord}), similarRow(64, 1.1), similarRow(1000, 1.1),
            similarRow(10'000, 1.1)}}};
}

}  // namespace brisvane::bench
