#include "plan_run.h"

#include <chrono>
#include <utility>

#include <brisvane/all.h>
#include <brisvane/host/platform.h>

#include "interrupt.h"
#include "latencies.h"
#include "output.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using std::chrono::steady_clock;

double secondsSince(steady_clock::time_point start) {
  return std::chrono::duration<double>(steady_clock::now() - start).count();
}

void wait(double seconds) {
  if (seconds > 0) RunTime(seconds).waitUntil(steady_clock::time_point::max());
}

bool hasReply(const StepAction& action) {
  return std::holds_alternative<SendStep>(action) || std::holds_alternative<RunStep>(action) ||
         std::holds_alternative<VariableStep>(action) || std::holds_alternative<AskStep>(action);
}

std::string valuesText(const Attempt& attempt) {
  std::string text;
  for (const MeasuredValue& value : attempt.values) {
    text += "; " + escaped(value.name) + " = " + escaped(valueText(value));
    if (const std::string limits = limitsText(value); !limits.empty())
      text += ", limits " + escaped(limits);
  }
  return text;
}

// A repetition of several.
void log(const std::string& step, const Attempt& attempt, std::size_t number) {
  bv::BVLog::Default::info("step \"" + escaped(step) + "\", repetition " + std::to_string(number) +
                           (attempt.isGood ? " passed" : " failed: " + escaped(attempt.reason)) +
                           valuesText(attempt));
}

void log(const StepResult& result) {
  std::string line = "step \"" + escaped(result.name) + "\" " + std::string(nameOf(result.verdict));
  if (result.verdict != Verdict::kSkipped) line += " after " + latencyText(result.seconds);
  if (!result.reason.empty()) line += ": " + escaped(result.reason);
  if (result.attempts.size() == 1) line += valuesText(result.attempts.front());
  if (result.verdict == Verdict::kFailed) {
    bv::BVLog::Default::error(line);
  } else {
    bv::BVLog::Default::info(line);
  }
}

}  // namespace

PlanRun::PlanRun(const Plan& plan, const PortOptions& port,
                 std::unordered_map<std::string, std::string> answers, RunObserver& observer)
    : plan_(plan), portOptions_(port), observer_(observer), start_(steady_clock::now()) {
  context_.answers = std::move(answers);
}

RunResult PlanRun::run() {
  start_ = steady_clock::now();
  result_.name = plan_.name;
  result_.description = plan_.description;
  result_.revision = plan_.revision;
  result_.started = bv::host::platform()->clock().wall();
  result_.machine = bv::BVSystemInfo::shared().profile();
  bv::BVLog::Default::info("run of \"" + escaped(plan_.name) + "\" begins");
  if (plan_.has<SendStep>()) connect();
  for (const PlanStep& step : plan_.steps) runStep(step, false);
  result_.wasInterrupted = interrupted();
  {
    const FinishingWork finishing;
    for (const PlanStep& step : plan_.always) runStep(step, true);
  }
  result_.wasInterrupted |= interrupted();
  disconnect();
  result_.unit = context_.unit;
  result_.seconds = secondsSince(start_);
  bv::BVLog::Default::info("run of \"" + escaped(plan_.name) +
                           "\" ends: " + (result_.passed() ? "PASS" : "FAIL"));
  return std::move(result_);
}

void PlanRun::connect() {
  opened_ = openPort(portOptions_);
  context_.port = opened_.port.get();
  context_.portFailure = opened_.error;
  result_.port = opened_.path;
  result_.speed = portOptions_.speed;
  if (context_.port == nullptr) return bv::BVLog::Default::error(opened_.error);
  bv::BVLog::Default::info("opened " + opened_.path + " at " + std::to_string(portOptions_.speed));
  wait(plan_.port.settle);
}

void PlanRun::disconnect() {
  // Closing waits for the output, which an interrupt shall not; the destructor does not.
  if (opened_.port != nullptr && !interrupted()) opened_.port->closePort();
  opened_.port.reset();
}

