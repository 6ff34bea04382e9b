#include "brisvane/host/linux_platform.h"

#include <memory>

#include "brisvane/host/launching/application_launcher.h"
#include "brisvane/host/machine/administrator_file.h"
#include "brisvane/host/machine/efi_variables.h"
#include "brisvane/host/machine/machine_identity.h"
#include "brisvane/host/machine/os_release.h"
#include "brisvane/host/machine/registry_sources.h"
#include "brisvane/host/network/link_interfaces.h"
#include "brisvane/host/records/config_files.h"
#include "brisvane/host/records/journal_log.h"
#include "brisvane/host/terminal/device_directory.h"

namespace brisvane::host::real {

Platform makePlatform(const Roots& roots) {
  Platform platform;
  platform.setSystemLog(std::make_shared<JournalLog>(roots.journalSocket, roots.syslogSocket));
  platform.setPreferences(std::make_shared<ConfigFiles>());
  platform.setDeviceNodes(std::make_shared<DeviceDirectory>(roots.deviceDirectory));
  const AdministratorFile file(roots.administratorFile);
  const auto variables =
      std::make_shared<const EfiVariables>(roots.efiVariables, roots.anyFileSystem);
  platform.setRegistry(std::make_shared<NodeRegistry>(
      registryNodes(roots.smbios, roots.deviceTree, variables, file)));
  platform.setIdentityService(std::make_shared<MachineIdentity>(variables, roots.soc, file));
  platform.setSystemVersion(
      std::make_shared<OsRelease>(roots.osRelease, roots.vendorOsRelease, file));
  platform.setLaunchService(std::make_shared<ApplicationLauncher>());
  platform.setNetworkInterfaces(std::make_shared<LinkInterfaces>(roots.networkInterfaces));
  platform.setClock(std::make_shared<SystemClock>());
  return platform;
}

}  // namespace brisvane::host::real
