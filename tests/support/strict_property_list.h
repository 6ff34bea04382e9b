// A reader of binary property lists that takes only what the most careful of readers take: every
// size is the smallest that holds its numbers, no byte is without a use, and no object refers to a
// later one.
#pragma once

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "brisvane/types/data.h"
#include "brisvane/types/object.h"
#include "brisvane/types/unicode.h"

namespace brisvane::testing {

class StrictPropertyList {
 public:
  // Throws std::runtime_error with the first fault of the file.
  explicit StrictPropertyList(const Data& file) : file_(file) {
    require(file.size() > kHeader.size() + kTrailerSize, "it is too short");
    require(std::equal(kHeader.begin(), kHeader.end(), file.begin()), "its header is another");
    const std::size_t trailer = file.size() - kTrailerSize;
    require(number(trailer, 6) == 0, "a spare byte is used");
    const std::uint64_t offsetSize = number(trailer + 6, 1);
    refSize_ = number(trailer + 7, 1);
    const std::uint64_t count = number(trailer + 8, 8);
    const std::uint64_t table = number(trailer + 24, 8);
    require(isSmallest(offsetSize, table),
            "its offsets have not the size that its table's position takes");
    require(isSmallest(refSize_, count),
            "its references have not the size that the number of objects takes");
    require(number(trailer + 16, 8) == count - 1, "the top object is not the last");
    require(table + count * offsetSize == trailer,
            "its table does not end where the trailer begins");
    position_ = kHeader.size();
    for (std::uint64_t i = 0; i < count; ++i) {
      require(number(table + i * offsetSize, offsetSize) == position_,
              "an object is not where the last one ends");
      objects_.push_back(next());
    }
    require(position_ == table, "the table is not where the objects end");
  }

  [[nodiscard]] const Object& value() const { return objects_.back(); }

 private:
  static constexpr std::string_view kHeader = "bplist00";
  static constexpr std::size_t kTrailerSize = 32;

  static void require(bool holds, const char* fault) {
    if (!holds) throw std::runtime_error(fault);
  }

  static bool isSmallest(std::uint64_t size, std::uint64_t number) {
    const auto holds = [number](std::uint64_t bytes) {
      return bytes == 8 || number >> (8 * bytes) == 0;
    };
    return std::has_single_bit(size) && size <= 8 && holds(size) && (size == 1 || !holds(size / 2));
  }

  [[nodiscard]] std::uint64_t number(std::uint64_t position, std::uint64_t size) const {
    std::uint64_t value = 0;
    for (std::uint64_t i = 0; i < size; ++i) value = value << 8U | file_.at(position + i);
    return value;
  }

  std::uint64_t take(std::uint64_t size) {
    return number(std::exchange(position_, position_ + size), size);
  }

  Object takeInteger(unsigned power) {
    require(power <= 4, "an integer has an unknown size");
    if (power == 4) require(take(8) == 0, "an integer is out of range");
    const std::uint64_t bits = take(power == 4 ? 8 : 1U << power);
    const bool isSigned = power == 3;
    if (isSigned && bits >> 63U != 0) return std::bit_cast<std::int64_t>(bits);
    require(power == 4 ? bits >> 63U != 0 : isSmallest(1U << power, bits),
            "an integer has not its smallest size");
    return bits;
  }

  std::uint64_t takeCount(unsigned low) {
    if (low < 15) return low;
    const std::uint64_t marker = take(1);
    require(marker >> 4U == 1, "a count is no integer");
    const auto count = takeInteger(marker & 15U).unsignedInteger();
    require(count && *count >= 15, "a count need not follow");
    return *count;
  }

  const Object& takeReference() {
    const std::uint64_t reference = take(refSize_);
    require(reference < objects_.size(), "an object refers to a later one");
    return objects_[reference];
  }

  std::string takeUtf16(std::uint64_t count) {
    const auto isHigh = [](char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; };
    std::string text;
    for (std::uint64_t i = 0; i < count; ++i) {
      auto character = static_cast<char32_t>(take(2));
      if (isHigh(character) && ++i < count) {
        character =
            0x10000 + (character - 0xD800) * 0x400 + (static_cast<char32_t>(take(2)) - 0xDC00);
      }
      appendUtf8(text, character);
    }
    require(!isAscii(text), "a text need not be in UTF-16");
    return text;
  }

  Object next() {
    const std::uint64_t marker = take(1);
    const auto low = static_cast<unsigned>(marker & 15U);
    switch (marker >> 4U) {
      case 0x0:
        require(low == 8 || low == 9, "a boolean is neither");
        return low == 9;
      case 0x1:
        return takeInteger(low);
      case 0x2:
        require(low == 3, "a real has another size");
        return std::bit_cast<double>(take(8));
      case 0x3:
        require(low == 3, "a date has another size");
        return Date(std::chrono::seconds(978'307'200) +
                    std::chrono::round<Date::duration>(
                        std::chrono::duration<double>(std::bit_cast<double>(take(8)))));
      case 0x4:
      case 0x5:
        return takeBytes(marker >> 4U == 0x5, takeCount(low));
      case 0x6:
        return takeUtf16(takeCount(low));
      case 0xA:
        return takeArray(takeCount(low));
      case 0xD:
        return takeDictionary(takeCount(low));
      default:
        throw std::runtime_error("an object is of an unknown kind");
    }
  }

  Object takeBytes(bool isText, std::uint64_t count) {
    Data bytes;
    for (std::uint64_t i = 0; i < count; ++i) bytes.push_back(static_cast<std::uint8_t>(take(1)));
    if (!isText) return bytes;
    std::string text(bytes.begin(), bytes.end());
    require(isAscii(text), "a text is not ASCII");
    return text;
  }

  Object takeArray(std::uint64_t count) {
    Array array;
    for (std::uint64_t i = 0; i < count; ++i) array.push_back(takeReference());
    return array;
  }

  Object takeDictionary(std::uint64_t count) {
    const Object keys = takeArray(count);
    Dictionary dictionary;
    for (const Object& key : *keys.ifArray()) {
      require(key.ifText() != nullptr, "a key is no text");
      require(dictionary.emplace(*key.ifText(), takeReference()).second, "a key stands twice");
    }
    return dictionary;
  }

  const Data& file_;
  std::uint64_t refSize_ = 0;
  std::uint64_t position_ = 0;
  std::vector<Object> objects_;
};

}  // namespace brisvane::testing
