// What the readers of a plan's parts share. All throw DescriptionError for what is wrong.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <brisvane/host/machine/description_reader.h>

#include "plan.h"

namespace bvdiag {

using brisvane::host::DescriptionError;
using brisvane::host::DescriptionReader;

// A text that must be there and not be empty.
[[nodiscard]] std::string requiredText(DescriptionReader& reader, std::string_view key);
// A text; the empty one when it is missing.
[[nodiscard]] std::string optionalText(DescriptionReader& reader, std::string_view key);
[[nodiscard]] std::vector<std::string> texts(DescriptionReader& reader, std::string_view key);
[[nodiscard]] std::optional<double> number(DescriptionReader& reader, std::string_view key);
[[nodiscard]] PlanPattern pattern(const brisvane::Object& value, const std::string& place);
[[nodiscard]] std::optional<PlanPattern> optionalPattern(DescriptionReader& reader,
                                                         std::string_view key);

// One of several words; the first one when the field is missing.
template <typename Value>
[[nodiscard]] Value choice(DescriptionReader& reader, std::string_view key,
                           std::initializer_list<std::pair<std::string_view, Value>> words) {
  if (!reader.has(key)) return words.begin()->second;
  const std::string given = reader.text(key);
  std::string list;
  for (const auto& [word, value] : words) {
    if (word == given) return value;
    list.append(list.empty() ? "" : ", ").append(word);
  }
  reader.fail(key, "must be one of: " + list);
}

// Reads "equals", "equalsHex", "matches" and "values". Groups are those of "matches" or, without
// one, those of `accept`.
[[nodiscard]] Expectation readExpectation(DescriptionReader& reader,
                                          const std::optional<PlanPattern>& accept = std::nullopt);

// The kinds of steps. Each gets the object that describes the action.
[[nodiscard]] SendStep readSend(DescriptionReader& reader);
[[nodiscard]] RunStep readRun(DescriptionReader& reader);
[[nodiscard]] LaunchStep readLaunch(DescriptionReader& reader);
[[nodiscard]] ProfileStep readProfile(DescriptionReader& reader);
[[nodiscard]] VariableStep readVariable(DescriptionReader& reader);
[[nodiscard]] SetVariableStep readSetVariable(DescriptionReader& reader);
[[nodiscard]] AskStep readAsk(DescriptionReader& reader);

}  // namespace bvdiag
