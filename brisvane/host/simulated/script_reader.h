// ScriptReader, which takes a description apart and says where it is wrong.
// Private to the simulated machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "brisvane/types/object.h"

namespace brisvane::host::simulated {

// Thrown within the reading of a description, caught where the reading began.
struct ScriptError {
  std::string text;  // "place: what is wrong"
};

// One object of a description. Each getter gives the field's value, or `fallback`
// when it is missing, and throws ScriptError when it is of the wrong kind.
class ScriptReader {
 public:
  ScriptReader(const Object& value, std::string place);

  [[nodiscard]] bool has(std::string_view key) const;
  [[nodiscard]] std::string text(std::string_view key);
  [[nodiscard]] bool boolean(std::string_view key, bool fallback);
  [[nodiscard]] double seconds(std::string_view key, double fallback);
  [[nodiscard]] std::size_t count(std::string_view key, std::size_t fallback, std::size_t smallest,
                                  std::size_t largest = SIZE_MAX);
  // The elements of an array, each with its place; none when the field is missing.
  [[nodiscard]] std::vector<std::pair<Object, std::string>> elements(std::string_view key);
  // The field's value; the null marker when it is missing.
  [[nodiscard]] Object value(std::string_view key);

  [[nodiscard]] std::string placeOf(std::string_view key) const;
  [[noreturn]] void fail(std::string_view key, std::string_view what) const;

  // Throws for a field that nothing has asked for: a misspelled one must not pass
  // for a missing one.
  void finish() const;

 private:
  Dictionary fields_;
  std::string place_;
  std::unordered_set<std::string> known_;
};

// A count that an element of an array must be.
std::size_t countFrom(const Object& value, const std::string& place, std::size_t smallest);

}  // namespace brisvane::host::simulated
