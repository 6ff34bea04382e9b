#include "brisvane/logging/log_state.h"

#include "brisvane/host/formats/characters.h"
#include "brisvane/types/never_destroyed.h"

namespace brisvane {
namespace {

constinit NeverDestroyed<LogState> state;

}  // namespace

ErrorText::ErrorText(std::string_view content, std::size_t limit) : text(content) {
  const std::string_view open = lastLine();
  lengthOfLines = host::characterCount(content.substr(0, content.size() - open.size()), limit);
  length = lengthOfLines + host::characterCount(open, limit);
}

std::string_view ErrorText::lastLine() const noexcept {
  return std::string_view(text).substr(text.rfind('\n') + 1);
}

LogState& logState() noexcept { return *state; }

}  // namespace brisvane
