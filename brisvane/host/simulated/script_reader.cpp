#include "brisvane/host/simulated/script_reader.h"

#include <optional>

namespace brisvane::host::simulated {
namespace {

std::optional<double> numberFrom(const Object& value) {
  if (const auto real = value.real()) return real;
  if (const auto integer = value.integer()) return static_cast<double>(*integer);
  return std::nullopt;
}

}  // namespace

std::size_t countFrom(const Object& value, const std::string& place, std::size_t smallest) {
  const auto number = value.unsignedInteger();
  if (number && *number >= smallest) return static_cast<std::size_t>(*number);
  throw ScriptError{place + ": must be a whole number of at least " + std::to_string(smallest)};
}

ScriptReader::ScriptReader(const Object& value, std::string place) : place_(std::move(place)) {
  const Dictionary* const fields = value.ifDictionary();
  if (fields == nullptr) throw ScriptError{place_ + (place_.empty() ? "must" : ": must") + " be an object"};
  fields_ = *fields;
}

bool ScriptReader::has(std::string_view key) const { return fields_.contains(key); }

Object ScriptReader::value(std::string_view key) {
  known_.emplace(key);
  const auto found = fields_.find(key);
  return found != fields_.end() ? found->second : Object();
}

std::string ScriptReader::text(std::string_view key) {
  const Object field = value(key);
  const std::string* const text = field.ifText();
  if (text == nullptr) fail(key, "must be a text");
  return *text;
}

bool ScriptReader::boolean(std::string_view key, bool fallback) {
  const auto flag = value(key).boolean();
  if (!flag && has(key)) fail(key, "must be true or false");
  return flag.value_or(fallback);
}

double ScriptReader::seconds(std::string_view key, double fallback) {
  constexpr double kLongest = 86'400;
  const auto number = numberFrom(value(key));
  if (!number && !has(key)) return fallback;
  if (!number || !(*number >= 0 && *number <= kLongest)) fail(key, "must be a number of seconds from 0 to 86400");
  return *number;
}

std::size_t ScriptReader::count(std::string_view key, std::size_t fallback, std::size_t smallest, std::size_t largest) {
  const Object field = value(key);
  if (!has(key)) return fallback;
  const std::size_t number = countFrom(field, placeOf(key), smallest);
  if (number > largest) fail(key, "must be at most " + std::to_string(largest));
  return number;
}

std::vector<std::pair<Object, std::string>> ScriptReader::elements(std::string_view key) {
  const Object field = value(key);
  std::vector<std::pair<Object, std::string>> result;
  if (!has(key)) return result;
  const Array* const array = field.ifArray();
  if (array == nullptr) fail(key, "must be an array");
  for (const Object& element : *array) {
    result.emplace_back(element, placeOf(key) + "[" + std::to_string(result.size()) + "]");
  }
  return result;
}

std::string ScriptReader::placeOf(std::string_view key) const {
  return place_.empty() ? std::string(key) : place_ + "." + std::string(key);
}

void ScriptReader::fail(std::string_view key, std::string_view what) const {
  throw ScriptError{placeOf(key) + ": " + std::string(what)};
}

void ScriptReader::finish() const {
  for (const auto& [key, field] : fields_) {
    if (!known_.contains(key)) fail(key, "unknown field");
  }
}

}  // namespace brisvane::host::simulated
