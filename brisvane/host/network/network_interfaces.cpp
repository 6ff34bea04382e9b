#include "brisvane/host/network/network_interfaces.h"

#include <charconv>

namespace brisvane::host {

std::string dottedText(const Ipv4Address& address) {
  std::string text;
  for (const std::uint8_t byte : address) {
    if (!text.empty()) text += '.';
    text += std::to_string(byte);
  }
  return text;
}

std::optional<Ipv4Address> parseIpv4(std::string_view text) noexcept {
  Ipv4Address address{};
  const char* at = text.data();
  const char* const end = at + text.size();
  for (std::uint8_t& byte : address) {
    if (&byte != address.data() && (at == end || *at++ != '.')) return std::nullopt;
    const auto [stop, error] = std::from_chars(at, end, byte);
    if (error != std::errc() || (*at == '0' && stop - at > 1)) return std::nullopt;
    at = stop;
  }
  return at == end ? std::optional(address) : std::nullopt;
}

}  // namespace brisvane::host
