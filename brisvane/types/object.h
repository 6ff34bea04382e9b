// Object, a value of any kind, with the Array and Dictionary that hold Objects.
// An Object's value never changes, so that any number of threads may read one. A handle that is
// assigned to or moved from belongs to one thread at a time. What makes a text, data or a
// container, or copies one, may throw std::bad_alloc.
#pragma once

#include <bit>
#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/text.h"

namespace brisvane {

class Object;

// With it a Dictionary finds a string_view or a literal without making a string.
struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const noexcept {
    return std::hash<std::string_view>{}(text);
  }
};

// Neither can hold an absent entry, because an Object always holds something. Copy an Array as
// `Array b = a` or `b(a)`: `Array b{a}` is an array that holds the array a.
using Array = std::vector<Object>;
using Dictionary = std::unordered_map<std::string, Object, TextHash, std::equal_to<>>;

// A moment, in the resolution of the system clock.
using Date = std::chrono::system_clock::time_point;

// The integer types an Object is made from; bool and the character types are not among them.
template <typename T>
concept ObjectInteger = std::integral<T> && sizeof(T) <= sizeof(std::uint64_t) &&
                        !std::same_as<T, bool> && !std::same_as<T, char> &&
                        !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
                        !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

// One step of a path into a value: the key of a dictionary, or the index of an array, from 0.
// A step does not own its key. Use it as an argument, never as a member.
class ValueStep {
 public:
  // NOLINTBEGIN(google-explicit-constructor): a key or an index is a step as it is.
  constexpr ValueStep(std::string_view key) noexcept : key_(key), isKey_(true) {}
  // A null pointer leads nowhere.
  constexpr ValueStep(const char* key) noexcept
      : key_(key != nullptr ? key : ""), index_(kNoIndex), isKey_(key != nullptr) {}
  ValueStep(const std::string& key) noexcept : ValueStep(std::string_view(key)) {}
  // No array has a negative index.
  template <ObjectInteger T>
  constexpr ValueStep(T index) noexcept
      : index_(index < 0 ? kNoIndex : static_cast<std::uint64_t>(index)) {}
  // NOLINTEND(google-explicit-constructor)

  // What stands there; null when the array is shorter, or the dictionary does not have the key.
  [[nodiscard]] BRISVANE_EXPORT const Object* in(const Array& array) const noexcept;
  [[nodiscard]] BRISVANE_EXPORT const Object* in(const Dictionary& dictionary) const noexcept;

 private:
  static constexpr std::uint64_t kNoIndex = ~std::uint64_t{0};

  std::string_view key_;
  std::uint64_t index_ = 0;
  bool isKey_ = false;
};

// A handle to one immutable value. Copying a handle is cheap and needs no memory. A copy shares the
// value and its identity; each other construction makes a value of its own. A handle without a
// value is the null marker, and so is one that was moved from.
//
// Equality compares content. A boolean never equals an integer, and an integer never equals a real.
// Two integers of the same number are equal, whatever their C++ types were.
class BRISVANE_EXPORT Object {
 public:
  enum class Kind : std::uint8_t {
    kNull,
    kBoolean,
    kInteger,
    kReal,
    kText,
    kData,
    kDate,
    kArray,
    kDictionary
  };

  // NOLINTBEGIN(google-explicit-constructor): any value may stand where an Object is due.
  Object() noexcept = default;
  Object(std::nullptr_t) noexcept {}
  // Exactly bool: without this no pointer could be kept from becoming true.
  template <std::same_as<bool> T>
  Object(T value) noexcept : Object(Kind::kBoolean, value ? 1U : 0U) {}
  template <ObjectInteger T>
  Object(T value) noexcept
      : Object(Kind::kInteger, static_cast<std::uint64_t>(value), value < 0 ? kNegative : 0) {}
  template <std::floating_point T>
  Object(T value) noexcept
      : Object(Kind::kReal, std::bit_cast<std::uint64_t>(static_cast<double>(value))) {}
  Object(std::string text);
  Object(std::string_view text) : Object(std::string(text)) {}
  // A null pointer gives the null marker.
  Object(const char* text);
  Object(Data data);
  Object(Date date) noexcept;
  Object(Array array);
  Object(Dictionary dictionary);
  // A dictionary in braces: `Object settings = {{"speed", 115200}, {"line", {{"parity",
  // "even"}}}};` An array among them is named: `{{"limits", Array{1, 2}}}`. Of equal keys the first
  // counts, as in a Dictionary.
  Object(std::initializer_list<std::pair<std::string_view, Object>> entries);
  // A compiler quotes the next line alone.
  template <typename First, typename Second, typename... More,
            typename = std::enable_if_t<!std::same_as<First, Kind>>>
  Object(First&&, Second&&, More&&...) = delete;  // write Array{...}, or {{key, value}, ...}
  // NOLINTEND(google-explicit-constructor)
  template <typename T>
  Object(const std::optional<T>&) = delete;  // say what absent means: Brisvane::objectOrNull

  Object(const Object& other) noexcept : content_(other.content_), tag_(other.tag_) {
    if (holdsValue()) retain();
  }
  Object(Object&& other) noexcept
      : content_(std::exchange(other.content_, 0)), tag_(std::exchange(other.tag_, 0)) {}
  Object& operator=(const Object& other) noexcept;
  Object& operator=(Object&& other) noexcept;
  // Releases nested values without recursion, so that they may nest to any depth.
  ~Object() {
    if (holdsValue()) release();
  }

  [[nodiscard]] Kind kind() const noexcept { return static_cast<Kind>(tag_ & kKindMask); }
  [[nodiscard]] bool isNull() const noexcept { return tag_ == 0; }

