// Result, the value of an operation or the Error of its failure.
// A value type: a Result belongs to one thread at a time.
#pragma once

#include <cassert>
#include <concepts>
#include <iosfwd>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

#include "brisvane/types/data.h"
#include "brisvane/types/error.h"
#include "brisvane/types/export.h"

namespace brisvane {

// The result of an operation that can fail. It does not convert to bool: call ok().
//
//     auto content = host::readFile(path, limit);
//     if (!content.ok()) return content.error();
//     use(content.value());
//
// There is no Result of int or bool, because `return errno;` would then be a value. Use a named
// type.
template <typename T = void>
class [[nodiscard]] Result {
  static_assert(!std::same_as<T, int> && !std::same_as<T, bool> && !std::same_as<T, Error>);

 public:
  // NOLINTBEGIN(google-explicit-constructor): an operation returns its value or an Error as it is.
  Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) noexcept : content_(std::in_place_index<1>, std::move(error)) {}
  // NOLINTEND(google-explicit-constructor)

  [[nodiscard]] bool ok() const noexcept { return content_.index() == 0; }

  // REQUIRES: ok().
  [[nodiscard]] const T& value() const& noexcept {
    assert(ok());
    return *std::get_if<0>(&content_);
  }
  [[nodiscard]] T& value() & noexcept {
    assert(ok());
    return *std::get_if<0>(&content_);
  }
  [[nodiscard]] T value() && {
    assert(ok());
    return std::move(*std::get_if<0>(&content_));
  }

  // REQUIRES: not ok().
  const Error& error() const noexcept {
    assert(!ok());
    return *std::get_if<1>(&content_);
  }

  // The value, or nullopt for a failure. The Error is lost.
  [[nodiscard]] std::optional<T> optional() && {
    return ok() ? std::optional<T>(std::move(*std::get_if<0>(&content_))) : std::nullopt;
  }
  [[nodiscard]] std::optional<T> optional() const& {
    return ok() ? std::optional<T>(*std::get_if<0>(&content_)) : std::nullopt;
  }

 private:
  std::variant<T, Error> content_;
};

// Success, or the Error of a failure. `return {};` returns success.
template <>
class [[nodiscard]] Result<void> {
 public:
  Result() noexcept = default;
  // NOLINTNEXTLINE(google-explicit-constructor): an operation returns its Error as it is.
  Result(Error error) noexcept : error_(std::move(error)) {}

  [[nodiscard]] bool ok() const noexcept { return !error_.has_value(); }

  // REQUIRES: not ok().
  const Error& error() const noexcept {
    assert(!ok());
    return *error_;
  }

 private:
  std::optional<Error> error_;
};

// Prints the words. It spares whoever includes this header <ostream>.
BRISVANE_EXPORT std::ostream& printWords(std::ostream& stream, std::string_view words);

// Prints "ok: " and the value, or "ok" when that does not print itself; or "failed: " and the text
// of the Error.
template <typename T>
std::ostream& operator<<(std::ostream& stream, const Result<T>& result) {
  if (!result.ok()) return printWords(stream, "failed: ") << result.error();
  if constexpr (requires { stream << result.value(); }) {
    return printWords(stream, "ok: ") << result.value();
  } else {
    return printWords(stream, "ok");
  }
}

}  // namespace brisvane
