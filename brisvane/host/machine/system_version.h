// SystemVersion, the operating system's versions as a service: the entries of the system version
// file, and the running version.
// Any number of threads may use one at the same time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

struct OsVersion {
  std::int64_t majorVersion = 0;
  std::int64_t minorVersion = 0;
  std::int64_t patchVersion = 0;

  bool operator==(const OsVersion&) const = default;
};

// By default there are no versions: entries() and running() give nullopt, and origin() fails.
//
// REQUIRES of an implementation: what host::IdentityService requires of services from which a
// profile is gathered.
class BRISVANE_EXPORT SystemVersion {
 public:
  // The entries of the system version file that the library reads, both texts.
  static constexpr std::string_view kBuildVersion = "ProductBuildVersion";
  static constexpr std::string_view kUserVisibleVersion = "ProductUserVisibleVersion";

  SystemVersion() = default;
  SystemVersion(const SystemVersion&) = delete;
  SystemVersion& operator=(const SystemVersion&) = delete;
  virtual ~SystemVersion();

  // The entries of the system version file. Each call reads it again, except while the thread
  // has a ReadOnce. nullopt when there is no such file.
  [[nodiscard]] virtual std::optional<Dictionary> entries() const;

  // The running version. nullopt when it is unknown.
  [[nodiscard]] virtual std::optional<OsVersion> running() const;

  // The place that an entry comes from. When there is no such entry, the error is that of
  // Registry::origin.
  virtual Result<std::string> origin(std::string_view entry) const;
};

}  // namespace brisvane::host