  // Copies of the content; nullopt when the Object is of another kind. integer() and
  // unsignedInteger() are also nullopt when the value does not fit.
  [[nodiscard]] std::optional<bool> boolean() const noexcept;
  [[nodiscard]] std::optional<std::int64_t> integer() const noexcept;
  [[nodiscard]] std::optional<std::uint64_t> unsignedInteger() const noexcept;
  [[nodiscard]] std::optional<double> real() const noexcept;
  [[nodiscard]] std::optional<std::string> text() const;
  [[nodiscard]] std::optional<Data> data() const;
  [[nodiscard]] std::optional<Date> date() const noexcept;
  [[nodiscard]] std::optional<Array> array() const;
  [[nodiscard]] std::optional<Dictionary> dictionary() const;

  // The content in place; null when the Object is of another kind. The pointer is valid as long as
  // some handle to this value exists.
  [[nodiscard]] const std::string* ifText() const noexcept;
  [[nodiscard]] const Data* ifData() const noexcept;
  [[nodiscard]] const Array* ifArray() const noexcept;
  [[nodiscard]] const Dictionary* ifDictionary() const noexcept;

  // What stands at the end of a path of keys and indexes: `profile.at("devices", 0, "name")`.
  // nullopt when there is no such place. Without a step it is the value itself.
  template <std::convertible_to<ValueStep>... Steps>
  [[nodiscard]] std::optional<Object> at(const Steps&... steps) const noexcept {
    const Object* place = this;
    (void)((place = place->find(steps)) && ...);
    return place != nullptr ? std::optional<Object>(*place) : std::nullopt;
  }

  // The value for a person to read, in a form like JSON: `{"a": [1, 1.0, null], "b": <2 bytes:
  // 0AFF>}`. Keys stand in byte order, and a date is in ISO 8601. What is not printable in a text
  // is escaped: \\u{1B}, or \\xFF for a byte that is not UTF-8. Nothing parses this form. What
  // nests deeper than kDeepestDescription is "...", and so is what does not fit into about
  // kLongestDescription bytes.
  [[nodiscard]] std::string description() const;
  static constexpr std::size_t kDeepestDescription = 32;
  static constexpr std::size_t kLongestDescription = std::size_t{64} << 10U;
  // Prints the description. Tests therefore show it where values differ.
  friend BRISVANE_EXPORT std::ostream& operator<<(std::ostream& stream, const Object& value);

  // Whether both handles share one value. Any two null markers do.
  [[nodiscard]] bool same(const Object& other) const noexcept {
    return content_ == other.content_ && tag_ == other.tag_;
  }
  // Whether both hold equal content. Containers are compared to any depth. The time grows with the
  // number and size of the distinct values, however often containers share them. It may throw
  // std::bad_alloc.
  friend BRISVANE_EXPORT bool operator==(const Object& left, const Object& right);

  struct Value;  // a text, data or container, which object.cpp alone knows

 private:
  // A handle is these two words. Programs rely on them, as functions above are inline: a change
  // breaks the ABI.
  //
  // A boolean, integer, real or date stands in content_ as its 64 bits: 0 or 1, two's complement,
  // IEEE 754, ticks of Date. Each construction has an identity of its own, which stands in tag_
  // above the bits named here. Of a text, data or container content_ is the address of the Value
  // that the copies share, which is its identity. Both words of the null marker are 0.
  static constexpr std::uint64_t kKindMask = 0xF;
  static constexpr std::uint64_t kNegative = 0x10;  // an integer below 0
  static constexpr std::uint64_t kShared = 0x20;    // content_ is the address of a Value
  static constexpr unsigned kIdentityShift = 6;

  // Of a kind that stands in the handle.
  Object(Kind kind, std::uint64_t content, std::uint64_t sign = 0) noexcept;
  Object(Kind kind, const Value* value) noexcept
      : content_(std::bit_cast<std::uint64_t>(value)),
        tag_(static_cast<std::uint64_t>(kind) | kShared) {}

  [[nodiscard]] const Object* find(ValueStep step) const noexcept;
  [[nodiscard]] bool holdsValue() const noexcept { return (tag_ & kShared) != 0; }
  // Null when the content stands in the handle.
  [[nodiscard]] const Value* value() const noexcept {
    return holdsValue() ? std::bit_cast<const Value*>(content_) : nullptr;
  }
  void retain() const noexcept;
  void release() noexcept;
  // Whether another handle holds the same Value.
  [[nodiscard]] bool isShared() const noexcept;
  // Of two of one kind.
  [[nodiscard]] bool hasContentOf(const Object& other) const;

  std::uint64_t content_ = 0;
  std::uint64_t tag_ = 0;
};

// What stands at the end of a path that begins in an array or a dictionary, as Object::at().
template <std::convertible_to<ValueStep>... Steps>
[[nodiscard]] std::optional<Object> valueAt(const Array& array, ValueStep first,
                                            const Steps&... steps) noexcept {
  const Object* const element = first.in(array);
  return element != nullptr ? element->at(steps...) : std::nullopt;
}
template <std::convertible_to<ValueStep>... Steps>
[[nodiscard]] std::optional<Object> valueAt(const Dictionary& dictionary, ValueStep first,
                                            const Steps&... steps) noexcept {
  const Object* const element = first.in(dictionary);
  return element != nullptr ? element->at(steps...) : std::nullopt;
}

// Print the description of an Object that holds the same.
BRISVANE_EXPORT std::ostream& operator<<(std::ostream& stream, const Array& array);
BRISVANE_EXPORT std::ostream& operator<<(std::ostream& stream, const Dictionary& dictionary);

}  // namespace brisvane
