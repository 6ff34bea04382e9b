#include "terminal_columns.h"

#include <sys/ioctl.h>

#include <brisvane/types/unicode.h>

namespace bvdiag {
namespace {

std::size_t columnsOf(const brisvane::CodePoint& character) {
  return character.value < 0x80 ? 1 : 2;
}

}  // namespace

std::size_t terminalColumns(int stream) {
  constexpr std::size_t kUsual = 80;
  winsize size{};
  const bool isKnown = ::ioctl(stream, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isKnown ? size.ws_col : kUsual;
}

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  while (!text.empty()) {
    const auto next = brisvane::firstCodePoint(text);
    columns += columnsOf(next);
    text.remove_prefix(next.length);
  }
  return columns;
}

std::string_view fitting(std::string_view text, std::size_t columns) {
  std::size_t length = 0;
  while (length < text.size()) {
    const auto next = brisvane::firstCodePoint(text.substr(length));
    if (columnsOf(next) > columns) break;
    columns -= columnsOf(next);
    length += next.length;
  }
  return text.substr(0, length);
}

}  // namespace bvdiag
