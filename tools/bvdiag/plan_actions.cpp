// What the actions of a plan's steps do, in words.
#include <brisvane/types/data.h>

#include "output.h"
#include "plan_steps.h"

namespace bvdiag {
namespace {

std::string withArguments(const std::string& program, const std::vector<std::string>& arguments) {
  std::string text = program;
  for (const std::string& argument : arguments) text += " " + argument;
  return text;
}

std::string textOf(const SendStep& step) {
  return (step.exchange.hex ? "sends the bytes " : "sends ") + step.exchange.command;
}
std::string textOf(const RunStep& step) {
  return "runs " + withArguments(step.program, step.arguments);
}
std::string textOf(const LaunchStep& step) {
  return "launches " + withArguments(step.path, step.arguments);
}
std::string textOf(const ProfileStep& /*step*/) { return "compares the machine's profile"; }
std::string textOf(const VariableStep& step) { return "reads the firmware variable " + step.name; }
std::string textOf(const SetVariableStep& step) {
  return "sets the firmware variable " + step.name + " to " + step.value;
}
std::string textOf(const WaitStep& step) { return "waits " + secondsText(step.seconds); }
std::string textOf(const AskStep& step) { return "asks: " + step.question; }

}  // namespace

std::string actionText(const StepAction& action) {
  return std::visit([](const auto& step) { return textOf(step); }, action);
}

}  // namespace bvdiag
