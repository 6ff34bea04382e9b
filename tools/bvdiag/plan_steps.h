// The actions of a plan's steps: each does one, checks what it expects, and gives the outcome. All
// block until the action is done, its time limit has passed or a signal comes.
#pragma once

#include <string>
#include <unordered_map>

#include <brisvane/serial/BVSerialPort.h>
#include <brisvane/types/result.h>

#include "plan.h"
#include "run_result.h"

namespace bvdiag {

// What the steps of a run share.
struct StepContext {
  brisvane::BVSerialPort* port = nullptr;  // null when there is no connection
  std::string portFailure;                 // why
  // Answers that were given beforehand, by the id of the step that asks, each from answerFrom().
  std::unordered_map<std::string, std::string> answers;
  std::string unit;  // the serial number that the operator has given
};

[[nodiscard]] Outcome perform(const SendStep& step, StepContext& context);
[[nodiscard]] Outcome perform(const RunStep& step);
[[nodiscard]] Outcome perform(const LaunchStep& step);
[[nodiscard]] Outcome perform(const ProfileStep& step);
[[nodiscard]] Outcome perform(const VariableStep& step);
[[nodiscard]] Outcome perform(const SetVariableStep& step);
[[nodiscard]] Outcome perform(const WaitStep& step);
[[nodiscard]] Outcome perform(const AskStep& step, const std::string& id, StepContext& context);

// What an operator has entered or given beforehand, as an answer to a step's question: without the
// blanks around it. The error's reason says what is wrong with its form.
[[nodiscard]] brisvane::Result<std::string> answerFrom(const AskStep& step,
                                                       const std::string& text);

// What the action does, for people: the command that is sent, the program with its arguments.
[[nodiscard]] std::string actionText(const StepAction& action);

// Compares what was received with what is expected, and adds the values and the failures.
void check(const Expectation& expected, Outcome& outcome);

}  // namespace bvdiag
