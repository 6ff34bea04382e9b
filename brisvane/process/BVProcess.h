// BVProcess, which launches an application and knows whether it came up in time.
// The class keeps no state: any number of threads may launch at the same time, each call
// on its own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "brisvane/types/export.h"
#include "brisvane/types/text.h"

namespace brisvane {

// An application on Linux is an executable, an AppDir or a desktop entry; docs/linux.md tells
// when each counts as up, and what its identifier is. What is launched goes on when the
// tool ends, and is never stopped by these operations, whatever their result.
//
// Progress goes to the default logger at debug level, failures at error level.
//
//   const auto result = bv::BVProcess::runApp("/opt/bench/helper", {"--quiet"}, "helper", 10);
//   if (result != bv::BVProcess::kRunAppUp) ...
class BRISVANE_EXPORT BVProcess final {
 public:
  BVProcess() = delete;

  // The results of runApp.
  static constexpr std::int64_t kRunAppUp = 0;
  static constexpr std::int64_t kRunAppNoNotifications = 1;  // they cannot be had; nothing was launched
  static constexpr std::int64_t kRunAppTimedOut = 2;         // launched, but not up in time
  static constexpr std::int64_t kRunAppNotLaunched = 3;      // refused, or not answered in time

  // Launches the application at a path with these arguments, and waits until the launch
  // service tells that the one with this identifier is up. `timeOut` is in seconds; it
  // holds for the launch and for the coming up, each. One of 0 or less fails, unless the
  // service is faster than that. Blocks for up to twice the time limit. A relative path starts
  // from the working directory.
  [[nodiscard]] static std::int64_t runApp(Text path, const std::vector<std::string>& arguments, Text bundleID,
                                           std::int32_t timeOut) noexcept;

  // Launches the application at a file URL (host::fileUrl makes one of a path) with these
  // arguments, and waits for the launch service's answer. False when it refuses or does not answer
  // within `timeOut` seconds, for which this blocks at most. True does not mean that the
  // application is up.
  [[nodiscard]] static bool openItemWithURL(Text url, const std::vector<std::string>& launchParameters,
                                            std::int32_t timeOut) noexcept;
};

}  // namespace brisvane
