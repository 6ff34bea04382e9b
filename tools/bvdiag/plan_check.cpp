// What a step has received, compared with what it expects.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <system_error>

#include <brisvane/types/unicode.h>

#include "output.h"
#include "plan_steps.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

using Match = bv::host::Pattern::Match;

// A whole text as a number.
std::optional<double> numberFrom(std::string_view text, int base) {
  // from_chars takes a minus sign only.
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  const char* const end = text.data() + text.size();
  if (base == 10) {
    double number = 0;
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    const bool isNumber = error == std::errc() && rest == end && std::isfinite(number);
    return isNumber ? std::optional(number) : std::nullopt;
  }
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  std::uint64_t number = 0;
  const auto [rest, error] = std::from_chars(text.data(), end, number, base);
  const bool isNumber = error == std::errc() && rest == end && !text.empty();
  return isNumber ? std::optional(static_cast<double>(number)) : std::nullopt;
}

// The number that stands there as bytes; nullopt when there are too few.
std::optional<double> numberAt(const ByteField& field, bv::ByteView bytes) {
  constexpr unsigned kByte = 8;
  constexpr unsigned kWord = 64;
  if (field.at > bytes.size() || field.length > bytes.size() - field.at) return std::nullopt;
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < field.length; ++i) {
    const std::size_t at = field.at + (field.isLittle ? field.length - 1 - i : i);
    number = number << kByte | bytes[at];
  }
  if (!field.isSigned) return static_cast<double>(number);
  const auto unused = kWord - kByte * static_cast<unsigned>(field.length);
  return static_cast<double>(static_cast<std::int64_t>(number << unused) >> unused);
}

void measure(const ValueRule& rule, std::optional<double> number, MeasuredValue& value) {
  if (!number) {
    value.isGood = false;
    return;
  }
  // A product of binary fractions is hardly ever the decimal that a limit is: 57 * 0.01 is not
  // 0.57.
  value.text = numberText(*number * rule.scale);
  value.number = std::strtod(value.text.c_str(), nullptr);
  value.isGood = std::isfinite(*value.number) && rule.limits.contain(*value.number);
}

MeasuredValue take(const ValueRule& rule, std::string_view text, const Match& match,
                   bv::ByteView bytes) {
  MeasuredValue value{rule.name, {}, {}, rule.unit, rule.limits, rule.equals, true};
  if (const auto* const field = std::get_if<ByteField>(&rule.source)) {
    measure(rule, numberAt(*field, bytes), value);
    return value;
  }
  const auto& group = *std::get_if<PatternGroup>(&rule.source);
  const std::string_view found = match[group.number].of(text);
  value.text = found;
  if (rule.isNumber) {
    measure(rule, numberFrom(found, group.base), value);
  } else {
    value.isGood = !rule.equals || found == *rule.equals;
  }
  return value;
}

// Whether it is a text that a person can read: line ends and tabs are its only control characters.
bool isPrintable(std::string_view text) {
  return bv::isUtf8(text) && std::all_of(text.begin(), text.end(), [](char c) {
           const auto byte = static_cast<unsigned char>(c);
           return (byte >= ' ' && byte != 0x7F) || c == '\r' || c == '\n' || c == '\t';
         });
}

std::string faultOf(const ValueRule& rule, const MeasuredValue& value) {
  if (value.number && !std::isfinite(*value.number)) return rule.name + " is too large a number";
  if (value.number) return rule.name + " is " + valueText(value) + ", not " + limitsText(value);
  if (rule.isNumber && value.text.empty()) return rule.name + " is not in the reply";
  if (rule.isNumber) return rule.name + " is no number: \"" + value.text + "\"";
  return rule.name + " is \"" + value.text + "\", not \"" + rule.equals.value_or("") + "\"";
}

// Bytes as a quoted text, where they and those beside them are texts.
std::string shown(const bv::Data& bytes, const bv::Data& beside) {
  const std::string_view text = bv::asCharacters(bytes);
  const bool areTexts = isPrintable(text) && isPrintable(bv::asCharacters(beside));
  return areTexts ? '"' + escaped(text) + '"' : valueText(bv::Object(bytes));
}

// The match of the pattern; an empty one when there is none, which fails the attempt.
Match matchOf(const PlanPattern& pattern, std::string_view text, Attempt& attempt) {
  const auto found = pattern.compiled.firstMatch(text);
  if (found.ok() && found.value()) return *found.value();
  attempt.fail(found.ok() ? "what came does not match \"" + pattern.text + "\""
                          : "the search for \"" + pattern.text +
                                "\" was given up: " + found.error().reason());
  return {};
}

}  // namespace

void check(const Expectation& expected, Outcome& outcome) {
  Attempt& attempt = outcome.attempt;
  const std::string text = bv::toUtf8(bv::asCharacters(outcome.received));
  if (expected.equals && *expected.equals != outcome.received) {
    attempt.fail("what came is " + shown(outcome.received, *expected.equals) + ", not " +
                 shown(*expected.equals, outcome.received));
  }
  Match match;
  if (expected.matches) match = matchOf(*expected.matches, text, attempt);
  for (const ValueRule& rule : expected.values) {
    if (std::holds_alternative<PatternGroup>(rule.source) && match.empty()) continue;
    attempt.values.push_back(take(rule, text, match, outcome.received));
    if (!attempt.values.back().isGood) attempt.fail(faultOf(rule, attempt.values.back()));
  }
}

}  // namespace bvdiag
