// The network interfaces on Linux: getifaddrs(3), and the kernel's folder of each.
// Safe from any thread: everything is read afresh at each question.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "brisvane/host/network/network_interfaces.h"

namespace brisvane::host::real {

class LinkInterfaces final : public NetworkInterfaces {
 public:
  // `folder` holds one folder for each interface, with a file "uevent" in it.
  explicit LinkInterfaces(std::string folder) : folder_(std::move(folder)) {}

  // A hardware address is pairs of lower-case digits with colons between them; one of zeros
  // alone is none. A name that is not UTF-8 is none.
  std::optional<std::vector<NetworkInterface>> interfaces() const noexcept override;

  // The entries of getifaddrs. The label of an address, as in "eth0:1", is cut off its name.
  std::optional<std::vector<InterfaceAddress>> addresses() const noexcept override;

 private:
  [[nodiscard]] std::string typeOf(std::string_view name, unsigned hardware) const;

  const std::string folder_;
};

}  // namespace brisvane::host::real
