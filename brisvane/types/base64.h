// Base64, as RFC 4648 has it.
// The functions keep no state and may be called from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"

namespace brisvane {

// The bytes in base64 (section 4: the alphabet that ends with + and /), padded, on one line.
[[nodiscard]] BRISVANE_EXPORT std::string base64Text(ByteView bytes);

// The bytes that a text spells in base64. Blanks, tabs, carriage returns and line feeds are
// skipped wherever they stand. nullopt for everything else that no encoder writes: another
// character, padding that is missing or out of place, and bits that are set in the last
// character and belong to no byte.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> parseBase64(std::string_view text);

}  // namespace brisvane
