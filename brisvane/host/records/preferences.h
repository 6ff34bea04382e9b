// Preferences, the settings of a user or an administrator as a service.
// Any number of threads may use one at the same time.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane::host {

// By default there are no preferences: value() gives nullopt.
//
// REQUIRES of an implementation:
//  - It throws nothing but std::bad_alloc.
//  - It does not log through BVLog, because BVLog's default logger is built from preferences. If it
//    does, a debug build aborts there and a release build runs out of stack.
class BRISVANE_EXPORT Preferences {
 public:
  Preferences() = default;
  Preferences(const Preferences&) = delete;
  Preferences& operator=(const Preferences&) = delete;
  virtual ~Preferences();

  // The text stored under `key` in the store `suite`. An empty `suite` is the process's standard
  // store. Each call reads the store again. nullopt when there is no such text.
  virtual std::optional<std::string> value(std::string_view suite, std::string_view key) const;
};

}  // namespace brisvane::host
