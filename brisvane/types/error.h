// Error, the reason of a failure and its text.
// A value type: any number of threads may read one. Making and copying one never throws. A function
// that gives a std::string may throw std::bad_alloc.
#pragma once

#include <cerrno>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane {

// The system's text for an errno value, such as "No such file or directory". It does not depend on
// the locale.
[[nodiscard]] BRISVANE_EXPORT std::string errorText(int number);

// The path as messages show it: "an empty path" when it is empty.
[[nodiscard]] inline std::string_view shownPath(std::string_view path) noexcept {
  return path.empty() ? "an empty path" : path;
}

// "what: reason", the form of every message about a failed call on a path or a device. An empty
// `what` is an empty path.
[[nodiscard]] BRISVANE_EXPORT std::string errorText(std::string_view what, int number);

// An errno value or a reason of its own, and what() it concerns. When memory runs out, an Error
// keeps its number and loses its texts.
class BRISVANE_EXPORT Error {
 public:
  // A failed call. `what` is usually a path; it may be empty. REQUIRES: `number` is an errno value,
  // not 0.
  explicit Error(int number, std::string_view what = {}) noexcept : Error(number, what, {}) {}

  // A failed call with a reason that says more than the system's text for `number`.
  Error(int number, std::string_view what, std::string_view reason) noexcept;

  // A failure without an errno value, as of a text that is no JSON. Its number is 0; ENOMEM when
  // memory for the reason runs out.
  [[nodiscard]] static Error because(std::string_view reason, std::string_view what = {}) noexcept;

  // An Error of the calling thread's errno. Call it directly after the call that failed.
  static Error last(std::string_view what = {}) noexcept { return Error(errno, what); }

  // A copy of this Error that concerns `what`.
  Error of(std::string_view what) const noexcept;

  // The errno value; 0 where there is none.
  [[nodiscard]] int number() const noexcept { return number_; }

  // What the failure concerns; empty when that was not given.
  [[nodiscard]] std::string_view what() const noexcept;

  // The reason alone: its own, else the system's text for the number.
  [[nodiscard]] std::string reason() const;

  // "what: reason"; the reason alone when what() is empty.
  [[nodiscard]] std::string text() const;
  // Prints the text.
  friend BRISVANE_EXPORT std::ostream& operator<<(std::ostream& stream, const Error& error);

 private:
  struct Words {
    std::string what;
    std::string reason;
  };

  int number_;
  std::shared_ptr<const Words> words_;
};

}  // namespace brisvane
