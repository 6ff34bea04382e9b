// The steps of a plan that talk to the fixture.
#include <cmath>

#include "plan_steps.h"
#include "port_choice.h"

namespace bvdiag {

Outcome perform(const SendStep& step, StepContext& context) {
  Outcome outcome;
  if (context.port == nullptr) {
    outcome.attempt.fail(context.portFailure);
    return outcome;
  }
  if (step.drain) discardInput(*context.port);
  Exchange done = exchange(step.exchange, *context.port);
  outcome.attempt.seconds = done.seconds;
  outcome.received = std::move(done.reply);
  if (!done.error.empty()) {
    outcome.attempt.fail(done.error);
  } else {
    check(step.expected, outcome);
  }
  return outcome;
}

}  // namespace bvdiag
