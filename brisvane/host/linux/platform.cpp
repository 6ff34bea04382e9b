#include "brisvane/host/linux/platform.h"

#include <memory>

#include "brisvane/host/linux/device_nodes.h"
#include "brisvane/host/linux/preferences.h"
#include "brisvane/host/linux/system_log.h"

namespace brisvane::host::real {

Platform makePlatform(const Roots& roots) {
  Platform platform;
  platform.setSystemLog(std::make_shared<JournalLog>(roots.journalSocket));
  platform.setPreferences(std::make_shared<ConfigFiles>());
  platform.setDeviceNodes(std::make_shared<DeviceDirectory>(roots.deviceDirectory));
  platform.setClock(std::make_shared<SystemClock>());
  return platform;
}

}  // namespace brisvane::host::real
