// DescriptionReader, which takes a description of a machine apart, strictly, and reports where it
// is wrong. A reader belongs to one thread; the functions may be called from any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// Thrown within the reading of a description, and caught where the reading began.
struct BRISVANE_EXPORT DescriptionError {
  std::string place;  // as in "devices[0].name"; empty for the description as a whole
  std::string what;   // as in "must be a text"

  // "place: what", of a long place at most 200 bytes, those that are not printable as escapes.
  [[nodiscard]] std::string text() const;
};

// One object of a description. Each getter gives the field's value, or `fallback` when the field
// is missing. It throws DescriptionError when the field is of the wrong kind.
class BRISVANE_EXPORT DescriptionReader {
 public:
  DescriptionReader(const Object& value, std::string place);

  [[nodiscard]] bool has(std::string_view key) const;
  [[nodiscard]] std::string text(std::string_view key);
  // One of at most 255 bytes, which may be kept by each of many elements.
  [[nodiscard]] std::string shortText(std::string_view key);
  [[nodiscard]] bool boolean(std::string_view key, bool fallback);
  [[nodiscard]] double seconds(std::string_view key, double fallback);
  [[nodiscard]] std::size_t count(std::string_view key, std::size_t fallback, std::size_t smallest,
                                  std::size_t largest = SIZE_MAX);
  // The bytes that pairs of hexadecimal digits spell.
  [[nodiscard]] Data hex(std::string_view key);
  // The elements of an array, each with its place; none when the field is missing.
  [[nodiscard]] std::vector<std::pair<Object, std::string>> elements(std::string_view key);
  // The members of an object, by its keys; nullopt when the field is missing.
  [[nodiscard]] std::optional<Dictionary> members(std::string_view key);
  // A reader of an object; nullopt when the field is missing.
  [[nodiscard]] std::optional<DescriptionReader> object(std::string_view key);
  // The field's value; the null marker when it is missing.
  [[nodiscard]] Object value(std::string_view key);

  [[nodiscard]] std::string placeOf(std::string_view key) const;
  [[noreturn]] void fail(std::string_view key, std::string_view what) const;

  // Throws for a field that no getter has asked for, so that a misspelled field does not pass for
  // a missing one.
  void finish() const;

 private:
  Dictionary fields_;
  std::string place_;
  std::unordered_set<std::string> known_;
};

// A count that an element of an array must be.
[[nodiscard]] BRISVANE_EXPORT std::size_t countFrom(const Object& value, const std::string& place,
                                                    std::size_t smallest);

// Parses a JSON text and calls `read` with its value. Fails when the text is no JSON, and when
// `read` throws a DescriptionError. The error's reason names the line.
BRISVANE_EXPORT Result<> readDescription(std::string_view json, const std::function<void(const Object& value)>& read);

// The same with a file of at most 16 MiB. The error's what() is the path.
BRISVANE_EXPORT Result<> readDescriptionFile(std::string_view path,
                                             const std::function<void(const Object& value)>& read);

}  // namespace brisvane::host
