#include "brisvane/host/platform.h"

#include <utility>

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
  std::string location(std::string_view path) const override { return std::string(path); }
};

// The given service, or the one that answers when there is none.
template <typename Missing, typename Service>
std::shared_ptr<const Service> orMissing(std::shared_ptr<const Service> service) {
  if (service != nullptr) return service;
  static const auto missing = std::make_shared<const Missing>();
  return missing;
}

}  // namespace

// Out of line, so that each interface's type information lives in this library alone.
SystemLog::~SystemLog() = default;
Preferences::~Preferences() = default;
DeviceNodes::~DeviceNodes() = default;
Clock::~Clock() = default;

Platform::Platform() {
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
