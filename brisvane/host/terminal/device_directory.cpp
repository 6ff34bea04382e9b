#include "brisvane/host/terminal/device_directory.h"

#include <new>

#include "brisvane/host/files/directory.h"
#include "brisvane/types/join.h"

namespace brisvane::host::real {

std::optional<std::vector<std::string>> DeviceDirectory::list() const noexcept try {
  FormerError error;
  return listDirectory(directory_, error);
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

std::string DeviceDirectory::location(std::string_view path) const noexcept try {
  if (!path.starts_with(kDirectory)) return std::string(path);
  return join({directory_, "/", path.substr(kDirectory.size())});
} catch (const std::bad_alloc&) {
  return {};
}

}  // namespace brisvane::host::real
