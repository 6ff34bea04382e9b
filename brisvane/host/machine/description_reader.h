// DescriptionReader, which reads the description of a machine strictly and reports the place of an
// error. A reader belongs to one thread. The functions may be called from any thread. All may throw
// std::bad_alloc.
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

// An error in a description. readDescription() and readDescriptionFile() catch it.
struct BRISVANE_EXPORT DescriptionError {
  std::string place;  // as in "devices[0].name"; empty for the description as a whole
  std::string what;   // as in "must be a text"

  // "place: what". A long place is cut to 200 bytes, and bytes that are not printable are escaped.
  [[nodiscard]] std::string text() const;
};

// One object of a description. Each getter gives the value of a field.
//  - For a missing field, boolean(), seconds() and count() give `fallback`. text(), shortText() and
//    hex() throw DescriptionError.
//  - For a field of the wrong kind or out of range, every getter but value() throws
//    DescriptionError.
class BRISVANE_EXPORT DescriptionReader {
 public:
  // A reader of the object that stands at `place`. Throws DescriptionError when it is no object.
  DescriptionReader(const Object& value, std::string place);

  [[nodiscard]] bool has(std::string_view key) const;
  [[nodiscard]] std::string text(std::string_view key);
  // A text of at most 255 bytes, for a field that many elements may have.
  [[nodiscard]] std::string shortText(std::string_view key);
  [[nodiscard]] bool boolean(std::string_view key, bool fallback);
  // From 0 to 86,400.
  [[nodiscard]] double seconds(std::string_view key, double fallback);
  // A whole number from `smallest` to `largest`.
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
  // Throws DescriptionError with the field's place.
  [[noreturn]] void fail(std::string_view key, std::string_view what) const;

  // Throws DescriptionError for a field that no getter has read. So a misspelled field is not taken
  // for a missing one.
  void finish() const;

 private:
  Dictionary fields_;
  std::string place_;
  std::unordered_set<std::string> known_;
};

// An element of an array as a whole number of at least `smallest`. Throws DescriptionError for any
// other value.
[[nodiscard]] BRISVANE_EXPORT std::size_t countFrom(const Object& value, const std::string& place,
                                                    std::size_t smallest);

// Parses a JSON text and calls `read` with its value. Fails when the text is no JSON, when an
// object has a key twice, and when `read` throws a DescriptionError. The error's reason names the
// line.
BRISVANE_EXPORT Result<> readDescription(std::string_view json,
                                         const std::function<void(const Object& value)>& read);

// The same with a file of at most 16 MiB. The error's what() is the path.
BRISVANE_EXPORT Result<> readDescriptionFile(std::string_view path,
                                             const std::function<void(const Object& value)>& read);

}  // namespace brisvane::host
