#include "run_result.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <utility>

#include <brisvane/types/unicode.h>
#include <brisvane/version.h>

#include "latencies.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

void addText(bv::Dictionary& dictionary, const char* key, const std::string& text) {
  if (!text.empty()) dictionary.emplace(key, bv::toUtf8(text));
}

bv::Dictionary described(const MeasuredValue& value) {
  bv::Dictionary result{{"name", value.name}, {"ok", value.isGood}};
  addText(result, "text", value.text);
  addText(result, "unit", value.unit);
  if (value.number) result.emplace("number", *value.number);
  if (value.limits.low) result.emplace("low", *value.limits.low);
  if (value.limits.high) result.emplace("high", *value.limits.high);
  if (value.expected) result.emplace("expected", bv::toUtf8(*value.expected));
  return result;
}

bv::Dictionary described(const Attempt& attempt) {
  bv::Dictionary result{{"ok", attempt.isGood}, {"seconds", attempt.seconds}};
  addText(result, "reason", attempt.reason);
  if (attempt.values.empty()) return result;
  bv::Array values;
  for (const MeasuredValue& value : attempt.values) values.emplace_back(described(value));
  result.emplace("values", std::move(values));
  return result;
}

std::string withUnit(const std::string& text, const MeasuredValue& value) {
  return value.unit.empty() ? text : text + " " + value.unit;
}

// Without the values that are absent: a property list has no null.
bv::Dictionary withoutNulls(bv::Dictionary values) {
  std::erase_if(values, [](const auto& entry) { return entry.second.isNull(); });
  return values;
}

}  // namespace

void Attempt::fail(const std::string& why) {
  isGood = false;
  reason.append(reason.empty() ? "" : "; ").append(why);
}

bool RunResult::passed() const {
  return !wasInterrupted && count(Verdict::kFailed) == 0 && count(Verdict::kPassed) > 0;
}

std::size_t RunResult::count(Verdict verdict) const {
  return static_cast<std::size_t>(
      std::count_if(steps.begin(), steps.end(),
                    [verdict](const StepResult& step) { return step.verdict == verdict; }));
}

std::string numberText(double number) {
  std::array<char, 32> text{};
  const int length = std::snprintf(text.data(), text.size(), "%.15g", number);
  return {text.data(), static_cast<std::size_t>(length)};
}

std::string limitsText(const Limits& limits) {
  const auto& [low, high] = limits;
  if (low && high) return numberText(*low) + " to " + numberText(*high);
  if (low) return "at least " + numberText(*low);
  return high ? "at most " + numberText(*high) : std::string();
}

std::string limitsText(const MeasuredValue& value) {
  return value.limits.any() ? withUnit(limitsText(value.limits), value) : std::string();
}

std::string valueText(const MeasuredValue& value) {
  return value.text.empty() ? "none" : withUnit(value.text, value);
}

std::vector<ValueSeries> seriesOf(const StepResult& step) {
  std::vector<ValueSeries> all;
  for (std::size_t i = 0; i < step.attempts.size(); ++i) {
    for (const MeasuredValue& value : step.attempts[i].values) {
      auto series = std::find_if(all.begin(), all.end(), [&value](const ValueSeries& one) {
        return one.first.name == value.name;
      });
      if (series == all.end()) series = all.insert(all.end(), ValueSeries{value, {}, true});
      if (value.number) series->readings.push_back({i + 1, *value.number, value.isGood});
      // Of texts the wrong one is shown.
      if (series->isGood && !value.isGood) series->first = value;
      series->isGood &= value.isGood;
    }
  }
  return all;
}

std::string rangeText(const ValueSeries& series) {
  const auto [least, most] = std::minmax_element(
      series.readings.begin(), series.readings.end(),
      [](const Reading& one, const Reading& other) { return one.number < other.number; });
  const std::string text = numberText(least->number);
  return least->number < most->number ? text + " to " + numberText(most->number) : text;
}

std::string valueText(const ValueSeries& series) {
  return series.readings.empty() ? valueText(series.first)
                                 : withUnit(rangeText(series), series.first);
}

std::string isoTime(bv::Date moment) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(moment);
  std::tm parts{};
  ::gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return {text.data(), length};
}

bv::Dictionary described(const StepResult& step) {
  bv::Dictionary result{
      {"name", step.name},   {"kind", step.kind},       {"verdict", nameOf(step.verdict)},
      {"start", step.start}, {"seconds", step.seconds}, {"always", step.isAlways}};
  addText(result, "id", step.id);
  addText(result, "action", step.action);
  addText(result, "reason", step.reason);
  bv::Array attempts;
  Latencies latencies;
  for (const Attempt& attempt : step.attempts) {
    attempts.emplace_back(described(attempt));
    latencies.add(attempt.seconds);
  }
  result.emplace("attempts", std::move(attempts));
  if (step.attempts.size() > 1) {
    result.emplace("latencies", latencies.figures());
  }
  if (!step.hasReply || step.hasLostReply || step.attempts.empty()) return result;
  const std::string text(bv::asCharacters(step.received));
  const bool isText = bv::isUtf8(text);
  result.emplace(isText ? "received" : "receivedData",
                 isText ? bv::Object(text) : bv::Object(step.received));
  return result;
}

bv::Dictionary described(const RunResult& result) {
  bv::Array steps;
  for (const StepResult& step : result.steps) steps.emplace_back(described(step));
  bv::Dictionary description{{"verdict", result.passed() ? "PASS" : "FAIL"},
                             {"plan", bv::toUtf8(result.plan)},
                             {"name", result.name},
                             {"started", isoTime(result.started)},
                             {"seconds", result.seconds},
                             {"simulated", result.isSimulated},
                             {"interrupted", result.wasInterrupted},
                             {"brisvane", BrisvaneVersionNumber},
                             {"machine", withoutNulls(result.machine)},
                             {"steps", std::move(steps)}};
  addText(description, "description", result.description);
  addText(description, "revision", result.revision);
  addText(description, "unit", result.unit);
  addText(description, "port", result.port);
  if (!result.port.empty()) description.emplace("speed", result.speed);
  return description;
}

}  // namespace bvdiag
