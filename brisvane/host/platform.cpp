#include "brisvane/host/platform.h"

#include <cerrno>
#include <new>
#include <string_view>
#include <utility>

#include "brisvane/types/never_destroyed.h"

namespace brisvane::host {
namespace {

// The given service, or one that answers "nothing". That one is shared by all platforms and
// owned by nobody: nothing is allocated, nor destroyed at exit.
template <typename Missing, typename Service>
std::shared_ptr<const Service> orMissing(std::shared_ptr<const Service> service) noexcept {
  if (service != nullptr) return service;
  static NeverDestroyed<Missing> missing;
  return {std::shared_ptr<const void>(), &*missing};
}

constexpr std::string_view kNoLaunchService = "no launch service";

}  // namespace

// What a service answers that does not answer otherwise: nothing. Out of line, so that each
// interface's type information lives in this library alone.

SystemLog::~SystemLog() = default;
void SystemLog::write(const LogChannel& /*channel*/, LogType /*type*/, std::string_view /*format*/,
                      std::string_view /*argument*/) const noexcept {}

Preferences::~Preferences() = default;
std::optional<std::string> Preferences::value(std::string_view /*suite*/,
                                              std::string_view /*key*/) const {
  return std::nullopt;
}

DeviceNodes::~DeviceNodes() = default;
Result<std::vector<std::string>> DeviceNodes::list() const { return Error(ENOENT, kDirectory); }
std::string DeviceNodes::location(std::string_view path) const { return std::string(path); }

Registry::~Registry() = default;
NodeHandle Registry::root() const { return 0; }
NodeHandle Registry::nodeAtPath(std::string_view /*path*/) const { return 0; }
NodeHandle Registry::firstNodeOfClass(std::string_view /*name*/) const { return 0; }
std::optional<Object> Registry::property(NodeHandle /*node*/, std::string_view /*name*/) const {
  return std::nullopt;
}
Result<> Registry::setProperty(NodeHandle /*node*/, std::string_view /*name*/,
                               std::string_view /*value*/) const {
  return Error(ENOENT);
}
std::vector<std::string> Registry::propertyNames(NodeHandle /*node*/) const { return {}; }
Result<std::string> Registry::origin(NodeHandle /*node*/, std::string_view /*name*/) const {
  return Error(ENOENT);
}
void Registry::release(NodeHandle /*node*/) const noexcept {}

IdentityService::~IdentityService() = default;
std::optional<Object> IdentityService::answer(std::string_view /*key*/) const {
  return std::nullopt;
}
Result<std::string> IdentityService::origin(std::string_view /*key*/) const {
  return Error(ENODATA);
}

SystemVersion::~SystemVersion() = default;
std::optional<Dictionary> SystemVersion::entries() const { return std::nullopt; }
std::optional<OsVersion> SystemVersion::running() const { return std::nullopt; }
Result<std::string> SystemVersion::origin(std::string_view /*entry*/) const {
  return Error(ENOENT);
}

LaunchService::~LaunchService() = default;
Result<SubscriptionHandle> LaunchService::subscribe(std::int32_t /*session*/,
                                                    std::int32_t /*flags*/,
                                                    const SerialQueue& /*queue*/,
                                                    NotificationCallback /*callback*/) const {
  return Error(ENOTSUP, kNoLaunchService);
}
Result<> LaunchService::selectCodes(SubscriptionHandle /*subscription*/,
                                    std::span<const std::int32_t> /*codes*/, std::int32_t /*first*/,
                                    std::int32_t /*second*/, std::int32_t /*third*/,
                                    std::int32_t /*fourth*/) const {
  return Error(ENOTSUP, kNoLaunchService);
}
void LaunchService::unsubscribe(SubscriptionHandle /*subscription*/) const noexcept {}
Result<> LaunchService::registerBundle(std::string_view /*url*/, bool /*forceUpdate*/) const {
  return Error(ENOTSUP, kNoLaunchService);
}
void LaunchService::open(std::string_view /*url*/, const OpenConfiguration& /*configuration*/,
                         OpenCompletion completion) const {
  completion(nullptr, Error::because(kNoLaunchService));
}

NetworkInterfaces::~NetworkInterfaces() = default;
Result<std::vector<NetworkInterface>> NetworkInterfaces::interfaces() const {
  return Error(ENODEV, "network interfaces");
}
Result<std::vector<InterfaceAddress>> NetworkInterfaces::addresses() const {
  return Error(ENODEV, "network interfaces");
}
NetworkListing NetworkInterfaces::inUse() const { return {interfaces(), addresses()}; }

Platform::Platform() noexcept {
  setSystemLog(nullptr);
  setPreferences(nullptr);
  setDeviceNodes(nullptr);
  setRegistry(nullptr);
  setIdentityService(nullptr);
  setSystemVersion(nullptr);
  setLaunchService(nullptr);
  setNetworkInterfaces(nullptr);
  setClock(nullptr);
}

void Platform::setSystemLog(std::shared_ptr<const SystemLog> systemLog) noexcept {
  systemLog_ = orMissing<SystemLog>(std::move(systemLog));
}

void Platform::setPreferences(std::shared_ptr<const Preferences> preferences) noexcept {
  preferences_ = orMissing<Preferences>(std::move(preferences));
}

void Platform::setDeviceNodes(std::shared_ptr<const DeviceNodes> deviceNodes) noexcept {
  deviceNodes_ = orMissing<DeviceNodes>(std::move(deviceNodes));
}

void Platform::setRegistry(std::shared_ptr<const Registry> registry) noexcept {
  registry_ = orMissing<Registry>(std::move(registry));
}

void Platform::setIdentityService(std::shared_ptr<const IdentityService> identityService) noexcept {
  identityService_ = orMissing<IdentityService>(std::move(identityService));
}

void Platform::setSystemVersion(std::shared_ptr<const SystemVersion> systemVersion) noexcept {
  systemVersion_ = orMissing<SystemVersion>(std::move(systemVersion));
}

void Platform::setLaunchService(std::shared_ptr<const LaunchService> launchService) noexcept {
  launchService_ = orMissing<LaunchService>(std::move(launchService));
}

void Platform::setNetworkInterfaces(
    std::shared_ptr<const NetworkInterfaces> networkInterfaces) noexcept {
  networkInterfaces_ = orMissing<NetworkInterfaces>(std::move(networkInterfaces));
}

void Platform::setClock(std::shared_ptr<const Clock> clock) noexcept {
  clock_ = orMissing<SystemClock>(std::move(clock));
}

}  // namespace brisvane::host
