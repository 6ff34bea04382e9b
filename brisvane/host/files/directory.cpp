#include "brisvane/host/files/directory.h"

#include <dirent.h>

#include <cerrno>
#include <memory>
#include <new>

#include "brisvane/host/files/descriptor.h"

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
  if (!directory && errno == ENOMEM)
    throw std::bad_alloc();  // a listing never looks empty for lack of memory
  return directory;
}

}  // namespace

Result<std::vector<std::string>> listDirectory(const std::string& path) {
  const Directory directory = openDirectory(path);
  if (!directory) return Error::last(shownPath(path));
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): safe on a directory of one's own.
    const dirent* const entry = ::readdir(directory.get());
    if (entry == nullptr && errno != 0) return Error::last(shownPath(path));
    if (entry == nullptr) return names;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
}

bool isFileName(std::string_view name) noexcept {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

}  // namespace brisvane::host::real
