// The run of a plan: which steps are done in which order and how often, over one connection.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>

#include "plan.h"
#include "plan_steps.h"
#include "port_choice.h"
#include "run_result.h"

namespace bvdiag {

// Who looks on.
class RunObserver {
 public:
  RunObserver() = default;
  RunObserver(const RunObserver&) = delete;
  RunObserver& operator=(const RunObserver&) = delete;
  virtual ~RunObserver() = default;

  // A repetition of a step begins. `number` counts the steps from 1, `repetition` from 1.
  virtual void begins(const PlanStep& step, std::size_t number, std::size_t repetition) = 0;
  // It has ended.
  virtual void ends() = 0;
  // A step is done, or skipped.
  virtual void has(const StepResult& result, std::size_t number) = 0;
};

// Runs a plan once, and logs each step. A PlanRun belongs to one thread.
class PlanRun {
 public:
  // `answers` are those of steps that ask, by their ids. REQUIRES that the plan and the observer
  // outlive the run.
  PlanRun(const Plan& plan, const PortOptions& port,
          std::unordered_map<std::string, std::string> answers, RunObserver& observer);

  // A signal ends the steps, but not those that are always done.
  [[nodiscard]] RunResult run();

 private:
  void connect();
  void disconnect();
  void runStep(const PlanStep& step, bool isAlways);
  // Why the step is not to be done; empty when it is.
  [[nodiscard]] std::string reasonToSkip(const PlanStep& step, bool isAlways) const;
  void repeat(const PlanStep& step, StepResult& result);
  Outcome perform(const PlanStep& step);
  void conclude(const PlanStep& step, StepResult& result);

  const Plan& plan_;
  PortOptions portOptions_;
  RunObserver& observer_;
  StepContext context_;
  OpenedPort opened_;
  RunResult result_;
  std::unordered_map<std::string, Verdict> verdicts_;  // by the steps' ids
  std::string stoppedBy_;                              // the name of the step; empty for none
  std::chrono::steady_clock::time_point start_;
};

}  // namespace bvdiag
