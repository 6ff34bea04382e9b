// BVProcess, which launches an application and knows whether it came up in time.
// The class keeps no state. Any number of threads may launch at the same time.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "brisvane/types/export.h"
#include "brisvane/types/text.h"

namespace brisvane {

// An application on Linux is an executable, an AppDir or a desktop entry. docs/linux.md says when
// each counts as up, and what its identifier is.
// A launched application continues when the tool ends. These operations never stop it, whatever
// their result.
// The default logger gets the progress at debug level and the failures at error level.
//
//   const auto result = bv::BVProcess::runApp("/opt/bench/helper", {"--quiet"}, "helper", 10);
//   if (result != bv::BVProcess::kRunAppUp) ...
class BRISVANE_EXPORT BVProcess final {
 public:
  BVProcess() = delete;

  // The results of runApp.
  static constexpr std::int64_t kRunAppUp = 0;
  static constexpr std::int64_t kRunAppNoNotifications =
      1;                                                 // none are available; nothing was launched
  static constexpr std::int64_t kRunAppTimedOut = 2;     // launched, but not up in time
  static constexpr std::int64_t kRunAppNotLaunched = 3;  // refused, or not answered in time

  // Launches the application at `path` with these arguments. Waits until the launch service reports
  // that the application with this identifier is up.
  //  - A relative path starts at the working directory.
  //  - Without `bundleID`, no application is the expected one.
  // One of the results above; kRunAppNotLaunched also when memory runs out.
  // Blocks for up to twice `timeOut`, which is in seconds: once for the launch and once until the
  // application is up. A limit of 0 or less fails, unless the service answers at once.
  [[nodiscard]] static std::int64_t runApp(Text path, const std::vector<std::string>& arguments,
                                           Text bundleID, std::int32_t timeOut) noexcept;
  [[nodiscard]] static std::int64_t runApp(Text path, const std::vector<std::string>& arguments,
                                           Text bundleID, std::chrono::seconds timeOut) noexcept {
    return runApp(path, arguments, bundleID, wholeSeconds(timeOut));
  }

  // Launches the application at a file URL with these arguments. Waits for the launch service's
  // answer. host::fileUrl() makes such a URL of a path.
  // True when the application was launched; it may not be up yet. False when the service refuses or
  // does not answer in time, or when memory runs out.
  // Blocks for up to `timeOut`, which is in seconds.
  [[nodiscard]] static bool openItemWithURL(Text url,
                                            const std::vector<std::string>& launchParameters,
                                            std::int32_t timeOut) noexcept;
  [[nodiscard]] static bool openItemWithURL(Text url,
                                            const std::vector<std::string>& launchParameters,
                                            std::chrono::seconds timeOut) noexcept {
    return openItemWithURL(url, launchParameters, wholeSeconds(timeOut));
  }

 private:
  // The limit nearest to `time` that is a number of seconds of 32 bits.
  static std::int32_t wholeSeconds(std::chrono::seconds time) noexcept {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(time.count(), Limits::min(), Limits::max()));
  }
};

}  // namespace brisvane
