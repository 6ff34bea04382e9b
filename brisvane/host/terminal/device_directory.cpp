#include "brisvane/host/terminal/device_directory.h"

#include "brisvane/host/files/directory.h"
#include "brisvane/types/join.h"

namespace brisvane::host::real {

Result<std::vector<std::string>> DeviceDirectory::list() const { return listDirectory(directory_); }

std::string DeviceDirectory::location(std::string_view path) const {
  if (!path.starts_with(kDirectory)) return std::string(path);
  return join({directory_, "/", path.substr(kDirectory.size())});
}

}  // namespace brisvane::host::real
