#include "plan.h"

#include <limits>
#include <unordered_set>

#include "plan_reader.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

constexpr std::size_t kMostTimes = 10'000;

template <typename Step>
StepAction readObject(const bv::Object& value, const std::string& place,
                      Step (*read)(DescriptionReader&)) {
  DescriptionReader reader(value, place);
  Step step = read(reader);
  reader.finish();
  return step;
}

// A wait is a number of seconds and no object.
StepAction readWait(DescriptionReader& step) { return WaitStep{step.seconds("wait", 0)}; }

template <typename Step, Step (*kRead)(DescriptionReader&), const char* kKey>
StepAction readKind(DescriptionReader& step) {
  return readObject(step.value(kKey), step.placeOf(kKey), kRead);
}

constexpr char kSend[] = "send";
constexpr char kRun[] = "run";
constexpr char kLaunch[] = "launch";
constexpr char kProfile[] = "profile";
constexpr char kVariable[] = "variable";
constexpr char kSetVariable[] = "setVariable";
constexpr char kAsk[] = "ask";

struct Kind {
  std::string_view key;
  StepAction (*read)(DescriptionReader& step);
};

// In the order of StepAction.
constexpr Kind kKinds[] = {
    {kSend, readKind<SendStep, readSend, kSend>},
    {kRun, readKind<RunStep, readRun, kRun>},
    {kLaunch, readKind<LaunchStep, readLaunch, kLaunch>},
    {kProfile, readKind<ProfileStep, readProfile, kProfile>},
    {kVariable, readKind<VariableStep, readVariable, kVariable>},
    {kSetVariable, readKind<SetVariableStep, readSetVariable, kSetVariable>},
    {"wait", readWait},
    {kAsk, readKind<AskStep, readAsk, kAsk>},
};
static_assert(std::size(kKinds) == std::variant_size_v<StepAction>);

StepAction readAction(DescriptionReader& reader, const std::string& place) {
  const Kind* found = nullptr;
  for (const Kind& kind : kKinds) {
    if (!reader.has(kind.key)) continue;
    if (found != nullptr) reader.fail(kind.key, "a step does one thing: another step for this one");
    found = &kind;
  }
  if (found == nullptr) {
    throw DescriptionError{place,
                           "must have one of: send, run, launch, profile, variable, setVariable, "
                           "wait, ask"};
  }
  return found->read(reader);
}

Repetition readRepetition(DescriptionReader reader) {
  Repetition repetition;
  repetition.times = reader.count("times", 1, 1, kMostTimes);
  repetition.interval = reader.seconds("interval", 0);
  repetition.isUntilPassed = choice<bool>(reader, "until", {{"done", false}, {"passed", true}});
  reader.finish();
  return repetition;
}

Condition readCondition(DescriptionReader reader, const std::unordered_set<std::string>& earlier) {
  Condition condition{requiredText(reader, "step"),
                      choice<Verdict>(reader, "is",
                                      {{"passed", Verdict::kPassed},
                                       {"failed", Verdict::kFailed},
                                       {"skipped", Verdict::kSkipped}})};
  if (!earlier.contains(condition.step)) reader.fail("step", "no earlier step has this id");
  reader.finish();
  return condition;
}

PlanStep readStep(const bv::Object& value, const std::string& place, bool stopsRun,
                  std::unordered_set<std::string>& ids) {
  DescriptionReader reader(value, place);
  PlanStep step;
  step.name = requiredText(reader, "name");
  step.action = readAction(reader, place);
  if (auto repeat = reader.object("repeat")) step.repetition = readRepetition(std::move(*repeat));
  if (auto when = reader.object("when")) step.condition = readCondition(std::move(*when), ids);
  step.stopsRun = choice<bool>(reader, "onFailure", {{"stop", true}, {"continue", false}});
  if (!reader.has("onFailure")) step.stopsRun = stopsRun;
  if (reader.has("id")) {
    step.id = requiredText(reader, "id");
    if (!ids.insert(step.id).second) reader.fail("id", "another step has this id");
  }
  reader.finish();
  return step;
}

PlanPort readPort(DescriptionReader reader) {
  PlanPort port;
  if (reader.has("path")) port.path = requiredText(reader, "path");
  if (reader.has("path") && reader.has("serial"))
    reader.fail("serial", "a port is chosen by its path or by a serial number, not by both");
  port.serial = optionalText(reader, "serial");
  port.speed = static_cast<std::int32_t>(
      reader.count("speed", static_cast<std::size_t>(port.speed), 1,
                   static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())));
  port.settle = reader.seconds("settle", 0);
  reader.finish();
  return port;
}

Plan readPlan(const bv::Object& value) {
  DescriptionReader reader(value, "");
  Plan plan;
  static_cast<void>(reader.value("$schema"));  // for editors
  plan.name = requiredText(reader, "name");
  plan.description = optionalText(reader, "description");
  plan.revision = optionalText(reader, "revision");
  if (auto port = reader.object("port")) plan.port = readPort(std::move(*port));
  const bool stops = choice<bool>(reader, "onFailure", {{"stop", true}, {"continue", false}});
  std::unordered_set<std::string> ids;
  for (const auto& [step, place] : reader.elements("steps"))
    plan.steps.push_back(readStep(step, place, stops, ids));
  if (plan.steps.empty()) reader.fail("steps", "must have a step");
  for (const auto& [step, place] : reader.elements("always"))
    plan.always.push_back(readStep(step, place, false, ids));
  reader.finish();
  return plan;
}

}  // namespace

std::string_view kindOf(const StepAction& action) { return kKinds[action.index()].key; }

std::string_view nameOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kPassed:
      return "passed";
    case Verdict::kFailed:
      return "failed";
    case Verdict::kSkipped:
      break;
  }
  return "skipped";
}

bv::Result<Plan> loadPlan(const std::string& path) {
  Plan plan;
  const auto read = bv::host::readDescriptionFile(
      path, [&plan](const bv::Object& value) { plan = readPlan(value); });
  if (!read.ok()) return read.error();
  return plan;
}

}  // namespace bvdiag
