// PreferencesStore, a named store of settings, and the library's own one.
// A store is read-only here; any number of threads may read one at the same time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "brisvane/types/export.h"
#include "brisvane/types/text.h"

namespace brisvane {

// Holds the store's name only: each read asks the preferences of the platform in
// force at that moment, and sees what is set then.
class BRISVANE_EXPORT PreferencesStore {
  struct Standard {};

 public:
  // The process's standard store, named after the program.
  [[nodiscard]] static const PreferencesStore& standard();

  // The store of a suite. One without a name holds nothing.
  explicit PreferencesStore(Text suite);
  explicit PreferencesStore(Standard /*tag*/) : isStandard_(true) {}

  // The suite's name; empty for the standard store.
  [[nodiscard]] const std::string& suite() const noexcept { return suite_; }

  // The text under `key`; nullopt when there is none. May read files, and the environment
  // for where they are: REQUIRES that no other thread sets a variable meanwhile.
  [[nodiscard]] std::optional<std::string> text(Text key) const noexcept;

  // The text under `key` read as a decimal integer, a sign allowed; 0 when it is
  // missing, no number, or beyond 64 bits.
  [[nodiscard]] std::int64_t integer(Text key) const noexcept;

 private:
  bool isStandard_ = false;
  std::string suite_;
};

namespace Diagnostics {

// The library's own preferences suite, the same object at every call. The library
// itself reads nothing from it. The first call may throw std::bad_alloc.
[[nodiscard]] BRISVANE_EXPORT const PreferencesStore& diagDefaults();

}  // namespace Diagnostics

}  // namespace brisvane
