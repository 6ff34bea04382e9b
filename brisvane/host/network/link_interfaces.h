// LinkInterfaces, the network interfaces on Linux: getifaddrs(3) and the kernel's folder of each.
// Safe from any thread: each call reads everything again.
#pragma once

#include <ifaddrs.h>

#include <string>
#include <string_view>
#include <utility>

#include "brisvane/host/network/network_interfaces.h"

namespace brisvane::host::real {

class LinkInterfaces final : public NetworkInterfaces {
 public:
  // `folder` has one folder for each interface, which has a file "uevent".
  explicit LinkInterfaces(std::string folder) : folder_(std::move(folder)) {}

  // A hardware address is pairs of lower-case hexadecimal digits, separated by colons. An address
  // of zeros alone is given as nullopt, and so is a name that is not UTF-8.
  Result<std::vector<NetworkInterface>> interfaces() const override;

  // The entries of getifaddrs(3). The label of an address is removed: "eth0:1" becomes "eth0".
  Result<std::vector<InterfaceAddress>> addresses() const override;

  // Both from one call of getifaddrs(3). Only the links in use are asked for their type.
  [[nodiscard]] NetworkListing inUse() const override;

 private:
  [[nodiscard]] std::string typeOf(std::string_view name, unsigned hardware) const;
  [[nodiscard]] NetworkInterface interfaceOf(const ifaddrs& link) const;

  const std::string folder_;
};

}  // namespace brisvane::host::real
