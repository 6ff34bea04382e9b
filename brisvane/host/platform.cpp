#include "brisvane/host/platform.h"

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

Platform::Platform() noexcept {
  setSystemLog(nullptr);
  setPreferences(nullptr);
  setDeviceNodes(nullptr);
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

void Platform::setClock(std::shared_ptr<const Clock> clock) noexcept {
  clock_ = orMissing<SystemClock>(std::move(clock));
}

}  // namespace brisvane::host
