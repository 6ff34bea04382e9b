// readJson, which reads a correct text quickly; and what reading and writing share.
// Private to its room. The functions keep no state and may be called from any thread. readJson may
// throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "brisvane/types/object.h"

namespace brisvane::host {

// As parseJson. nullopt for what is no JSON or nests too deep, and for no other text: it does not
// say where or why.
[[nodiscard]] std::optional<Object> readJson(std::string_view text);

// How much of the beginning stands in a JSON string as it is, without a look at what is not ASCII.
[[nodiscard]] std::size_t lengthOfPlain(std::string_view text) noexcept;

}  // namespace brisvane::host
