// Base64 (RFC 4648, section 4).
// The functions keep no state and may be called from any thread. They may throw std::bad_alloc.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"

namespace brisvane {

// The bytes in base64 with the alphabet that ends with + and /, padded, on one line.
[[nodiscard]] BRISVANE_EXPORT std::string base64Text(ByteView bytes);

// Decodes base64. Blanks, tabs, carriage returns and line feeds are skipped wherever they stand.
// nullopt for another character, for padding that is missing or misplaced, and for bits in the last
// character that belong to no byte.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> parseBase64(std::string_view text);

}  // namespace brisvane
