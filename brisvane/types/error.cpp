#include "brisvane/types/error.h"

#include <cstring>

#include "brisvane/types/join.h"

namespace brisvane::host {

std::string errorText(int number) {
  const char* const text = strerrordesc_np(number);
  return text != nullptr ? std::string(text) : "Unknown error " + std::to_string(number);
}

std::string errorText(std::string_view what, int number) { return join({shownPath(what), ": ", errorText(number)}); }

}  // namespace brisvane::host
