// The steps of a plan that ask the machine: its profile and its firmware variables.
#include <brisvane/platform/BVNvram.h>
#include <brisvane/platform/BVSystemInfo.h>

#include "output.h"
#include "plan_steps.h"
#include "variable_name.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

// A value of the profile without quotation marks.
std::string profileText(const bv::Object& value) {
  if (value.isNull()) return "absent";
  const std::string* const text = value.ifText();
  return text != nullptr ? *text : jsonOf(value);
}

MeasuredValue compare(const ProfileRule& rule, const bv::Object& value) {
  MeasuredValue measured;
  measured.name = rule.key;
  measured.text = profileText(value);
  if (const auto* const expected = std::get_if<bv::Object>(&rule.expected)) {
    measured.expected = profileText(*expected);
    measured.isGood = value == *expected;
    return measured;
  }
  const auto& pattern = *std::get_if<PlanPattern>(&rule.expected);
  measured.expected = "matches " + pattern.text;
  const auto match = pattern.compiled.firstMatch(measured.text);
  measured.isGood = !value.isNull() && match.ok() && match.value().has_value();
  return measured;
}

// The variable in the view that the step asks for; nullopt when there is none.
std::optional<std::string> read(const VariableStep& step) {
  switch (step.view) {
    case VariableView::kText:
      return bv::BVNvram::stringFromVariable(step.name);
    case VariableView::kData: {
      const auto value = bv::BVNvram::dataFromVariable(step.name);
      const bv::Data* const bytes = value ? value->ifData() : nullptr;
      if (bytes == nullptr) return bv::BVNvram::stringFromVariable(step.name);
      return std::string(bv::asCharacters(*bytes));
    }
    case VariableView::kDictionary:
      break;
  }
  const auto dictionary = bv::BVNvram::dictionaryFromVariable(step.name);
  return dictionary ? std::optional(jsonOf(*dictionary)) : std::nullopt;
}

}  // namespace

Outcome perform(const ProfileStep& step) {
  Outcome outcome;
  const bv::Dictionary profile = bv::BVSystemInfo::shared().profile();
  for (const ProfileRule& rule : step.rules) {
    const auto found = profile.find(rule.key);
    MeasuredValue value = compare(rule, found != profile.end() ? found->second : bv::Object());
    if (!value.isGood) {
      const auto* const pattern = std::get_if<PlanPattern>(&rule.expected);
      outcome.attempt.fail(value.name + " is " + value.text +
                           (pattern != nullptr ? ", which does not match " + pattern->text
                                               : ", not " + value.expected.value_or("")));
    }
    outcome.attempt.values.push_back(std::move(value));
  }
  return outcome;
}

Outcome perform(const VariableStep& step) {
  Outcome outcome;
  if (const auto value = read(step)) {
    outcome.received.assign(value->begin(), value->end());
    check(step.expected, outcome);
  } else {
    outcome.attempt.fail(step.name +
                         ": cannot be read, or has no such view; see `bvdiag nvram get`");
  }
  return outcome;
}

Outcome perform(const SetVariableStep& step) {
  Outcome outcome;
  const auto status = bv::BVNvram::writeStringVariable(step.name, step.value);
  if (status != 0) outcome.attempt.fail(variableFailure(step.name, status));
  return outcome;
}

}  // namespace bvdiag
