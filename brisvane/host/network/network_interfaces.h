// NetworkInterfaces, the machine's network interfaces and their addresses as a service.
// Any number of threads may use one at the same time.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// One interface of the enumeration. A field that is unavailable is nullopt.
struct NetworkInterface {
  std::optional<std::string> name;
  std::string type;  // one of NetworkInterfaces' kinds, or any other text
  std::optional<std::string> hardwareAddress;

  bool operator==(const NetworkInterface&) const = default;
};

using Ipv4Address = std::array<std::uint8_t, 4>;  // in network order

// One entry of the address list.
struct InterfaceAddress {
  std::string name;  // of the interface, as in NetworkInterface
  bool isUp = false;
  bool isLoopback = false;
  std::optional<Ipv4Address> ipv4;  // nullopt for another address family, and without an address

  bool operator==(const InterfaceAddress&) const = default;
};

// The interfaces and the addresses, each of which may be unavailable while the other is not.
struct NetworkListing {
  Result<std::vector<NetworkInterface>> interfaces;
  Result<std::vector<InterfaceAddress>> addresses;
};

// Enumerating the interfaces and listing the addresses are independent: one may fail while the
// other succeeds. By default both fail.
//
// REQUIRES of an implementation: it throws nothing but std::bad_alloc.
class BRISVANE_EXPORT NetworkInterfaces {
 public:
  // The types of interface that the library reports. It leaves out interfaces of any other type.
  static constexpr std::string_view kEthernet = "Ethernet";
  static constexpr std::string_view kVlan = "VLAN";
  static constexpr std::string_view kWireless = "IEEE80211";

  NetworkInterfaces() = default;
  NetworkInterfaces(const NetworkInterfaces&) = delete;
  NetworkInterfaces& operator=(const NetworkInterfaces&) = delete;
  virtual ~NetworkInterfaces();

  // Every interface of the machine.
  [[nodiscard]] virtual Result<std::vector<NetworkInterface>> interfaces() const;

  // The addresses of every interface, in the kernel's order.
  [[nodiscard]] virtual Result<std::vector<InterfaceAddress>> addresses() const;

  // Both, of the interfaces in use only: those that are up, are no loopback and have an IPv4
  // address. An implementation may leave out any other interface and its addresses. By default
  // this is all that interfaces() and addresses() give.
  [[nodiscard]] virtual NetworkListing inUse() const;
};

// Whether an address makes its interface one in use.
[[nodiscard]] inline bool isInUse(const InterfaceAddress& address) noexcept {
  return address.isUp && !address.isLoopback && address.ipv4;
}

// The address as a text, such as "192.0.2.1".
[[nodiscard]] BRISVANE_EXPORT std::string dottedText(const Ipv4Address& address);

// The address that a text such as "192.0.2.1" spells: four numbers from 0 to 255 without leading
// zeros. nullopt for any other text.
[[nodiscard]] BRISVANE_EXPORT std::optional<Ipv4Address> parseIpv4(std::string_view text) noexcept;

}  // namespace brisvane::host
