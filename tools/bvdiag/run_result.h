// RunResult, what a run of a plan has come to, and its form for files. Values; the functions keep
// no state.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <brisvane/types/data.h>
#include <brisvane/types/object.h>

#include "plan.h"

namespace bvdiag {

// A value that was taken from a reply, or compared.
struct MeasuredValue {
  std::string name;
  std::string text;              // without the unit; empty when there was none
  std::optional<double> number;  // of a value with a unit or limits
  std::string unit;
  Limits limits;
  std::optional<std::string> expected;  // how a text should be
  bool isGood = true;
};

// A number that one repetition of a step has given.
struct Reading {
  std::size_t repetition = 1;  // from 1
  double number = 0;
  bool isGood = true;
};

// A value over the repetitions of a step.
struct ValueSeries {
  MeasuredValue first;            // in the first repetition that has it
  std::vector<Reading> readings;  // of the repetitions in which it is a number
  bool isGood = true;             // in all of them
};

// One repetition of a step.
struct Attempt {
  bool isGood = true;
  std::string reason;  // why not
  double seconds = 0;  // that the action took
  std::vector<MeasuredValue> values;

  // Each further reason is added.
  void fail(const std::string& why);
};

// An attempt and what it has received.
struct Outcome {
  Attempt attempt;
  brisvane::Data received;
};

struct StepResult {
  std::string name;
  std::string id;
  std::string kind;    // as in "send"
  std::string action;  // what was done, for people
  bool isAlways = false;
  Verdict verdict = Verdict::kSkipped;
  std::string reason;  // why it has failed or was skipped
  double start = 0;    // seconds since the run's start
  double seconds = 0;
  std::vector<Attempt> attempts;
  brisvane::Data received;  // in the first failed attempt, else in the last
  bool hasReply = false;    // whether its kind receives anything
  // Whether its exchange has failed, which gives nothing of what came.
  bool hasLostReply = false;
};

struct RunResult {
  std::string plan;  // the path of its file
  std::string name;
  std::string description;
  std::string revision;
  brisvane::Date started;
  double seconds = 0;
  std::string unit;  // the serial number that the operator has given; empty for none
  std::string port;  // empty when no step needs one
  std::int32_t speed = 0;
  bool isSimulated = false;
  brisvane::Dictionary machine;  // its profile
  std::vector<StepResult> steps;
  bool wasInterrupted = false;

  // No step has failed, one has passed, and nothing has interrupted the run.
  [[nodiscard]] bool passed() const;
  [[nodiscard]] std::size_t count(Verdict verdict) const;
};

// A number as people write it, with at most ten digits.
[[nodiscard]] std::string numberText(double number);
// "4.75 to 5.25", "at least 3", "at most 1"; empty without limits.
[[nodiscard]] std::string limitsText(const Limits& limits);
// The same with the unit: "4.75 to 5.25 V".
[[nodiscard]] std::string limitsText(const MeasuredValue& value);
// The value with its unit; "none" when there was none.
[[nodiscard]] std::string valueText(const MeasuredValue& value);
// The values of a step's repetitions, each over all of them.
[[nodiscard]] std::vector<ValueSeries> seriesOf(const StepResult& step);
// The number of a series, or its least and its greatest, without the unit: "5.01 to 5.03".
// REQUIRES: it has readings.
[[nodiscard]] std::string rangeText(const ValueSeries& series);
// The same with the unit; the value of a series that has no numbers.
[[nodiscard]] std::string valueText(const ValueSeries& series);
// A moment in UTC, as in "2026-03-05T09:07:03Z".
[[nodiscard]] std::string isoTime(brisvane::Date moment);

// A step, and the whole result, for JSON and property lists. No value is null. What was received
// is a text where it is UTF-8, else bytes.
[[nodiscard]] brisvane::Dictionary described(const StepResult& step);
[[nodiscard]] brisvane::Dictionary described(const RunResult& result);

}  // namespace bvdiag
