#include "brisvane/logging/system_log_handle.h"

#include "brisvane/types/never_destroyed.h"

namespace brisvane {

SystemLogHandle::SystemLogHandle(Text subsystem, Text category)
    : names_(std::make_shared<const Names>(
          Names{std::string(subsystem.orEmpty()), std::string(category.orEmpty())})) {}

const SystemLogHandle& SystemLogHandle::waylineLog() {
  static NeverDestroyed<SystemLogHandle> handle("org.brisvane.log", "BV");
  return *handle;
}

void SystemLogHandle::write(host::LogType type, std::string_view format,
                            std::string_view message) const noexcept {
  write(*host::platform(), type, format, message);
}

void SystemLogHandle::write(const host::Platform& platform, host::LogType type,
                            std::string_view format, std::string_view message) const noexcept {
  const host::LogChannel channel{names_->subsystem, names_->category};
  platform.systemLog().write(channel, type, format, message);
}

}  // namespace brisvane
