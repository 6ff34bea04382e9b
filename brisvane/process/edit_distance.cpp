#include "brisvane/process/edit_distance.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "brisvane/types/unicode.h"

// The cells of the table of distances differ from their neighbours by -1, 0 or 1. So 64 cells of a
// column are two words, those that are one more and those that are one less than the cell above,
// and the next column is some fifteen operations on them (Myers, "A Fast Bit-Vector Algorithm for
// Approximate String Matching Based on Dynamic Programming", 1999; in the form of Hyyrö, "A
// Bit-Vector Algorithm for Computing Levenshtein and Damerau Edit Distances", 2003).
namespace brisvane {
namespace {

using Word = std::uint64_t;
constexpr std::size_t kWordRows = 64;

struct Column {
  Word more = ~Word{0};  // than the cell above: those of a text that is compared with nothing
  Word less = 0;

  // Takes the column on by one. `equal` has the rows whose unit is the column's; `moreAbove` and
  // `lessAbove` say how the cell above the first differs from the one to its left, and after it how
  // the cell of row `last` does.
  [[gnu::always_inline]] void advance(Word equal, Word& moreAbove, Word& lessAbove,
                                      unsigned last) noexcept {
    const Word same = equal | lessAbove;
    const Word diagonal =
        (((same & more) + more) ^ more) | same | less;  // cells that equal the one before and above
    Word moreAlong = less | ~(diagonal | more);
    Word lessAlong = diagonal & more;
    const Word moreBelow = moreAlong >> last & 1U;
    const Word lessBelow = lessAlong >> last & 1U;
    moreAlong = moreAlong << 1U | moreAbove;
    lessAlong = lessAlong << 1U | lessAbove;
    more = lessAlong | ~(diagonal | moreAlong);
    less = moreAlong & diagonal;
    moreAbove = moreBelow;
    lessAbove = lessBelow;
  }
};

// The distance of two ASCII texts of which the shorter, not empty, has one word's rows.
std::uint64_t shortDistance(std::string_view rows, std::string_view columns) noexcept {
  std::array<Word, 128>
      equal;  // set for the characters that occur: setting them all takes longer than the rest
  const auto equalFor = [&equal](char character) -> Word& {
    return equal[static_cast<unsigned char>(character)];
  };
  for (const char character : columns) equalFor(character) = 0;
  for (const char character : rows) equalFor(character) = 0;
  for (std::size_t i = 0; i < rows.size(); ++i) equalFor(rows[i]) |= Word{1} << i;
  Column column;
  const auto last = static_cast<unsigned>(rows.size() - 1);
  std::uint64_t distance = rows.size();
  for (const char character : columns) {
    Word more = 1;
    Word less = 0;
    column.advance(equalFor(character), more, less, last);
    distance += more - less;
  }
  return distance;
}

// The code units of a text, some at a time.
class Units {
 public:
  explicit Units(std::string_view text) noexcept : rest_(text) {}

  // The next ones; fewer than there is space for at the end.
  std::span<const char16_t> take(std::span<char16_t> space) noexcept {
    std::size_t count = 0;
    while (count < space.size()) {
      if (second_ != 0) {
        space[count++] = std::exchange(second_, u'\0');
      } else if (rest_.empty()) {
        break;
      } else {
        const CodePoint point = firstCodePoint(rest_);
        rest_.remove_prefix(point.length);
        const bool isPair = point.value >= 0x10000;
        const char32_t offset = point.value - 0x10000;
        space[count++] = static_cast<char16_t>(isPair ? 0xD800 + (offset >> 10U) : point.value);
        if (isPair) second_ = static_cast<char16_t>(0xDC00 + (offset & 0x3FFU));
      }
    }
    return space.first(count);
  }

 private:
  std::string_view rest_;
  char16_t second_ = 0;  // of a surrogate pair whose first unit was the last one taken
};

// A number for each code unit that occurs in a text, from 0.
class Alphabet {
 public:
  explicit Alphabet(std::u16string_view text) noexcept {
    for (const char16_t unit : text) present_[unit / kWordRows] |= bitOf(unit);
    for (std::size_t i = 0; i < present_.size(); ++i) {
      before_[i] = static_cast<std::uint16_t>(size_);
      size_ += static_cast<std::size_t>(std::popcount(present_[i]));
    }
  }

  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] bool has(char16_t unit) const noexcept {
    return (present_[unit / kWordRows] & bitOf(unit)) != 0;
  }
  // REQUIRES: has(unit)
  [[nodiscard]] char16_t number(char16_t unit) const noexcept {
    const auto lower = std::popcount(present_[unit / kWordRows] & (bitOf(unit) - 1));
    return static_cast<char16_t>(before_[unit / kWordRows] + lower);
  }

 private:
  static Word bitOf(char16_t unit) noexcept { return Word{1} << (unit % kWordRows); }

  std::array<Word, 0x10000 / kWordRows> present_{};
  std::array<std::uint16_t, 0x10000 / kWordRows> before_;
  std::size_t size_ = 0;
};

// The table is filled in strips of rows, from the top, each from left to right: what a strip leaves
// for the next one is how the cells of its last row differ from each other.
class Table {
 public:
  Table(std::string_view first, std::string_view second)
      : first_(first),
        rows_(static_cast<std::int64_t>(utf16Length(first))),
        second_(toUtf16(second)),
        alphabet_(second_),
        along_(second_.size()),
        places_(alphabet_.size()) {
    for (char16_t& unit : second_) unit = alphabet_.number(unit);
  }

