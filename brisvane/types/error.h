// Error, what went wrong in a call to the system, and its wording.
// A value type; the functions may be called from any thread.
#pragma once

#include <string>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane::host {

// The system's words for an errno value, as in "No such file or directory". The
// wording does not depend on the locale.
[[nodiscard]] BRISVANE_EXPORT std::string errorText(int number);

// How messages name a path: an empty one is named as that.
[[nodiscard]] inline std::string_view shownPath(std::string_view path) noexcept {
  return path.empty() ? "an empty path" : path;
}

// "what: reason", the form of every message about a failed call on a path or a device. An empty
// `what` is an empty path.
[[nodiscard]] BRISVANE_EXPORT std::string errorText(std::string_view what, int number);

// The errno of a call that failed, or success.
class [[nodiscard]] Error {
 public:
  constexpr Error() noexcept = default;
  constexpr explicit Error(int number) noexcept : number_(number) {}

  // True when something failed.
  constexpr explicit operator bool() const noexcept { return number_ != 0; }
  [[nodiscard]] constexpr int number() const noexcept { return number_; }
  [[nodiscard]] std::string text() const { return errorText(number_); }

 private:
  int number_ = 0;
};

}  // namespace brisvane::host
