// The errno value of a result, for tests that compare it.
#pragma once

#include "brisvane/types/result.h"

namespace brisvane::testing {

// 0 for success.
template <typename Value>
int errorNumber(const Result<Value>& result) {
  return result.ok() ? 0 : result.error().number();
}

}  // namespace brisvane::testing
