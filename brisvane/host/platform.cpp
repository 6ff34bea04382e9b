#include "brisvane/host/platform.h"

#include <cerrno>
#include <new>
#include <utility>

#include "brisvane/types/never_destroyed.h"

namespace brisvane::host {
namespace {

class NoSystemLog final : public SystemLog {
 public:
  void write(const LogChannel& /*channel*/, LogType /*type*/, std::string_view /*format*/,
             std::string_view /*argument*/) const noexcept override {}
};

class NoPreferences final : public Preferences {
 public:
  std::optional<std::string> value(std::string_view /*suite*/, std::string_view /*key*/) const noexcept override {
    return std::nullopt;
  }
};

class NoDeviceNodes final : public DeviceNodes {
 public:
  std::optional<std::vector<std::string>> list() const noexcept override { return std::nullopt; }
  std::string location(std::string_view path) const noexcept override try {
    return std::string(path);
  } catch (const std::bad_alloc&) {
    return {};
  }
};

class NoRegistry final : public Registry {
 public:
  NodeHandle root() const noexcept override { return 0; }
  NodeHandle nodeAtPath(std::string_view /*path*/) const noexcept override { return 0; }
  NodeHandle firstNodeOfClass(std::string_view /*name*/) const noexcept override { return 0; }
  std::optional<Object> property(NodeHandle /*node*/, std::string_view /*name*/) const noexcept override {
    return std::nullopt;
  }
  std::int32_t setProperty(NodeHandle /*node*/, std::string_view /*name*/,
                           std::string_view /*value*/) const noexcept override {
    return ENOENT;
  }
  std::vector<std::string> propertyNames(NodeHandle /*node*/) const noexcept override { return {}; }
  Origin origin(NodeHandle /*node*/, std::string_view /*name*/) const noexcept override { return {{}, Error(ENOENT)}; }
  void release(NodeHandle /*node*/) const noexcept override {}
};

class NoIdentity final : public IdentityService {
 public:
  std::optional<Object> answer(std::string_view /*key*/) const noexcept override { return std::nullopt; }
  Origin origin(std::string_view /*key*/) const noexcept override { return {{}, Error(ENODATA)}; }
};

class NoSystemVersion final : public SystemVersion {
 public:
  std::optional<Dictionary> entries() const noexcept override { return std::nullopt; }
  std::optional<OsVersion> running() const noexcept override { return std::nullopt; }
  Origin origin(std::string_view /*entry*/) const noexcept override { return {{}, Error(ENOENT)}; }
};

class NoLaunchService final : public LaunchService {
 public:
  SubscriptionHandle subscribe(std::int32_t /*session*/, std::int32_t /*flags*/, const SerialQueue& /*queue*/,
                               NotificationCallback /*callback*/) const noexcept override {
    return 0;
  }
  std::int32_t selectCodes(SubscriptionHandle /*subscription*/, std::span<const std::int32_t> /*codes*/,
                           std::int32_t /*first*/, std::int32_t /*second*/, std::int32_t /*third*/,
                           std::int32_t /*fourth*/) const noexcept override {
    return ENOTSUP;
  }
  void unsubscribe(SubscriptionHandle /*subscription*/) const noexcept override {}
  std::int32_t registerBundle(std::string_view /*url*/, bool /*forceUpdate*/) const noexcept override {
    return ENOTSUP;
  }
  void open(std::string_view /*url*/, const OpenConfiguration& /*configuration*/,
            OpenCompletion completion) const noexcept override {
    completion("no launch service");  // short enough to need no memory
  }
};

class NoNetworkInterfaces final : public NetworkInterfaces {
 public:
  std::optional<std::vector<NetworkInterface>> interfaces() const noexcept override { return std::nullopt; }
  std::optional<std::vector<InterfaceAddress>> addresses() const noexcept override { return std::nullopt; }
};

// The given service, or the one that answers when there is none. That one is shared by
// all platforms and owned by nobody: nothing is allocated, nor destroyed at exit.
template <typename Missing, typename Service>
std::shared_ptr<const Service> orMissing(std::shared_ptr<const Service> service) noexcept {
  if (service != nullptr) return service;
  static NeverDestroyed<Missing> missing;
  return {std::shared_ptr<const void>(), &*missing};
}

}  // namespace

// Out of line, so that each interface's type information lives in this library alone.
SystemLog::~SystemLog() = default;
Preferences::~Preferences() = default;
DeviceNodes::~DeviceNodes() = default;
Registry::~Registry() = default;
IdentityService::~IdentityService() = default;
SystemVersion::~SystemVersion() = default;
LaunchService::~LaunchService() = default;
NetworkInterfaces::~NetworkInterfaces() = default;

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
  systemLog_ = orMissing<NoSystemLog>(std::move(systemLog));
}

void Platform::setPreferences(std::shared_ptr<const Preferences> preferences) noexcept {
  preferences_ = orMissing<NoPreferences>(std::move(preferences));
}

void Platform::setDeviceNodes(std::shared_ptr<const DeviceNodes> deviceNodes) noexcept {
  deviceNodes_ = orMissing<NoDeviceNodes>(std::move(deviceNodes));
}

void Platform::setRegistry(std::shared_ptr<const Registry> registry) noexcept {
  registry_ = orMissing<NoRegistry>(std::move(registry));
}

void Platform::setIdentityService(std::shared_ptr<const IdentityService> identityService) noexcept {
  identityService_ = orMissing<NoIdentity>(std::move(identityService));
}

void Platform::setSystemVersion(std::shared_ptr<const SystemVersion> systemVersion) noexcept {
  systemVersion_ = orMissing<NoSystemVersion>(std::move(systemVersion));
}

void Platform::setLaunchService(std::shared_ptr<const LaunchService> launchService) noexcept {
  launchService_ = orMissing<NoLaunchService>(std::move(launchService));
}

void Platform::setNetworkInterfaces(std::shared_ptr<const NetworkInterfaces> networkInterfaces) noexcept {
  networkInterfaces_ = orMissing<NoNetworkInterfaces>(std::move(networkInterfaces));
}

void Platform::setClock(std::shared_ptr<const Clock> clock) noexcept {
  clock_ = orMissing<SystemClock>(std::move(clock));
}

}  // namespace brisvane::host