  [[nodiscard]] std::uint64_t distance() {
    constexpr std::int64_t kLeast = 64;
    const std::int64_t most = std::max(rows_, columns());
    std::int64_t limit = std::min(std::max(kLeast, std::abs(columns() - rows_)), most);
    for (bool isFirst = true;; isFirst = false) {
      const std::int64_t found = distanceWithin(limit);
      if (found <= limit) return static_cast<std::uint64_t>(found);
      // A few edits at the beginning say nothing about the rest yet.
      limit = std::min(isFirst ? limit * 4 : std::max(limit * 2, found), most);
    }
  }

 private:
  // How a cell differs from the one to its left.
  enum : std::uint8_t { kMore = 1, kLess = 2 };
  static constexpr std::size_t kWords =
      2;  // in a strip: independent enough to keep the processor busy
  static constexpr std::size_t kStripRows = kWords * kWordRows;

  [[nodiscard]] std::int64_t columns() const noexcept {
    return static_cast<std::int64_t>(second_.size());
  }

  [[nodiscard]] std::int64_t along(std::int64_t column) const noexcept {
    const std::uint8_t step = along_[static_cast<std::size_t>(column)];
    return (step & kMore) - (step >> 1U);
  }

  // The distance, when it is within the limit; otherwise a guess, which is larger. Only cells near
  // the diagonal are filled, those that a way of so many edits may pass: the others count as far
  // away.
  [[nodiscard]] std::int64_t distanceWithin(std::int64_t limit) {
    const std::int64_t difference = columns() - rows_;
    const std::int64_t lowest = (difference - limit) / 2 - 1;  // column less row
    const std::int64_t highest = (difference + limit) / 2 + 1;
    std::fill(along_.begin(), along_.end(), std::uint8_t{kMore});
    Units units(first_);
    std::int64_t from = 0;
    std::int64_t value = 0;  // of the cell before column `from`, in the row above the strip
    unsigned strips = 0;
    for (std::int64_t row = 0; row < rows_;) {
      for (const std::int64_t next = std::max<std::int64_t>(from, row + lowest);
           from < std::min(next, columns()); ++from)
        value += along(from);
      std::array<char16_t, kStripRows> space;
      const auto strip = units.take(space);
      row += static_cast<std::int64_t>(strip.size());
      value += static_cast<std::int64_t>(strip.size());
      const std::int64_t to = std::clamp<std::int64_t>(row + highest, from, columns());
      fill(strip, static_cast<std::size_t>(from), static_cast<std::size_t>(to));
      if (!std::has_single_bit(++strips)) continue;
      const std::int64_t least = leastThrough(row, from, to, value);
      if (least > limit) return std::max(limit + 1, least * rows_ / row);
    }
    for (; from < columns(); ++from) value += along(from);
    return value <= limit ? value : limit + 1;
  }

  // The least number of edits of a way through the row. `value` is that of the cell before column
  // `from`.
  [[nodiscard]] std::int64_t leastThrough(std::int64_t row, std::int64_t from, std::int64_t to,
                                          std::int64_t value) const noexcept {
    const std::int64_t diagonal = columns() - (rows_ - row);
    std::int64_t least = value + std::abs(diagonal - from);
    for (std::int64_t column = from; column < to; ++column) {
      value += along(column);
      least = std::min(least, value + std::abs(diagonal - (column + 1)));
    }
    return least;
  }

  void fill(std::span<const char16_t> strip, std::size_t from, std::size_t to) noexcept {
    // Only the units of the strip have a place among those that are looked up: the first place is
    // everything else's.
    std::array<std::array<Word, kWords>, kStripRows + 1> equal;
    equal[0].fill(0);
    std::uint8_t used = 0;
    for (std::size_t i = 0; i < strip.size(); ++i) {
      if (!alphabet_.has(strip[i])) continue;
      std::uint8_t& place = places_[alphabet_.number(strip[i])];
      if (place == 0) {
        place = ++used;
        equal[place].fill(0);
      }
      equal[place][i / kWordRows] |= Word{1} << (i % kWordRows);
    }
    const auto last = static_cast<unsigned>((strip.size() - 1) % kWordRows);
    if (strip.size() <= kWordRows) {
      advance<1>(equal, from, to, last);
    } else {
      advance<2>(equal, from, to, last);
    }
    for (const char16_t unit : strip) {
      if (alphabet_.has(unit)) places_[alphabet_.number(unit)] = 0;
    }
  }

  template <std::size_t words>
  void advance(const std::array<std::array<Word, kWords>, kStripRows + 1>& equal, std::size_t from,
               std::size_t to, unsigned last) noexcept {
    std::array<Column, words> column;
    const char16_t* const second = second_.data();
    const std::uint8_t* const places = places_.data();
    std::uint8_t* const along = along_.data();
    for (std::size_t i = from; i < to; ++i) {
      const auto& equalHere = equal[places[second[i]]];
      Word more = along[i] & kMore;
      Word less = along[i] >> 1U;
      for (std::size_t word = 0; word + 1 < words; ++word)
        column[word].advance(equalHere[word], more, less, 63);
      column[words - 1].advance(equalHere[words - 1], more, less, last);
      along[i] = static_cast<std::uint8_t>(more | less << 1U);
    }
  }

  std::string_view first_;
  std::int64_t rows_;
  std::u16string second_;  // as numbers of the alphabet
  Alphabet alphabet_;
  std::vector<std::uint8_t> along_;
  std::vector<std::uint8_t> places_;  // by numbers of the alphabet
};

}  // namespace

std::uint64_t editDistance(std::string_view first, std::string_view second) {
  const auto [shorter, longer] = std::minmax(
      first, second, [](std::string_view a, std::string_view b) { return a.size() < b.size(); });
  if (shorter.size() <= kWordRows && isAscii(shorter) && isAscii(longer)) {
    return shorter.empty() ? longer.size() : shortDistance(shorter, longer);
  }
  return Table(first, second).distance();
}

}  // namespace brisvane
