// The preferences store as a service: what a user or an administrator has set.
// Any number of threads may read at the same time.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane::host {

// An operation that is not overridden answers "nothing".
//
// REQUIRES of an implementation: it does not log through BVLog, whose default logger is built with what it answers. A
// debug build stops where it does; a release build runs out of stack.
class BRISVANE_EXPORT Preferences {
 public:
  Preferences() = default;
  Preferences(const Preferences&) = delete;
  Preferences& operator=(const Preferences&) = delete;
  virtual ~Preferences();

  // The text stored under `key`, read afresh at each call; nullopt when there is none.
  // `suite` names a store; the empty name is the process's standard store.
  virtual std::optional<std::string> value(std::string_view suite, std::string_view key) const noexcept;
};

}  // namespace brisvane::host
