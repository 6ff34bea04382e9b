#include "brisvane/platform/companion_chip.h"

#include <algorithm>
#include <array>

namespace brisvane {
namespace {

struct Entry {
  std::uint64_t hostBoard;
  std::uint8_t companionBoard;
};

// This project's own numbers: 21 host boards, some of which share one of the 16 companion
// boards. 0, which a host board without digits counts as, is none of them.
constexpr std::array<Entry, 21> kBoards{{
    {0x0115CF23E34786AD, 0x07}, {0x1534E543C9A12E88, 0x33}, {0x1E372DD4AA7589DF, 0x12},
    {0x2F0C05EAA5548F16, 0x19}, {0x39DDAA9E8F3208D2, 0x05}, {0x3BE3079F73B84A8E, 0x11},
    {0x57EF0E521DD7CF79, 0x29}, {0x7250E493A9F7E7A6, 0x0B}, {0x7D974ADA69DC475F, 0x29},
    {0x7F91E01C61930A58, 0x33}, {0x80E4F9D317BFD8A8, 0x03}, {0x88E61917813F0C88, 0x2D},
    {0x8F7DF69F3EE0A960, 0x05}, {0x9E63BA1C5D32B154, 0x1C}, {0xAB8D777C03381CE4, 0x20},
    {0xD359AB93500260D3, 0x3A}, {0xDD0037184023F1D4, 0x25}, {0xDFE4EE3775A9539E, 0x0E},
    {0xF1750E5ABDDAEEBB, 0x0E}, {0xFC8327963BD53993, 0x19}, {0xFFDF7298B7C31C1A, 0x16},
}};

}  // namespace

std::optional<std::uint8_t> companionChipBoard(std::uint64_t hostBoard) noexcept {
  const auto isHost = [hostBoard](const Entry& entry) { return entry.hostBoard == hostBoard; };
  const auto* const found = std::find_if(kBoards.begin(), kBoards.end(), isHost);
  return found != kBoards.end() ? std::optional(found->companionBoard) : std::nullopt;
}

}  // namespace brisvane
