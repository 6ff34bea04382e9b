// The network interfaces of a simulated machine.
// Private to the simulated machine. Safe from any thread: they do not change.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "brisvane/host/machine/description_reader.h"
#include "brisvane/host/network/network_interfaces.h"

namespace brisvane::host::simulated {

class DescribedInterfaces final : public NetworkInterfaces {
 public:
  // Takes the fields "interfaces" and "interfaceFailure" out of a machine's description.
  // Throws DescriptionError.
  explicit DescribedInterfaces(DescriptionReader& machine);

  Result<std::vector<NetworkInterface>> interfaces() const override;
  // As a Linux kernel lists them: one entry without an address for each interface, and then
  // the addresses of one after the other.
  Result<std::vector<InterfaceAddress>> addresses() const override;

 private:
  std::vector<NetworkInterface> interfaces_;
  std::vector<InterfaceAddress> addresses_;
  std::string failure_;  // the operation that fails; empty for none
};

}  // namespace brisvane::host::simulated
