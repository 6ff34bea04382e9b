// The errno of a call that failed, or success: what Error and Result replace.
#pragma once

#include "brisvane/types/error.h"

namespace brisvane::host {

class [[nodiscard]] FormerError {
 public:
  constexpr FormerError() noexcept = default;
  constexpr explicit FormerError(int number) noexcept : number_(number) {}

  // True when something failed.
  constexpr explicit operator bool() const noexcept { return number_ != 0; }
  [[nodiscard]] constexpr int number() const noexcept { return number_; }
  [[nodiscard]] std::string text() const { return errorText(number_); }

 private:
  int number_ = 0;
};

}  // namespace brisvane::host
