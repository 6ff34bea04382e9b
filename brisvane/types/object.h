// Object, a value of any kind, with the Array and Dictionary that hold Objects.
// An Object's value never changes, so that any number of threads may read one. A handle that is
// assigned to or moved from belongs to one thread at a time. What makes a value or copies its
// content may throw std::bad_alloc.
#pragma once

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
  constexpr ValueStep(const char* key) noexcept : ValueStep(std::string_view(key)) {}
  ValueStep(const std::string& key) noexcept : ValueStep(std::string_view(key)) {}
  // No array has a negative index.
  template <ObjectInteger T>
  constexpr ValueStep(T index) noexcept
      : index_(index < 0 ? ~std::uint64_t{0} : static_cast<std::uint64_t>(index)) {}
  // NOLINTEND(google-explicit-constructor)

  // What stands there; null when the array is shorter, or the dictionary does not have the key.
  [[nodiscard]] BRISVANE_EXPORT const Object* in(const Array& array) const noexcept;
  [[nodiscard]] BRISVANE_EXPORT const Object* in(const Dictionary& dictionary) const noexcept;

 private:
  std::string_view key_;
  std::uint64_t index_ = 0;
  bool isKey_ = false;
};

// A shared handle to one immutable value. Copying a handle is cheap. A copy shares the value and
// its identity; each other construction makes a value of its own. A handle without a value is the
// null marker, and so is one that was moved from.
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
  Object(T value) : Object(Boolean{value}) {}
  template <ObjectInteger T>
  Object(T value) : Object(Integer{value < 0, static_cast<std::uint64_t>(value)}) {}
  template <std::floating_point T>
  Object(T value) : Object(Real{static_cast<double>(value)}) {}
  Object(std::string text);
  Object(std::string_view text) : Object(std::string(text)) {}
  // A null pointer gives the null marker.
  Object(const char* text);
  Object(Data data);
  Object(Date date);
  Object(Array array);
  Object(Dictionary dictionary);
  // A dictionary in braces: `Object settings = {{"speed", 115200}, {"line", {{"parity",
  // "even"}}}};` An array among them is named: `{{"limits", Array{1, 2}}}`.
  Object(std::initializer_list<std::pair<std::string_view, Object>> entries);
  template <typename First, typename Second, typename... More>
  Object(First&&, Second&&, More&&...) = delete;  // write Array{...}, or {{key, value}, ...}
  // NOLINTEND(google-explicit-constructor)
  template <typename T>
  Object(const std::optional<T>&) = delete;  // say what absent means: Brisvane::objectOrNull

  Object(const Object& other) noexcept;
  Object(Object&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
  Object& operator=(const Object& other) noexcept;
  Object& operator=(Object&& other) noexcept;
  // Releases nested values without recursion, so that they may nest to any depth.
  ~Object();

  [[nodiscard]] Kind kind() const noexcept;
  [[nodiscard]] bool isNull() const noexcept { return value_ == nullptr; }

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
  [[nodiscard]] bool same(const Object& other) const noexcept { return value_ == other.value_; }
  // Whether both hold equal content. Containers are compared to any depth. The time grows with the
  // number and size of the distinct values, however often containers share them. It may throw
  // std::bad_alloc.
  friend BRISVANE_EXPORT bool operator==(const Object& left, const Object& right);

  struct Value;  // the shared representation, which object.cpp alone knows

 private:
  struct Boolean {
    bool value;
    bool operator==(const Boolean&) const = default;
  };
  // Sign and two's-complement bits: together all of signed and unsigned 64 bits.
  struct Integer {
    bool negative;
    std::uint64_t bits;
    bool operator==(const Integer&) const = default;
  };
  struct Real {
    double value;
    bool operator==(const Real&) const = default;
  };
  explicit Object(Boolean value);
  explicit Object(Integer value);
  explicit Object(Real value);

  [[nodiscard]] const Object* find(ValueStep step) const noexcept;
  static void release(const Value* value) noexcept;
  // Whether another handle holds the same value.
  [[nodiscard]] bool isShared() const noexcept;

  const Value* value_ = nullptr;
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
