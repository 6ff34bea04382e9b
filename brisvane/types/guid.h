// Guid, sixteen bytes that name something uniquely, and their text.
// The functions keep no state and may be called from any thread. guidText() may throw
// std::bad_alloc.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane {

// The bytes in the order of the text (RFC 4122). Firmware keeps the bytes of the first three groups
// in reverse order; no such form occurs here.
using Guid = std::array<std::uint8_t, 16>;

inline constexpr std::size_t kGuidTextLength = 36;

// The canonical text: 32 upper-case digits in groups of 8, 4, 4, 4 and 12, with hyphens between
// them.
[[nodiscard]] BRISVANE_EXPORT std::string guidText(const Guid& guid);

// Parses such a text, with letters of either case. nullopt for any other text.
[[nodiscard]] BRISVANE_EXPORT std::optional<Guid> parseGuid(std::string_view text) noexcept;

}  // namespace brisvane
