// The network interfaces as a service: what the network configuration knows of each, and
// the addresses that they have. Any number of threads may ask at the same time.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/types/export.h"

namespace brisvane::host {

// One interface, as the enumeration tells of it.
struct NetworkInterface {
  std::optional<std::string> name;
  std::string type;  // one of NetworkInterfaces' kinds, or any other text
  std::optional<std::string> hardwareAddress;

  bool operator==(const NetworkInterface&) const = default;
};

using Ipv4Address = std::array<std::uint8_t, 4>;  // in network order

// One entry of the address list.
struct InterfaceAddress {
  std::string name;  // of the interface, as the enumeration knows it
  bool isUp = false;
  bool isLoopback = false;
  std::optional<Ipv4Address> ipv4;  // nullopt for an address of another family, and for none

  bool operator==(const InterfaceAddress&) const = default;
};

// The two operations are independent: either may fail alone.
// An operation that is not overridden answers "nothing".
class BRISVANE_EXPORT NetworkInterfaces {
 public:
  // The kinds of interface that a diagnostic tool is told of.
  static constexpr std::string_view kEthernet = "Ethernet";
  static constexpr std::string_view kVlan = "VLAN";
  static constexpr std::string_view kWireless = "IEEE80211";

  NetworkInterfaces() = default;
  NetworkInterfaces(const NetworkInterfaces&) = delete;
  NetworkInterfaces& operator=(const NetworkInterfaces&) = delete;
  virtual ~NetworkInterfaces();

  // Every interface of the machine; nullopt when they cannot be enumerated.
  [[nodiscard]] virtual std::optional<std::vector<NetworkInterface>> interfaces() const noexcept;

  // The entries of every interface, in the kernel's order; nullopt when they cannot be had.
  [[nodiscard]] virtual std::optional<std::vector<InterfaceAddress>> addresses() const noexcept;
};

// "192.0.2.1".
[[nodiscard]] BRISVANE_EXPORT std::string dottedText(const Ipv4Address& address);

// The other way round: four numbers from 0 to 255 without leading zeros; nullopt for any
// other text.
[[nodiscard]] BRISVANE_EXPORT std::optional<Ipv4Address> parseIpv4(std::string_view text) noexcept;

}  // namespace brisvane::host
