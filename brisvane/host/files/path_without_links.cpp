#include "brisvane/host/files/path_without_links.h"

#include <sys/stat.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "brisvane/types/join.h"

namespace brisvane::host::real {
namespace {

constexpr int kFlags = O_PATH | O_NOFOLLOW | O_CLOEXEC;

// Opens a folder of `parent`.
Result<Descriptor> enter(const Descriptor& parent, const std::string& name) noexcept {
  Descriptor folder =
      Descriptor::aboveStandardStreams(::openat(parent.get(), name.c_str(), kFlags));
  struct stat status {};
  if (!folder.valid() || ::fstat(folder.get(), &status) != 0) return Error::last();
  if (S_ISLNK(status.st_mode)) return refusedLink();
  if (!S_ISDIR(status.st_mode)) return Error(ENOTDIR);
  return folder;
}

}  // namespace

Error refusedLink() noexcept {
  return {ELOOP, {}, "a symbolic link is in the path, and none is followed"};
}

Result<PathWithoutLinks> PathWithoutLinks::find(const std::string& path) {
  Descriptor folder = openDescriptor(path.starts_with('/') ? "/" : ".", kFlags);
  if (!folder.valid()) return Error::last();
  std::string_view rest = path;
  for (std::size_t slash = 0; (slash = rest.find('/')) != std::string_view::npos;) {
    const std::string name(rest.substr(0, slash));
    rest.remove_prefix(slash + 1);
    if (name.empty()) continue;  // of several slashes
    auto entered = enter(folder, name);
    if (!entered.ok()) return entered.error();
    folder = std::move(entered).value();
  }
  std::string reached = join({"/proc/self/fd/", std::to_string(folder.get()), "/", rest});
  return PathWithoutLinks(std::move(folder), std::move(reached));
}

Result<> refuseLinks(const std::string& path) {
  const auto way = PathWithoutLinks::find(path);
  if (!way.ok()) return way.error();
  struct stat status {};
  const bool isLink = ::lstat(way.value().path().c_str(), &status) == 0 && S_ISLNK(status.st_mode);
  return isLink ? refusedLink() : Result<>();
}

}  // namespace brisvane::host::real
