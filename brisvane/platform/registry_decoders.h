// What a registry property says, as a text or a number. Private to the library.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "brisvane/types/data.h"
#include "brisvane/types/object.h"

namespace brisvane {

// The text that a property holds; BVSystemInfo::stringFromHwRegEntry has the rules.
std::optional<std::string> decodeText(const std::optional<Object>& property);

// The first bytes of a byte buffer, as many as the number has, little-endian. nullopt for
// anything else and for a shorter buffer.
template <typename Number>
std::optional<Number> decodeNumber(const std::optional<Object>& property) noexcept {
  const Data* const bytes = property ? property->ifData() : nullptr;
  if (bytes == nullptr || bytes->size() < sizeof(Number)) return std::nullopt;
  std::uint64_t number = 0;
  for (std::size_t i = sizeof(Number); i-- > 0;) number = number << 8U | (*bytes)[i];
  return static_cast<Number>(number);
}

}  // namespace brisvane
