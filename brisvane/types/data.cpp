#include "brisvane/types/data.h"

#include "brisvane/types/hex.h"

namespace brisvane {

std::string describe(ByteView bytes) {
  constexpr std::size_t kGroup = 4;
  std::string text = std::to_string(bytes.size());
  text += bytes.size() == 1 ? " byte" : " bytes";
  text.reserve(text.size() + bytes.size() * 2 + bytes.size() / kGroup + 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 0) text += ": ";
    if (i != 0 && i % kGroup == 0) text += ' ';
    appendHex(text, bytes[i]);
  }
  return text;
}

}  // namespace brisvane
