// readJson, which reads a correct text quickly. Private to its room.
// It keeps no state and may be called from any thread. It may throw std::bad_alloc.
#pragma once

#include <optional>
#include <string_view>

#include "brisvane/host/formats/json.h"
#include "brisvane/types/object.h"

namespace brisvane::host {

// As parseJson. nullopt for what is no JSON, nests too deep or has a key that is refused, and for
// no other text: it does not say where or why.
[[nodiscard]] std::optional<Object> readJson(std::string_view text, RepeatedKeys repeatedKeys);

}  // namespace brisvane::host
