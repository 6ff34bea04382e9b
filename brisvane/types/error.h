// Error, what went wrong, and its wording.
// A value type: any number of threads may read one. Copying and building one never throws.
#pragma once

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane {

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

// An errno value with what it concerns, or a reason of its own where there is no errno.
// Building one never throws. Without memory its words are lost and its number stays.
class BRISVANE_EXPORT Error {
 public:
  // A failed call. REQUIRES: `number` is an errno value, not 0. `what` is a path, as a rule; it may be empty.
  explicit Error(int number, std::string_view what = {}) noexcept : Error(number, what, {}) {}

  // A failed call that has more to say than the system's words for `number`.
  Error(int number, std::string_view what, std::string_view reason) noexcept;

  // A failure without an errno value, as of a text that is no JSON. Its number is 0; ENOMEM when
  // memory for the reason runs out.
  [[nodiscard]] static Error because(std::string_view reason, std::string_view what = {}) noexcept;

  // errno, as a failed call has left it.
  static Error last(std::string_view what = {}) noexcept { return Error(errno, what); }

  // The same failure, of `what`.
  Error of(std::string_view what) const noexcept;

  // The errno value; 0 where there is none.
  [[nodiscard]] int number() const noexcept { return number_; }

  // What the failure concerns; empty when nothing was said.
  [[nodiscard]] std::string_view what() const noexcept;

  // The reason alone: its own, else the system's words for the number.
  [[nodiscard]] std::string reason() const;

  // "what: reason"; the reason alone when nothing was said of what it concerns.
  [[nodiscard]] std::string text() const;

 private:
  struct Words {
    std::string what;
    std::string reason;
  };

  int number_;
  std::shared_ptr<const Words> words_;
};

}  // namespace brisvane
