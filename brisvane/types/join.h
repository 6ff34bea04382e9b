// join, the one way in which the library makes a text of several pieces.
// Private to the library.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace brisvane {

inline std::string join(std::initializer_list<std::string_view> pieces) {
  std::size_t length = 0;
  for (const std::string_view piece : pieces) length += piece.size();
  std::string text;
  text.reserve(length);
  for (const std::string_view piece : pieces) text += piece;
  return text;
}

}  // namespace brisvane
