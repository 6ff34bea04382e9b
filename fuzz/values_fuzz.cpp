// Values of every kind, made of the input's choices, as property lists and as JSON.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "brisvane/host/formats/json.h"
#include "brisvane/host/formats/property_list.h"
#include "brisvane/types/unicode.h"
#include "fuzz/support/fuzzing.h"
#include "tests/support/strict_property_list.h"

namespace brisvane::fuzz {
namespace {

constexpr std::size_t kLongestText = 40;
constexpr std::size_t kMostParts = 20;

class Maker {
 public:
  explicit Maker(std::string_view input) : choices_(input) {}

  Object value() {
    const auto kind = static_cast<Object::Kind>(choices_.below(9));
    switch (kind) {
      case Object::Kind::kNull:
        canBeListed_ = false;
        return nullptr;
      case Object::Kind::kBoolean:
        return choices_.below(2) == 1;
      case Object::Kind::kInteger:
        return integer();
      case Object::Kind::kReal:
        return real();
      case Object::Kind::kText:
        return text();
      case Object::Kind::kData:
        return copyOf(choices_.bytes(choices_.below(kLongestText)));
      case Object::Kind::kDate:
        return date();
      case Object::Kind::kArray:
        return array();
      case Object::Kind::kDictionary:
        break;
    }
    return dictionary();
  }

  // Whether a property list can hold all that was made.
  [[nodiscard]] bool canBeListed() const { return canBeListed_; }

 private:
  Object integer() {
    const std::uint64_t bits = choices_.bits() >> choices_.below(64);
    return choices_.below(2) == 1 ? Object(static_cast<std::int64_t>(bits)) : Object(bits);
  }

  Object real() {
    const std::uint64_t bits = choices_.bits();
    double number = 0;
    std::memcpy(&number, &bits, sizeof number);
    return std::isnan(number) ? 0.5 : number;  // which equals nothing
  }

  std::string text() {
    std::string text(choices_.bytes(choices_.below(kLongestText)));
    canBeListed_ &= isUtf8(text);
    return text;
  }

  // Whole seconds of some decades, which the reader has to the nanosecond.
  Object date() {
    const auto seconds =
        static_cast<std::int64_t>(choices_.bits() >> 32U) - (std::int64_t{1} << 31U);
    return Date(std::chrono::seconds(seconds));
  }

  Object array() {
    Array array;
    ++depth_;
    for (auto left = choices_.any() ? choices_.below(kMostParts) : 0; left > 0; --left)
      array.push_back(partOf(array));
    --depth_;
    return array;
  }

  Object dictionary() {
    Dictionary dictionary;
    ++depth_;
    for (auto left = choices_.any() ? choices_.below(kMostParts) : 0; left > 0; --left) {
      std::string key = text();
      if (!dictionary.contains(key)) dictionary.emplace(std::move(key), value());
    }
    --depth_;
    return dictionary;
  }

  // A value of its own, or one that stands in the array already.
  Object partOf(const Array& array) {
    constexpr int kDeepest = 100;
    if (depth_ > kDeepest) return true;
    // Each time may double what has to be written.
    constexpr int kMostShared = 8;
    const bool shares = !array.empty() && shared_ < kMostShared && choices_.below(4) == 0;
    if (shares) ++shared_;
    if (shares) return array[choices_.below(array.size())];
    return value();
  }

  Choices choices_;
  int depth_ = 0;
  int shared_ = 0;
  bool canBeListed_ = true;
};

}  // namespace

void run(std::string_view input) {
  Maker maker(input);
  const Object value = maker.value();
  const auto list = host::binaryPropertyList(value);
  require(list.ok() == maker.canBeListed(), "a value is refused for what a list cannot hold");
  if (list.ok()) {
    try {
      require(testing::StrictPropertyList(list.value()).value() == value, "a list reads back");
    } catch (const std::exception& fault) {
      require(false, fault.what());
    }
  }
  const auto json = host::jsonText(value);
  require(json && host::parseJson(*json).ok(), "every value is some JSON");
  require(isUtf8(value.description()), "a description is a text");
}

}  // namespace brisvane::fuzz
