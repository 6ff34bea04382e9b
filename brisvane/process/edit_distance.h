// The edit distance of two texts, many cells of its table at a time. Private to the library.
// The function keeps no state and may be called from any thread.
#pragma once

#include <cstdint>
#include <string_view>

namespace brisvane {

// The Levenshtein distance over UTF-16 code units. Takes memory in proportion to the second text
// alone. May throw std::bad_alloc.
[[nodiscard]] std::uint64_t editDistance(std::string_view first, std::string_view second);

}  // namespace brisvane
