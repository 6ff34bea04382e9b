// The device directory on Linux, or a folder that stands in for it.
// Safe from any thread: nothing of it changes.
#pragma once

#include <string>
#include <utility>

#include "brisvane/host/terminal/device_nodes.h"

namespace brisvane::host::real {

class DeviceDirectory final : public DeviceNodes {
 public:
  // `directory` is the real path behind "/dev/", without a final slash.
  explicit DeviceDirectory(std::string directory) : directory_(std::move(directory)) {}

  std::optional<std::vector<std::string>> list() const noexcept override;
  std::string location(std::string_view path) const noexcept override;

 private:
  std::string directory_;
};

}  // namespace brisvane::host::real
