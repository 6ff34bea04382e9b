#include "brisvane/types/data.h"

#include <algorithm>
#include <ostream>

#include "brisvane/types/hex.h"

namespace brisvane {

std::string describe(ByteView bytes, std::size_t most) {
  constexpr std::size_t kGroup = 4;
  const std::size_t shown = std::min(bytes.size(), most);
  std::string text = std::to_string(bytes.size());
  text += bytes.size() == 1 ? " byte" : " bytes";
  text.reserve(text.size() + shown * 2 + shown / kGroup + 5);
  for (std::size_t i = 0; i < shown; ++i) {
    if (i == 0) text += ": ";
    if (i != 0 && i % kGroup == 0) text += ' ';
    appendHex(text, bytes[i]);
  }
  if (shown < bytes.size()) text += "...";
  return text;
}

std::ostream& operator<<(std::ostream& stream, const Data& data) {
  return stream << describe(data);
}

}  // namespace brisvane
