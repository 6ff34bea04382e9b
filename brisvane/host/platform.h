// Platform, the services through which the library uses a machine, and the choice of the platform
// in force.
// platform() and ScopedPlatform may be used from any thread. A Platform belongs to one thread while
// it is filled. After that, any number of threads may share it as const.
//
//   auto platform = std::make_shared<host::Platform>();
//   platform->setPreferences(std::make_shared<MyPreferences>());
//   host::ScopedPlatform installed(platform);
#pragma once

#include <memory>

#include "brisvane/host/clock.h"
#include "brisvane/host/launching/launch_service.h"
#include "brisvane/host/machine/identity_service.h"
#include "brisvane/host/machine/registry.h"
#include "brisvane/host/machine/system_version.h"
#include "brisvane/host/network/network_interfaces.h"
#include "brisvane/host/records/preferences.h"
#include "brisvane/host/records/system_log.h"
#include "brisvane/host/terminal/device_nodes.h"
#include "brisvane/types/export.h"

namespace brisvane::host {

// A copyable set of services. Each setter replaces one service; null removes it.
// A platform without a service uses the default operations of that interface:
//  - system log: records no entry;
//  - preferences, registry, identity service, system version: have no values;
//  - device nodes, network interfaces: listing fails, and a device's path is used unchanged;
//  - launch service: a launch fails;
//  - clock: the machine's clock.
class BRISVANE_EXPORT Platform {
 public:
  Platform() noexcept;

  void setSystemLog(std::shared_ptr<const SystemLog> systemLog) noexcept;
  void setPreferences(std::shared_ptr<const Preferences> preferences) noexcept;
  void setDeviceNodes(std::shared_ptr<const DeviceNodes> deviceNodes) noexcept;
  void setRegistry(std::shared_ptr<const Registry> registry) noexcept;
  void setIdentityService(std::shared_ptr<const IdentityService> identityService) noexcept;
  void setSystemVersion(std::shared_ptr<const SystemVersion> systemVersion) noexcept;
  void setLaunchService(std::shared_ptr<const LaunchService> launchService) noexcept;
  void setNetworkInterfaces(std::shared_ptr<const NetworkInterfaces> networkInterfaces) noexcept;
  void setClock(std::shared_ptr<const Clock> clock) noexcept;

  [[nodiscard]] const SystemLog& systemLog() const noexcept { return *systemLog_; }
  [[nodiscard]] const Preferences& preferences() const noexcept { return *preferences_; }
  [[nodiscard]] const DeviceNodes& deviceNodes() const noexcept { return *deviceNodes_; }
  [[nodiscard]] const Registry& registry() const noexcept { return *registry_; }
  [[nodiscard]] const IdentityService& identityService() const noexcept {
    return *identityService_;
  }
  [[nodiscard]] const SystemVersion& systemVersion() const noexcept { return *systemVersion_; }
  [[nodiscard]] const LaunchService& launchService() const noexcept { return *launchService_; }
  [[nodiscard]] const NetworkInterfaces& networkInterfaces() const noexcept {
    return *networkInterfaces_;
  }
  [[nodiscard]] const Clock& clock() const noexcept { return *clock_; }

 private:
  std::shared_ptr<const SystemLog> systemLog_;
  std::shared_ptr<const Preferences> preferences_;
  std::shared_ptr<const DeviceNodes> deviceNodes_;
  std::shared_ptr<const Registry> registry_;
  std::shared_ptr<const IdentityService> identityService_;
  std::shared_ptr<const SystemVersion> systemVersion_;
  std::shared_ptr<const LaunchService> launchService_;
  std::shared_ptr<const NetworkInterfaces> networkInterfaces_;
  std::shared_ptr<const Clock> clock_;
};

// The platform in force: that of the innermost ScopedPlatform, else the machine that the program
// runs on. Never null. When memory runs out on first use, the result is a platform without
// services. Call it once in each operation and keep the result until the operation ends.
[[nodiscard]] BRISVANE_EXPORT std::shared_ptr<const Platform> platform() noexcept;

// Puts a platform in force for the whole process. Its destructor puts the previous one back.
// ScopedPlatforms nest. REQUIRES: they are destroyed in the reverse order of their making.
class BRISVANE_EXPORT ScopedPlatform {
 public:
  // A null platform changes nothing. The constructor allocates no memory and cannot fail.
  [[nodiscard]] explicit ScopedPlatform(std::shared_ptr<const Platform> platform) noexcept;
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;
  ~ScopedPlatform();

 private:
  const bool isInForce_;
  std::shared_ptr<const Platform> previous_;  // null when there was none yet
};

}  // namespace brisvane::host
