// What a terminal makes of what a program writes to it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

namespace brisvane::testing {

// The columns of a text without sequences: a character beyond ASCII may take two.
inline std::size_t columnsOf(const std::string& text) {
  std::size_t columns = 0;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if ((byte & 0xC0U) != 0x80U) columns += byte < 0x80 ? 1 : 2;
  }
  return columns;
}

// The columns of the widest line that was overwritten, as those that show a progress are. A
// terminal that is narrower would go on to its next line, and leave a trail of them.
inline std::size_t progressWidth(const std::string& output) {
  std::size_t width = 0;
  std::size_t begin = 0;
  for (std::size_t at = 0; at < output.size(); ++at) {
    if (output[at] == '\n') begin = at + 1;
    if (output[at] != '\r') continue;
    if (at + 1 < output.size() && output[at + 1] != '\n')
      width = std::max(width, columnsOf(output.substr(begin, at - begin)));
    begin = at + 1;
  }
  return width;
}

}  // namespace brisvane::testing
