// The registry of a Linux machine: SMBIOS, the device tree, the firmware's variables and
// the administrator's file. The function may be called from any thread.
#pragma once

#include <memory>
#include <string>

#include "brisvane/host/machine/administrator_file.h"
#include "brisvane/host/machine/efi_variables.h"
#include "brisvane/host/machine/node_registry.h"

namespace brisvane::host::real {

// docs/linux.md lists the source of each property. `smbios` and `deviceTree` are the folders in
// which the kernel shows them; either may be missing.
NodeRegistry::Nodes registryNodes(const std::string& smbios, const std::string& deviceTree,
                                  std::shared_ptr<const EfiVariables> variables,
                                  const AdministratorFile& file);

}  // namespace brisvane::host::real
