// What the library's operations tell the default logger of failures, for those that tell it nobody
// else.
#pragma once

#include <string>

#include <brisvane/logging/BVLog.h>

namespace bvdiag {

// Runs the operation, and gives the errors that are collected meanwhile, with no line feed at the end;
// empty for none. What had been collected before stays.
template <typename Operation>
[[nodiscard]] std::string errorsOf(const Operation& operation) {
  using brisvane::BVLog;
  const std::string before = BVLog::aggregatedErrorDescription();
  BVLog::initAggregatedError("");
  operation();
  const std::string errors = BVLog::aggregatedErrorDescription();
  BVLog::initAggregatedError(before + errors);
  return errors.substr(0, errors.empty() ? 0 : errors.size() - 1);
}

}  // namespace bvdiag