std::string PlanRun::reasonToSkip(const PlanStep& step, bool isAlways) const {
  if (!isAlways && interrupted()) return "the run was interrupted";
  if (!isAlways && !stoppedBy_.empty()) return "the run stopped at \"" + stoppedBy_ + "\"";
  if (!step.condition) return {};
  const Verdict verdict = verdicts_.at(step.condition->step);
  if (verdict == step.condition->verdict) return {};
  return "step " + step.condition->step + (verdict == Verdict::kSkipped ? " was " : " has ") +
         std::string(nameOf(verdict));
}

void PlanRun::runStep(const PlanStep& step, bool isAlways) {
  StepResult result;
  result.name = step.name;
  result.id = step.id;
  result.kind = kindOf(step.action);
  result.action = actionText(step.action);
  result.isAlways = isAlways;
  result.hasReply = hasReply(step.action);
  result.start = secondsSince(start_);
  result.reason = reasonToSkip(step, isAlways);
  if (result.reason.empty()) {
    repeat(step, result);
    conclude(step, result);
    result.hasLostReply = std::holds_alternative<SendStep>(step.action) &&
                          result.verdict == Verdict::kFailed && result.received.empty();
  }
  result.seconds = secondsSince(start_) - result.start;
  if (!step.id.empty()) verdicts_[step.id] = result.verdict;
  if (result.verdict == Verdict::kFailed && step.stopsRun && !isAlways) stoppedBy_ = step.name;
  log(result);
  result_.steps.push_back(std::move(result));
  observer_.has(result_.steps.back(), result_.steps.size());
}

void PlanRun::repeat(const PlanStep& step, StepResult& result) {
  const Repetition& repetition = step.repetition;
  bool hasFailure = false;  // whose reply is to be kept
  for (std::size_t done = 0; done < repetition.times && !interrupted(); ++done) {
    if (done > 0) wait(repetition.interval);
    if (done > 0 && interrupted()) return;
    observer_.begins(step, result_.steps.size() + 1, done + 1);
    Outcome outcome = perform(step);
    observer_.ends();
    const bool isGood = outcome.attempt.isGood;
    if (!hasFailure || repetition.isUntilPassed) result.received = std::move(outcome.received);
    hasFailure |= !isGood;
    result.attempts.push_back(std::move(outcome.attempt));
    if (repetition.times > 1) log(step.name, result.attempts.back(), done + 1);
    if (repetition.isUntilPassed ? isGood : !isGood && step.stopsRun) return;
  }
}

Outcome PlanRun::perform(const PlanStep& step) {
  // What the library logs as errors from here on belongs to this step.
  bv::BVLog::initAggregatedError({});
  const auto start = steady_clock::now();
  const auto performed = [&](const auto& action) {
    using Action = std::decay_t<decltype(action)>;
    if constexpr (std::is_same_v<Action, SendStep>) {
      return bvdiag::perform(action, context_);
    } else if constexpr (std::is_same_v<Action, AskStep>) {
      return bvdiag::perform(action, step.id, context_);
    } else {
      return bvdiag::perform(action);
    }
  };
  Outcome outcome;
  try {
    outcome = std::visit(performed, step.action);
  } catch (
      const std::bad_alloc&) {  // The steps that are always done, and the report, still follow.
    outcome.attempt.fail("there is not enough memory");
  }
  if (outcome.attempt.seconds == 0) outcome.attempt.seconds = secondsSince(start);
  return outcome;
}

void PlanRun::conclude(const PlanStep& step, StepResult& result) {
  std::size_t failures = 0;
  const Attempt* last = nullptr;  // that has failed
  for (const Attempt& attempt : result.attempts) {
    if (attempt.isGood) continue;
    if (last == nullptr || step.repetition.isUntilPassed) last = &attempt;
    ++failures;
  }
  const bool isComplete =
      step.repetition.isUntilPassed || result.attempts.size() == step.repetition.times;
  const bool hasPassed = step.repetition.isUntilPassed
                             ? !result.attempts.empty() && result.attempts.back().isGood
                             : failures == 0 && isComplete;
  result.verdict = hasPassed ? Verdict::kPassed : Verdict::kFailed;
  if (hasPassed) return;
  result.reason = last != nullptr ? last->reason : "the run was interrupted";
  if (result.attempts.size() > 1 && failures > 0) {
    result.reason = std::to_string(failures) + " of " + std::to_string(result.attempts.size()) +
                    " repetitions failed: " + result.reason;
  }
}

}  // namespace bvdiag
