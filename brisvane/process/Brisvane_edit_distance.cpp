#include <algorithm>
#include <cstdint>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/support/Brisvane.h"
#include "brisvane/types/out_of_memory.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

using Row = std::vector<std::uint64_t>;

// The row that follows `previous` when one more code unit of the first text is taken.
void fillRow(Row& current, const Row& previous, char16_t unit, std::u16string_view second) noexcept {
  current[0] = previous[0] + 1;
  for (std::size_t j = 0; j < second.size(); ++j) {
    const std::uint64_t cost = unit == second[j] ? 0 : 1;
    current[j + 1] = std::min({current[j] + 1, previous[j + 1] + 1, previous[j] + cost});
  }
}

std::int64_t distanceBetween(std::string_view first, std::string_view second) {
  const std::u16string columns = toUtf16(second);
  Row previous(columns.size() + 1);
  std::iota(previous.begin(), previous.end(), std::uint64_t{0});
  Row current(previous.size());
  // Character by character, so that no memory grows with the first text.
  for (std::string_view rest = first; !rest.empty();) {
    const std::size_t length = firstCodePoint(rest).length;
    for (const char16_t unit : toUtf16(rest.substr(0, length))) {
      fillRow(current, previous, unit, columns);
      current.swap(previous);
    }
    rest.remove_prefix(length);
  }
  return static_cast<std::int64_t>(previous.back());
}

}  // namespace

std::int64_t Brisvane::levenshteinDistanceBetween(Text first, Text second) noexcept {
  return memoryPermitting(-1, [&] { return distanceBetween(first.orEmpty(), second.orEmpty()); });
}

}  // namespace brisvane
