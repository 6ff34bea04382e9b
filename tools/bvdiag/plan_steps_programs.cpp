// The steps of a plan that start programs and applications.
#include <chrono>
#include <csignal>
#include <cstddef>

#include <brisvane/host/launching/command.h>
#include <brisvane/process/BVProcess.h>

#include "interrupt.h"
#include "launching.h"
#include "output.h"
#include "plan_steps.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using Child = bv::host::Command;
using std::chrono::milliseconds;

constexpr milliseconds kStep{20};

// Whether the program has ended. A child that it has left behind may hold the output for as long as
// it likes: what is there is taken.
bool hasEnded(Child& command) {
  if (!command.hasEnded()) return false;
  std::size_t size = 0;
  do {
    size = command.output().size();
    if (command.collect(milliseconds(0))) return true;
  } while (command.output().size() > size);
  return true;
}

// Collects until the program's end, for so long at most, and for as long as no signal comes.
// Whether the end has come.
bool collect(Child& command, double seconds) {
  const RunTime time(seconds);
  while (!command.collect(kStep) && !hasEnded(command)) {
    if (time.isOver()) return false;
  }
  return true;
}

// The most that a program may write.
constexpr std::size_t kMiB = std::size_t{1} << 20U;
constexpr std::size_t kMostOutput = 16 * kMiB;

// Ends a program that takes too long.
void end(Child& command) {
  constexpr int kGrace = 100;  // steps
  for (const int signal : {SIGTERM, SIGKILL}) {
    command.send(signal);
    for (int i = 0; i < kGrace; ++i) {
      if (command.collect(kStep) || hasEnded(command)) return;
    }
  }
}

void judge(const RunStep& step, const Child& command, bool isOver, Outcome& outcome) {
  const std::string& name = step.program;
  if (command.hasExceededLimit()) {
    outcome.attempt.fail(name + ": has written more than " + std::to_string(kMostOutput / kMiB) +
                         " MiB");
  } else if (!isOver) {
    outcome.attempt.fail(name + (interrupted()
                                     ? ": interrupted"
                                     : ": has not ended within " + secondsText(step.timeout)));
  } else if (command.endingSignal() != 0) {
    outcome.attempt.fail(name + ": ended by signal " + std::to_string(command.endingSignal()));
  } else if (command.status() != step.status) {
    outcome.attempt.fail(name + ": exit status " + std::to_string(command.status().value_or(-1)) +
                         ", not " + std::to_string(step.status));
  }
  if (isOver && !command.hasExceededLimit()) check(step.expected, outcome);
}

}  // namespace

Outcome perform(const RunStep& step) {
  Outcome outcome;
  const bool isName = step.program.find('/') == std::string::npos;
  const auto path = isName ? bv::host::findProgram(step.program) : step.program;
  if (!path) {
    outcome.attempt.fail(step.program + ": there is no such program in PATH");
    return outcome;
  }
  const auto started = Child::start(*path, step.arguments, step.folder, kMostOutput);
  if (!started.ok()) {
    outcome.attempt.fail(started.error().text());
    return outcome;
  }
  Child& command = *started.value();
  const bool isOver = collect(command, step.timeout);
  if (!isOver) end(command);
  outcome.received = command.output();
  judge(step, command, isOver, outcome);
  return outcome;
}

Outcome perform(const LaunchStep& step) {
  using bv::BVProcess;
  Outcome outcome;
  const std::string identifier =
      step.identifier.empty() ? applicationIdentifier(step.path) : step.identifier;
  const std::int64_t result =
      BVProcess::runApp(step.path, step.arguments, identifier, step.timeout);
  if (result != BVProcess::kRunAppUp) outcome.attempt.fail(launchFailure(step.path, result));
  return outcome;
}

}  // namespace bvdiag
