// The run of a plan as the person at the terminal sees it, or as lines of JSON.
#pragma once

#include <cstddef>
#include <memory>

#include "output.h"
#include "plan_run.h"
#include "status_line.h"

namespace bvdiag {

// Shows the progress of each step, then its verdict with its values. In JSON each step is one line.
class RunDisplay final : public RunObserver {
 public:
  RunDisplay(const Plan& plan, Output& output)
      : output_(output), total_(plan.steps.size() + plan.always.size()) {}

  void begins(const PlanStep& step, std::size_t number, std::size_t repetition) override;
  void ends() override;
  void has(const StepResult& result, std::size_t number) override;

 private:
  Output& output_;
  std::size_t total_;
  std::unique_ptr<StatusLine> progress_;
};

// PASS or FAIL: in large letters on a terminal that has the columns, else as a word.
[[nodiscard]] std::string bannerOf(bool passed, const Output& output);

}  // namespace bvdiag
