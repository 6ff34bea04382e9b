// Platform, the set of services that stand between the library and a machine, and
// the choice of the one in force.
// platform() and ScopedPlatform may be used from any thread; a Platform object is a
// plain value: fill it first, then share it as const.
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

// A copyable set of services. One that was not set, or was set to null, answers "nothing": it
// records no entry, knows no preference, lists no device, has no registry node, no network
// interface and no answer, and launches nothing. Only the clock is never missing: without one of
// its own a platform has the machine's.
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
  [[nodiscard]] const IdentityService& identityService() const noexcept { return *identityService_; }
  [[nodiscard]] const SystemVersion& systemVersion() const noexcept { return *systemVersion_; }
  [[nodiscard]] const LaunchService& launchService() const noexcept { return *launchService_; }
  [[nodiscard]] const NetworkInterfaces& networkInterfaces() const noexcept { return *networkInterfaces_; }
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

// The platform in force: the machine the program runs on, or the innermost
// ScopedPlatform. Never null; when memory runs out on first use, one that answers
// "nothing". An operation takes it once and uses it to its end.
[[nodiscard]] BRISVANE_EXPORT std::shared_ptr<const Platform> platform() noexcept;

// Puts a platform in force for the whole process, and the one before it back when
// destroyed. Installations nest: REQUIRES that they end in the reverse order.
class BRISVANE_EXPORT ScopedPlatform {
 public:
  // A null platform changes nothing. Needs no memory, so that it cannot fail.
  [[nodiscard]] explicit ScopedPlatform(std::shared_ptr<const Platform> platform) noexcept;
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;
  ~ScopedPlatform();

 private:
  const bool isInForce_;
  std::shared_ptr<const Platform> previous_;  // null when none had been asked for before
};

}  // namespace brisvane::host
