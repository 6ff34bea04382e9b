// The way to a file that follows no symbolic link. Private to the room.
#pragma once

#include <string>

#include "brisvane/host/files/descriptor.h"
#include "brisvane/types/result.h"

namespace brisvane::host::real {

// A path whose folders have been opened one by one. What happens to their names afterwards makes no
// difference. A PathWithoutLinks belongs to one thread.
class PathWithoutLinks {
 public:
  // ELOOP: a folder of the path is a symbolic link. The path's last name may still be one. An error
  // does not name the path. May throw std::bad_alloc.
  static Result<PathWithoutLinks> find(const std::string& path);

  // A path to the same file, by way of /proc. It is valid as long as the object lives.
  [[nodiscard]] const std::string& path() const noexcept { return path_; }

 private:
  PathWithoutLinks(Descriptor folder, std::string path) noexcept
      : folder_(std::move(folder)), path_(std::move(path)) {}

  Descriptor folder_;
  std::string path_;
};

// A symbolic link that is not followed.
[[nodiscard]] Error refusedLink() noexcept;

// Fails as find(), and for a file that is a symbolic link itself. May throw std::bad_alloc.
Result<> refuseLinks(const std::string& path);

}  // namespace brisvane::host::real
