// `bvdiag run`: a station's test, as a plan describes it.
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <brisvane/all.h>

#include "commands.h"
#include "confirmation.h"
#include "latencies.h"
#include "plan.h"
#include "plan_run.h"
#include "plan_steps.h"
#include "report_files.h"
#include "run_display.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

using Answers = std::unordered_map<std::string, std::string>;

struct RunOptions {
  std::string plan;
  bool checks = false;
  std::string reports = ".";
  bool hasReports = true;
  std::string name;
  std::optional<std::string> path;
  std::optional<std::string> serial;
  std::optional<std::int32_t> speed;
  std::vector<std::string> answers;
  bool yes = false;
};

// The name of the plan's file and the local time: "acceptance_2026-03-05_09-07-03".
std::string reportName(const RunOptions& options) {
  if (!options.name.empty()) return options.name;
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  ::localtime_r(&now, &parts);
  char time[32];
  const std::size_t length = std::strftime(time, sizeof time, "_%Y-%m-%d_%H-%M-%S", &parts);
  const std::string name =
      std::filesystem::path(options.plan).stem().string() + std::string(time, length);
  // Another run may have begun in the same second.
  std::string free = name;
  for (int number = 2; !ReportFiles(options.reports, free).existing().empty(); ++number)
    free = name + "_" + std::to_string(number);
  return free;
}

// What the command line says, else what the plan says.
PortOptions portOf(const RunOptions& options, const Plan& plan) {
  PortOptions port;
  port.path = options.path;
  if (!options.path && !options.serial) port.path = plan.port.path;
  port.serial = options.serial.value_or(plan.port.serial);
  port.speed = options.speed.value_or(plan.port.speed);
  return port;
}

// All steps of the plan whose action is of a kind.
template <typename Action, typename Take>
void forEach(const Plan& plan, Take take) {
  for (const auto* const part : {&plan.steps, &plan.always}) {
    for (const PlanStep& step : *part) {
      if (const auto* const action = std::get_if<Action>(&step.action)) take(step, *action);
    }
  }
}

// The answers by the ids of their steps; nullopt when one belongs to no step that asks, answers it
// twice or has not the form that it asks for, or when a question would find nobody. `output`
// reports which.
std::optional<Answers> answersFor(const RunOptions& options, const Plan& plan, Output& output) {
  std::unordered_map<std::string, const AskStep*> open;  // by id
  std::string unanswerable;
  forEach<AskStep>(plan, [&](const PlanStep& step, const AskStep& ask) {
    if (!step.id.empty()) open.emplace(step.id, &ask);
    if (step.id.empty()) unanswerable = step.name;
  });
  Answers answers;
  for (const std::string& answer : options.answers) {
    const std::size_t mark = answer.find('=');
    const std::string id = answer.substr(0, mark);
    if (mark == std::string::npos || !open.contains(id)) {
      output.complain("--answer " + answer +
                      ": must be ID=ANSWER, with the id of a step that asks");
      return std::nullopt;
    }
    const auto text = answerFrom(*open.at(id), answer.substr(mark + 1));
    if (!text.ok()) {
      output.complain("--answer " + answer + ": " + text.error().reason());
      return std::nullopt;
    }
    if (!answers.emplace(id, text.value()).second) {
      output.complain("--answer " + answer + ": the step has another answer already");
      return std::nullopt;
    }
  }
  if (::isatty(STDIN_FILENO) == 1) return answers;
  for (const auto& [id, step] : open) {
    if (!answers.contains(id)) unanswerable = id;
  }
  if (unanswerable.empty()) return answers;
  output.complain("there is no terminal to ask on: step \"" + unanswerable +
                  "\" asks; give --answer ID=ANSWER");
  return std::nullopt;
}

// Whether the firmware may be changed as the plan says.
bool mayChange(const RunOptions& options, const Plan& plan, const Session& session) {
  std::string names;
  forEach<SetVariableStep>(plan, [&](const PlanStep& /*step*/, const SetVariableStep& set) {
    names += (names.empty() ? "" : ", ") + set.name;
  });
  return names.empty() ||
         confirmed(session, "Write " + names + " to the firmware of this machine?", options.yes);
}

// Why a run has failed, in one line.
std::string reasonOf(const RunResult& result) {
  if (result.wasInterrupted) return "the run was interrupted";
  const std::size_t failed = result.count(Verdict::kFailed);
  if (failed == 0) return "no step has passed";
  return std::to_string(failed) + (failed == 1 ? " step has failed" : " steps have failed");
}

