#include "brisvane/host/linux/device_nodes.h"

#include <dirent.h>

#include <cerrno>
#include <memory>
#include <new>

#include "brisvane/host/linux/descriptor.h"
#include "brisvane/types/join.h"

namespace brisvane::host::real {
namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const noexcept { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

Directory openDirectory(const std::string& path) {
  Descriptor descriptor = openDescriptor(path.c_str(), O_RDONLY | O_DIRECTORY);
  Directory directory(descriptor.valid() ? ::fdopendir(descriptor.get()) : nullptr);
  if (directory) static_cast<void>(descriptor.release());  // the directory owns it now
  return directory;
}

}  // namespace

std::optional<std::vector<std::string>> DeviceDirectory::list() const noexcept try {
  const Directory directory = openDirectory(directory_);
  if (!directory) return std::nullopt;
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): safe on a directory of one's own.
    const dirent* const entry = ::readdir(directory.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return errno == 0 ? std::optional(std::move(names)) : std::nullopt;
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
