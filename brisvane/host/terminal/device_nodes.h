// DeviceNodes, the device directory as a service: the nodes in "/dev/", and the real path of each
// where the machine's device directory is another folder.
// Any number of threads may use one at the same time.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// By default, list() fails and location() gives the path unchanged.
//
// REQUIRES of an implementation: it throws nothing but std::bad_alloc.
class BRISVANE_EXPORT DeviceNodes {
 public:
  // The directory as callers name it, with its final slash.
  static constexpr std::string_view kDirectory = "/dev/";

  DeviceNodes() = default;
  DeviceNodes(const DeviceNodes&) = delete;
  DeviceNodes& operator=(const DeviceNodes&) = delete;
  virtual ~DeviceNodes();

  // The names in "/dev/", in the order in which the machine lists them: one level, without "." and
  // "..".
  virtual Result<std::vector<std::string>> list() const;

  // The path to open for a caller's path. A path under "/dev/" becomes one in the machine's own
  // device directory. Any other path is returned unchanged.
  // Empty when there is no such device: an empty path cannot be opened.
  virtual std::string location(std::string_view path) const;
};

}  // namespace brisvane::host
