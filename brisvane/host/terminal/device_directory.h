// DeviceDirectory, the device directory on Linux, or a folder that a test uses instead.
// Safe from any thread: it does not change.
#pragma once

#include <string>
#include <utility>

#include "brisvane/host/terminal/device_nodes.h"

namespace brisvane::host::real {

class DeviceDirectory final : public DeviceNodes {
 public:
  // `directory` is the real path that "/dev/" stands for, without a final slash.
  explicit DeviceDirectory(std::string directory) : directory_(std::move(directory)) {}

  Result<std::vector<std::string>> list() const override;
  std::string location(std::string_view path) const override;

 private:
  std::string directory_;
};

}  // namespace brisvane::host::real
