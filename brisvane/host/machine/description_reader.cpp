#include "brisvane/host/machine/description_reader.h"

#include "brisvane/host/files/files.h"
#include "brisvane/host/formats/json.h"
#include "brisvane/types/excerpt.h"
#include "brisvane/types/hex.h"

namespace brisvane::host {
namespace {

std::optional<double> numberFrom(const Object& value) {
  if (const auto real = value.real()) return real;
  if (const auto integer = value.integer()) return static_cast<double>(*integer);
  return std::nullopt;
}

}  // namespace

std::string DescriptionError::text() const {
  return place.empty() ? what : excerpt(place) + ": " + what;
}

std::size_t countFrom(const Object& value, const std::string& place, std::size_t smallest) {
  const auto number = value.unsignedInteger();
  if (number && *number >= smallest) return static_cast<std::size_t>(*number);
  throw DescriptionError{place, "must be a whole number of at least " + std::to_string(smallest)};
}

DescriptionReader::DescriptionReader(const Object& value, std::string place)
    : place_(std::move(place)) {
  const Dictionary* const fields = value.ifDictionary();
  if (fields == nullptr) throw DescriptionError{place_, "must be an object"};
  fields_ = *fields;
}

bool DescriptionReader::has(std::string_view key) const { return fields_.contains(key); }

Object DescriptionReader::value(std::string_view key) {
  known_.emplace(key);
  const auto found = fields_.find(key);
  return found != fields_.end() ? found->second : Object();
}

std::string DescriptionReader::text(std::string_view key) {
  const Object field = value(key);
  const std::string* const text = field.ifText();
  if (text == nullptr) fail(key, "must be a text");
  return *text;
}

std::string DescriptionReader::shortText(std::string_view key) {
  constexpr std::size_t kLongest = 255;
  std::string result = text(key);
  if (result.size() > kLongest)
    fail(key, "must be at most " + std::to_string(kLongest) + " bytes long");
  return result;
}

bool DescriptionReader::boolean(std::string_view key, bool fallback) {
  const auto flag = value(key).boolean();
  if (!flag && has(key)) fail(key, "must be true or false");
  return flag.value_or(fallback);
}

double DescriptionReader::seconds(std::string_view key, double fallback) {
  constexpr double kLongest = 86'400;
  const auto number = numberFrom(value(key));
  if (!number && !has(key)) return fallback;
  if (!number || !(*number >= 0 && *number <= kLongest))
    fail(key, "must be a number of seconds from 0 to 86400");
  return *number;
}

std::size_t DescriptionReader::count(std::string_view key, std::size_t fallback,
                                     std::size_t smallest, std::size_t largest) {
  const Object field = value(key);
  if (!has(key)) return fallback;
  const std::size_t number = countFrom(field, placeOf(key), smallest);
  if (number > largest) fail(key, "must be at most " + std::to_string(largest));
  return number;
}

Data DescriptionReader::hex(std::string_view key) {
  auto bytes = parseHex(text(key));
  if (!bytes) fail(key, "must be pairs of hexadecimal digits");
  return std::move(*bytes);
}

std::optional<Dictionary> DescriptionReader::members(std::string_view key) {
  const Object field = value(key);
  if (!has(key)) return std::nullopt;
  if (field.ifDictionary() == nullptr) fail(key, "must be an object");
  return *field.ifDictionary();
}

std::optional<DescriptionReader> DescriptionReader::object(std::string_view key) {
  const Object field = value(key);
  return has(key) ? std::optional(DescriptionReader(field, placeOf(key))) : std::nullopt;
}

std::vector<std::pair<Object, std::string>> DescriptionReader::elements(std::string_view key) {
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

std::string DescriptionReader::placeOf(std::string_view key) const {
  return place_.empty() ? std::string(key) : place_ + "." + std::string(key);
}

void DescriptionReader::fail(std::string_view key, std::string_view what) const {
  throw DescriptionError{placeOf(key), std::string(what)};
}

void DescriptionReader::finish() const {
  for (const auto& [key, field] : fields_) {
    if (!known_.contains(key)) fail(key, "unknown field");
  }
}

Result<> readDescription(std::string_view json,
                         const std::function<void(const Object& value)>& read) {
  const auto value = parseJson(json, RepeatedKeys::kRefused);
  if (!value.ok()) return value.error();
  try {
    read(value.value());
    return {};
  } catch (const DescriptionError& wrong) {
    return Error::because("line " + std::to_string(jsonLine(json, wrong.place)) + ": " +
                          wrong.text());
  }
}

Result<> readDescriptionFile(std::string_view path,
                             const std::function<void(const Object& value)>& read) {
  constexpr std::size_t kLargest = std::size_t{16} << 20U;
  const auto content = readFile(path, kLargest);
  if (!content.ok()) return content.error();
  auto result = readDescription(content.value(), read);
  return result.ok() ? std::move(result) : result.error().of(path);
}

}  // namespace brisvane::host
