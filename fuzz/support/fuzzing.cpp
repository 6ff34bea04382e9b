#include "fuzz/support/fuzzing.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include "brisvane/host/platform.h"

namespace brisvane::fuzz {

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "It should hold that %s.\n", what);
  std::abort();
}

std::vector<std::string_view> partsOf(std::string_view input) {
  constexpr std::string_view kSeparator = "\n--\n";
  std::vector<std::string_view> parts;
  for (;;) {
    const std::size_t end = input.find(kSeparator);
    parts.push_back(input.substr(0, end));
    if (end == std::string_view::npos) return parts;
    input.remove_prefix(end + kSeparator.size());
  }
}

std::pair<std::string_view, std::string_view> firstLineAndRest(std::string_view part) {
  const std::size_t end = part.find('\n');
  if (end == std::string_view::npos) return {part, {}};
  return {part.substr(0, end), part.substr(end + 1)};
}

std::uint64_t Choices::below(std::uint64_t end) noexcept {
  std::uint64_t number = 0;
  for (std::uint64_t most = end - 1; most != 0 && any(); most >>= 8U) {
    number = number << 8U | static_cast<std::uint8_t>(rest_.front());
    rest_.remove_prefix(1);
  }
  return number % end;
}

std::uint64_t Choices::bits() noexcept {
  std::uint64_t number = 0;
  for (const char byte : bytes(sizeof number))
    number = number << 8U | static_cast<std::uint8_t>(byte);
  return number;
}

std::string_view Choices::bytes(std::size_t most) noexcept {
  const std::string_view taken = rest_.substr(0, most);
  rest_.remove_prefix(taken.size());
  return taken;
}

std::vector<ByteView> piecesOf(ByteView bytes, Choices& choices) {
  std::vector<ByteView> pieces;
  while (!bytes.empty()) {
    const std::size_t size =
        choices.any() ? std::min<std::size_t>(choices.below(256), bytes.size()) : bytes.size();
    pieces.push_back(bytes.first(size));
    bytes = bytes.subspan(size);
  }
  return pieces;
}

}  // namespace brisvane::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using brisvane::host::Platform;
  static const brisvane::host::ScopedPlatform nothing(std::make_shared<const Platform>());
  // A copy: libFuzzer's own buffer may be longer than the input.
  const std::string input(reinterpret_cast<const char*>(bytes), size);
  brisvane::fuzz::run(input);
  return 0;
}
