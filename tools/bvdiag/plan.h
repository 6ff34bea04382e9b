// Plan, a station's test as data: its steps, what each expects, and the file that describes it.
// docs/run.md has the form of the file. A Plan is a value; the functions keep no state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <brisvane/host/formats/pattern.h>
#include <brisvane/types/data.h>
#include <brisvane/types/object.h>
#include <brisvane/types/result.h>

#include "exchange.h"

namespace bvdiag {

// A regular expression, and how the plan spells it.
struct PlanPattern {
  std::string text;
  brisvane::host::Pattern compiled;
};

// Both limits belong to the range.
struct Limits {
  std::optional<double> low;
  std::optional<double> high;

  [[nodiscard]] bool contain(double number) const {
    return !(low && number < *low) && !(high && number > *high);
  }
  [[nodiscard]] bool any() const { return low || high; }
};

// A number that stands in a reply as bytes.
struct ByteField {
  std::size_t at = 0;  // from 0
  std::size_t length = 1;
  bool isLittle = false;
  bool isSigned = false;
};

// A group of the pattern, by its number.
struct PatternGroup {
  std::size_t number = 0;
  int base = 10;  // of a number: 10 or 16
};

// A value to take from a reply. One that is no number is a text.
struct ValueRule {
  std::string name;
  std::variant<PatternGroup, ByteField> source;
  bool isNumber = false;
  double scale = 1;
  std::string unit;
  Limits limits;
  std::optional<std::string> equals;
};

// What a step expects of what it is given: a reply, an output, a variable, an answer.
struct Expectation {
  std::optional<brisvane::Data> equals;
  std::optional<PlanPattern> matches;
  std::vector<ValueRule> values;
};

// --- The kinds of steps ---

struct SendStep {
  ExchangeOptions exchange;
  bool drain = true;
  Expectation expected;
};

struct RunStep {
  std::string program;
  std::vector<std::string> arguments;
  std::string folder;
  double timeout = 60;  // seconds
  int status = 0;
  Expectation expected;
};

struct LaunchStep {
  std::string path;
  std::vector<std::string> arguments;
  std::string identifier;
  std::int32_t timeout = 10;  // seconds
};

struct ProfileRule {
  std::string key;
  std::variant<brisvane::Object, PlanPattern> expected;
};

struct ProfileStep {
  std::vector<ProfileRule> rules;
};

enum class VariableView : std::uint8_t { kText, kData, kDictionary };

struct VariableStep {
  std::string name;  // the full one
  VariableView view = VariableView::kText;
  Expectation expected;
};

struct SetVariableStep {
  std::string name;  // the full one
  std::string value;
};

struct WaitStep {
  double seconds = 0;
};

enum class AnswerKind : std::uint8_t { kYesNo, kText, kSerial };

struct AskStep {
  std::string question;
  AnswerKind kind = AnswerKind::kYesNo;
  bool expectsYes = true;
  Expectation expected;  // of a text or a serial number
};

using StepAction = std::variant<SendStep, RunStep, LaunchStep, ProfileStep, VariableStep,
                                SetVariableStep, WaitStep, AskStep>;

// The member of a step that has its action, as in "send".
[[nodiscard]] std::string_view kindOf(const StepAction& action);

// --- Steps ---

enum class Verdict : std::uint8_t { kPassed, kFailed, kSkipped };

// "passed", "failed", "skipped".
[[nodiscard]] std::string_view nameOf(Verdict verdict);

// An earlier step, by its id, and the verdict that it must have.
struct Condition {
  std::string step;
  Verdict verdict = Verdict::kPassed;
};

struct Repetition {
  std::size_t times = 1;
  double interval = 0;         // seconds from one to the next
  bool isUntilPassed = false;  // it ends with the first that passes, and that one counts
};

struct PlanStep {
  std::string name;
  std::string id;  // empty for none
  StepAction action;
  Repetition repetition;
  std::optional<Condition> condition;
  bool stopsRun = true;  // when it fails, only the steps that are always done follow
};

struct PlanPort {
  std::optional<std::string> path;
  std::string serial;
  std::int32_t speed = 115200;
  double settle = 0;  // seconds after the opening, which may reset a fixture
};

struct Plan {
  std::string name;
  std::string description;
  std::string revision;
  PlanPort port;
  std::vector<PlanStep> steps;
  std::vector<PlanStep> always;  // done at the end, whatever happened before

  // Whether a step has an action of this kind.
  template <typename Step>
  [[nodiscard]] bool has() const {
    const auto isOne = [](const PlanStep& step) {
      return std::holds_alternative<Step>(step.action);
    };
    for (const auto* const part : {&steps, &always}) {
      for (const PlanStep& step : *part) {
        if (isOne(step)) return true;
      }
    }
    return false;
  }
};

// Reads a plan and checks all of it. The error has the line and the place of the first fault.
[[nodiscard]] brisvane::Result<Plan> loadPlan(const std::string& path);

}  // namespace bvdiag
