// The plans of bvdiag's run.
#include "plan.h"

#include "fuzz/support/fuzzing.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::fuzz {

void run(std::string_view input) {
  static const testing::TemporaryFolder folder;
  const std::string path = folder / "plan.json";
  testing::writeFile(path, std::string(input));
  const auto plan = bvdiag::loadPlan(path);
  if (!plan.ok()) {
    require(plan.error().what() == path, "an error names its file");
    return;
  }
  require(!plan.value().steps.empty(), "a plan has a step");
  for (const bvdiag::PlanStep& step : plan.value().steps)
    require(!step.name.empty() && !bvdiag::kindOf(step.action).empty(), "a step has a name");
}

}  // namespace brisvane::fuzz