void printEnd(const RunResult& result, const ReportFiles& files, Output& output) {
  if (output.json()) {
    bv::Array paths;
    for (const std::string& path : files.written()) paths.emplace_back(path);
    bv::Dictionary end{{"verdict", result.passed() ? "PASS" : "FAIL"},
                       {"seconds", result.seconds},
                       {"files", std::move(paths)}};
    if (!result.passed()) end.emplace("error", reasonOf(result));
    return output.printResult(std::move(end));
  }
  output.print(bannerOf(result.passed(), output));
  output.print(std::to_string(result.count(Verdict::kPassed)) + " passed, " +
               std::to_string(result.count(Verdict::kFailed)) + " failed, " +
               std::to_string(result.count(Verdict::kSkipped)) + " skipped in " +
               latencyText(result.seconds) +
               (result.wasInterrupted ? "; the run was interrupted\n" : "\n"));
  for (const std::string& path : files.written()) output.print("  " + escaped(path) + "\n");
}

int check(const Plan& plan, const RunOptions& options, Output& output) {
  const std::size_t steps = plan.steps.size() + plan.always.size();
  if (output.json()) {
    output.printResult(
        bv::Dictionary{{"plan", options.plan}, {"name", plan.name}, {"steps", steps}});
  } else {
    output.print(escaped(options.plan) + ": \"" + escaped(plan.name) + "\", " +
                 std::to_string(steps) + (steps == 1 ? " step\n" : " steps\n"));
  }
  return kSuccess;
}

int execute(const RunOptions& options, const Plan& plan, Answers answers, Session& session) {
  Output& output = session.output();
  ReportFiles files(options.reports, reportName(options));
  if (options.hasReports && !files.begin(session)) return kWrongUsage;
  RunDisplay display(plan, output);
  RunResult result = PlanRun(plan, portOf(options, plan), std::move(answers), display).run();
  result.plan = options.plan;
  result.isSimulated = session.isSimulated();
  const bool isLogged = session.logIsComplete();
  const bool isWritten = !options.hasReports || files.write(result, output);
  printEnd(result, files, output);
  return result.passed() && isLogged && isWritten ? kSuccess : kFailure;
}

int run(const RunOptions& options, Session& session) {
  Output& output = session.output();
  const auto plan = loadPlan(options.plan);
  if (!plan.ok()) {
    output.complain(plan.error().number() == 0
                        ? plan.error().text()
                        : readingFailure(options.plan, plan.error().number()));
    return kWrongUsage;
  }
  if (options.checks) return check(plan.value(), options, output);
  auto answers = answersFor(options, plan.value(), output);
  if (!answers || !mayChange(options, plan.value(), session)) return kWrongUsage;
  return execute(options, plan.value(), std::move(*answers), session);
}

using RunCommand = Command<RunOptions>;

void addReportOptions(RunCommand& command) {
  command
      .option("--reports", &RunOptions::reports, "FOLDER",
              "Where the log and the reports are written; it is made when it is missing")
      .showsDefault();
  command
      .option("--name", &RunOptions::name, "NAME",
              "The name of these files, without an ending; default: that of the plan's file and "
              "the time")
      .check([](const std::string& name) {
        return name.empty() || name.find('/') != std::string::npos
                   ? "must be a file's name, without a folder"
                   : std::string();
      });
  command.flag("!--no-reports", &RunOptions::hasReports,
               "Writes neither the log nor reports, as to try a plan out");
}

void addPlanPortOptions(RunCommand& command) {
  const Option path =
      command.option("--port", &RunOptions::path, "PATH", "The device; default: that of the plan");
  command
      .option("--serial", &RunOptions::serial, "S",
              "The adapter whose serial number begins with S; default: that of the plan")
      .excludes(path);
  command.option("--speed", &RunOptions::speed, "N", "Bits per second; default: that of the plan")
      .between(1, std::numeric_limits<std::int32_t>::max());
}

}  // namespace

void addRun(AnyCommand& program) {
  auto command = program.command<RunOptions>(
      "run",
      "Runs the steps of a test plan, shows their verdicts, and writes a report: "
      "as JSON, as a property list, and as a page to keep or to print");
  command.argument("PLAN", &RunOptions::plan, "The plan, a JSON file").required();
  command.flag("--check", &RunOptions::checks, "Only checks the plan, and does nothing");
  addReportOptions(command);
  addPlanPortOptions(command);
  command
      .option("--answer", &RunOptions::answers, "ID=ANSWER",
              "Answers the question of the step with this id beforehand; may be repeated")
      .oneEach();
  command.flag("--yes", &RunOptions::yes,
               "Does not ask for confirmation ahead of changes to the firmware");
  command.example("bvdiag run acceptance.json --reports results");
  command.example("bvdiag run --check acceptance.json");
  command.footer(
      "Exit status: 0 PASS; 1 FAIL, or a report cannot be written; 2 wrong usage, a fault in the "
      "plan, or a run that may not begin; "
      "130 Ctrl-C.\n" +
      std::string(kGlobalOptionsHint));
  command.runs(run);
}

}  // namespace bvdiag
