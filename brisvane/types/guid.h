// Guid, sixteen bytes that name something uniquely, and their text.
// A value type; the functions keep no state and may be called from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"

namespace brisvane {

// The bytes in the order in which the text spells them (RFC 4122). Firmware keeps the
// first three groups the other way round; no such form occurs here.
using Guid = std::array<std::uint8_t, 16>;

inline constexpr std::size_t kGuidTextLength = 36;

// The canonical text: 32 digits in groups of 8, 4, 4, 4 and 12 between hyphens, letters
// upper-case.
[[nodiscard]] BRISVANE_EXPORT std::string guidText(const Guid& guid);

// The bytes of such a text, its letters of either case; nullopt for any other text.
[[nodiscard]] BRISVANE_EXPORT std::optional<Guid> parseGuid(std::string_view text) noexcept;

}  // namespace brisvane
