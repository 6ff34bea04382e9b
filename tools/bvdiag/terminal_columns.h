// The columns of a terminal, and those that a text takes. The functions keep no state.
#pragma once

#include <cstddef>
#include <string_view>

namespace bvdiag {

// The columns of the terminal that the stream is, as they are now; 80 where they are unknown, as
// those of a pipe.
[[nodiscard]] std::size_t terminalColumns(int stream);

// The columns that a line may take there: not the last one, in which a terminal may go on to the
// next line.
[[nodiscard]] inline std::size_t lineColumns(int stream) { return terminalColumns(stream) - 1; }

// The columns of a text at most: some of the characters beyond ASCII take two.
[[nodiscard]] std::size_t columnsOf(std::string_view text);

// The beginning of the text that takes so many columns at most.
[[nodiscard]] std::string_view fitting(std::string_view text, std::size_t columns);

}  // namespace bvdiag
