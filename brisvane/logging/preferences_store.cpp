#include "brisvane/logging/preferences_store.h"

#include <charconv>

#include "brisvane/host/platform.h"
#include "brisvane/types/never_destroyed.h"
#include "brisvane/types/out_of_memory.h"

namespace brisvane {

const PreferencesStore& PreferencesStore::standard() {
  static NeverDestroyed<PreferencesStore> store(Standard{});
  return *store;
}

PreferencesStore::PreferencesStore(Text suite) : suite_(suite.orEmpty()) {}

std::optional<std::string> PreferencesStore::text(Text key) const noexcept {
  if (!isStandard_ && suite_.empty()) return std::nullopt;
  return memoryPermitting(
      std::nullopt, [&] { return host::platform()->preferences().value(suite_, key.orEmpty()); });
}

std::int64_t PreferencesStore::integer(Text key) const noexcept {
  const auto stored = text(key);
  if (!stored) return 0;
  std::string_view digits = *stored;
  // from_chars takes a minus sign only.
  if (digits.starts_with('+') && !digits.starts_with("+-")) digits.remove_prefix(1);
  std::int64_t value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value);
  return error == std::errc() && stop == end ? value : 0;
}

const PreferencesStore& Diagnostics::diagDefaults() {
  static NeverDestroyed<PreferencesStore> suite("org.brisvane");
  return *suite;
}

}  // namespace brisvane
