#include <algorithm>
#include <cstdint>
#include <new>
#include <numeric>
#include <string>
#include <vector>

#include "brisvane/support/Brisvane.h"
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

}  // namespace

std::int64_t Brisvane::levenshteinDistanceBetween(Text first, Text second) noexcept try {
  const std::u16string columns = toUtf16(second.orEmpty());
  Row previous(columns.size() + 1);
  std::iota(previous.begin(), previous.end(), std::uint64_t{0});
  Row current(previous.size());
  // Character by character, so that no memory grows with the first text.
  for (std::string_view rest = first.orEmpty(); !rest.empty();) {
    const std::size_t length = firstCodePoint(rest).length;
    for (const char16_t unit : toUtf16(rest.substr(0, length))) {
      fillRow(current, previous, unit, columns);
      current.swap(previous);
    }
    rest.remove_prefix(length);
  }
  return static_cast<std::int64_t>(previous.back());
} catch (const std::bad_alloc&) {
  return -1;
}

}  // namespace brisvane
