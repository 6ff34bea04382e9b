// SystemLogHandle, the channel of the system log to which a logger writes.
// A value type: any number of threads may use one, or copies of it.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "brisvane/host/platform.h"
#include "brisvane/types/export.h"
#include "brisvane/types/text.h"

namespace brisvane {

// A shared reference to a channel of the system log. It holds only the channel's names. Each entry
// goes to the system log of the platform in force when it is written.
class BRISVANE_EXPORT SystemLogHandle {
 public:
  // A channel named by a subsystem (a reverse-DNS identifier) and a category. May throw
  // std::bad_alloc.
  SystemLogHandle(Text subsystem, Text category);

  // There is no move, so that every handle has a channel.
  SystemLogHandle(const SystemLogHandle&) = default;
  SystemLogHandle& operator=(const SystemLogHandle&) = default;

  // The library's own handle, the same one at every call: category "BV". The first call may throw
  // std::bad_alloc.
  [[nodiscard]] static const SystemLogHandle& waylineLog();

  [[nodiscard]] const std::string& subsystem() const noexcept { return names_->subsystem; }
  [[nodiscard]] const std::string& category() const noexcept { return names_->category; }

  // Whether both refer to one channel object.
  [[nodiscard]] bool same(const SystemLogHandle& other) const noexcept {
    return names_ == other.names_;
  }

  // Records one entry: `format`, with `message` in place of its placeholder "%{public}@". Does not
  // fail: see host::SystemLog::write(). The second form takes the platform from the caller.
  void write(host::LogType type, std::string_view format, std::string_view message) const noexcept;
  void write(const host::Platform& platform, host::LogType type, std::string_view format,
             std::string_view message) const noexcept;

 private:
  struct Names {
    std::string subsystem;
    std::string category;
  };
  std::shared_ptr<const Names> names_;
};

}  // namespace brisvane
