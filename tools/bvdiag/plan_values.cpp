// What a plan's step expects: its texts, patterns and values.
#include <cmath>

#include "plan_reader.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

// The fields that make a value a number.
constexpr std::string_view kNumberFields[] = {"low", "high", "unit", "scale", "base"};

ByteField readByteField(DescriptionReader& reader) {
  constexpr std::size_t kFarthest = 1'000'000;
  constexpr std::size_t kLongest = 8;
  ByteField field;
  field.at = reader.count("at", 0, 0, kFarthest);
  field.length = reader.count("length", 1, 1, kLongest);
  field.isLittle = choice<bool>(reader, "order", {{"big", false}, {"little", true}});
  field.isSigned = reader.boolean("signed", false);
  return field;
}

PatternGroup readGroup(DescriptionReader& reader, const std::optional<PlanPattern>& pattern) {
  constexpr std::size_t kDecimal = 10;
  constexpr std::size_t kHexadecimal = 16;
  const std::string name = requiredText(reader, "group");
  if (!pattern) reader.fail("group", "needs a pattern: matches or accept");
  const auto number = pattern->compiled.groupNumber(name);
  if (!number) reader.fail("group", "the pattern has no group (?<" + name + ">...)");
  const std::size_t base = reader.count("base", kDecimal, kDecimal, kHexadecimal);
  if (base != kDecimal && base != kHexadecimal) reader.fail("base", "must be 10 or 16");
  return {*number, static_cast<int>(base)};
}

void readNumber(DescriptionReader& reader, ValueRule& rule) {
  rule.scale = number(reader, "scale").value_or(1);
  rule.unit = optionalText(reader, "unit");
  rule.limits = {number(reader, "low"), number(reader, "high")};
  if (rule.limits.low && rule.limits.high && *rule.limits.low > *rule.limits.high)
    reader.fail("low", "must not be above high");
}

ValueRule readValue(const bv::Object& value, const std::string& place,
                    const std::optional<PlanPattern>& pattern) {
  DescriptionReader reader(value, place);
  ValueRule rule;
  const bool isBytes = reader.has("at");
  if (isBytes == reader.has("group")) throw DescriptionError{place, "must have either group or at"};
  rule.isNumber = isBytes;
  for (const std::string_view field : kNumberFields) rule.isNumber |= reader.has(field);
  if (isBytes) {
    rule.name = requiredText(reader, "name");
    rule.source = readByteField(reader);
  } else {
    rule.source = readGroup(reader, pattern);
    rule.name = reader.has("name") ? requiredText(reader, "name") : reader.text("group");
  }
  if (rule.isNumber) {
    readNumber(reader, rule);
  } else if (reader.has("equals")) {
    rule.equals = reader.text("equals");
  }
  reader.finish();
  return rule;
}

}  // namespace

std::string requiredText(DescriptionReader& reader, std::string_view key) {
  if (!reader.has(key)) reader.fail(key, "is missing");
  std::string text = reader.text(key);
  if (text.empty()) reader.fail(key, "must not be empty");
  return text;
}

std::string optionalText(DescriptionReader& reader, std::string_view key) {
  return reader.has(key) ? reader.text(key) : std::string();
}

std::vector<std::string> texts(DescriptionReader& reader, std::string_view key) {
  std::vector<std::string> result;
  for (const auto& [element, place] : reader.elements(key)) {
    if (element.ifText() == nullptr) throw DescriptionError{place, "must be a text"};
    result.push_back(*element.ifText());
  }
  return result;
}

std::optional<double> number(DescriptionReader& reader, std::string_view key) {
  const bv::Object value = reader.value(key);
  if (!reader.has(key)) return std::nullopt;
  if (const auto real = value.real(); real && std::isfinite(*real)) return real;
  const auto integer = value.integer();
  if (!integer) reader.fail(key, "must be a number");
  return static_cast<double>(*integer);
}

PlanPattern pattern(const bv::Object& value, const std::string& place) {
  const std::string* const text = value.ifText();
  if (text == nullptr || text->empty())
    throw DescriptionError{place, "must be a regular expression"};
  auto compiled = bv::host::Pattern::compile(*text);
  if (!compiled.ok())
    throw DescriptionError{place, "not a regular expression: " + compiled.error().reason()};
  return {*text, std::move(compiled).value()};
}

std::optional<PlanPattern> optionalPattern(DescriptionReader& reader, std::string_view key) {
  const bv::Object value = reader.value(key);
  return reader.has(key) ? std::optional(pattern(value, reader.placeOf(key))) : std::nullopt;
}

Expectation readExpectation(DescriptionReader& reader, const std::optional<PlanPattern>& accept) {
  Expectation expected;
  if (reader.has("equals")) {
    const std::string text = reader.text("equals");
    expected.equals.emplace(text.begin(), text.end());
    if (reader.has("equalsHex")) reader.fail("equalsHex", "equals says it already");
  } else if (reader.has("equalsHex")) {
    expected.equals = reader.hex("equalsHex");
  }
  expected.matches = optionalPattern(reader, "matches");
  if (!expected.matches && reader.has("values")) expected.matches = accept;
  for (const auto& [value, place] : reader.elements("values"))
    expected.values.push_back(readValue(value, place, expected.matches));
  return expected;
}

}  // namespace bvdiag
