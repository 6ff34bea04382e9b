// The device directory as a service: which nodes "/dev/" lists, and where a node
// really is on a machine whose device directory lies somewhere else.
// Any number of threads may ask at the same time.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/types/export.h"

namespace brisvane::host {

// An operation that is not overridden answers "nothing".
class BRISVANE_EXPORT DeviceNodes {
 public:
  // The directory as callers name it, with its final slash.
  static constexpr std::string_view kDirectory = "/dev/";

  DeviceNodes() = default;
  DeviceNodes(const DeviceNodes&) = delete;
  DeviceNodes& operator=(const DeviceNodes&) = delete;
  virtual ~DeviceNodes();

  // The names in "/dev/" (one level, without "." and ".."), in the order in which
  // the machine lists them; nullopt when the directory cannot be listed.
  virtual std::optional<std::vector<std::string>> list() const noexcept;

  // The path to open for a caller's path: a path under "/dev/" leads to the
  // machine's own device directory, any other path stands as it is. Empty, a path that
  // cannot be opened, for a device that is not there and when memory runs out.
  virtual std::string location(std::string_view path) const noexcept;
};

}  // namespace brisvane::host
