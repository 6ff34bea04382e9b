// PreferencesStore, a named store of settings, and the library's own one.
// A store is read-only. Any number of threads may read one at the same time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "brisvane/types/export.h"
#include "brisvane/types/text.h"

namespace brisvane {

// A store by its name. Each read asks the preferences of the platform in force again, so that it
// sees what is set at that moment.
class BRISVANE_EXPORT PreferencesStore {
  struct Standard {};

 public:
  // The process's standard store, named after the program.
  [[nodiscard]] static const PreferencesStore& standard();

  // The store of a suite. A store with an empty or absent name has no values.
  explicit PreferencesStore(Text suite);
  explicit PreferencesStore(Standard /*tag*/) : isStandard_(true) {}

  // The suite's name; empty for the standard store.
  [[nodiscard]] const std::string& suite() const noexcept { return suite_; }

  // The text under `key`. nullopt when there is none, and when memory runs out. Blocks while files
  // are read. REQUIRES: no other thread changes the environment, which says where the files are.
  [[nodiscard]] std::optional<std::string> text(Text key) const noexcept;

  // The text under `key` as a decimal integer, with or without a sign. 0 when it is missing, is no
  // number or does not fit into 64 bits. REQUIRES: as for text().
  [[nodiscard]] std::int64_t integer(Text key) const noexcept;

 private:
  bool isStandard_ = false;
  std::string suite_;
};

namespace Diagnostics {

// The library's own suite, the same object at each call. The library itself reads nothing from it.
// The first call may throw std::bad_alloc.
[[nodiscard]] BRISVANE_EXPORT const PreferencesStore& diagDefaults();

}  // namespace Diagnostics

}  // namespace brisvane
