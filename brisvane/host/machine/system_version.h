// The operating system's versions as a service: the entries of the system version file, and the
// version that runs. Any number of threads may ask at the same time.
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

// An operation that is not overridden answers "nothing".
//
// REQUIRES of an implementation: it throws nothing but std::bad_alloc; and what
// host::IdentityService requires, because a profile is gathered from it.
class BRISVANE_EXPORT SystemVersion {
 public:
  // The entries of the system version file that the library reads, both texts.
  static constexpr std::string_view kBuildVersion = "ProductBuildVersion";
  static constexpr std::string_view kUserVisibleVersion = "ProductUserVisibleVersion";

  SystemVersion() = default;
  SystemVersion(const SystemVersion&) = delete;
  SystemVersion& operator=(const SystemVersion&) = delete;
  virtual ~SystemVersion();

  // The entries of the system version file, read afresh; nullopt when there is no such file.
  [[nodiscard]] virtual std::optional<Dictionary> entries() const;

  // The version that runs; nullopt when it is unknown.
  [[nodiscard]] virtual std::optional<OsVersion> running() const;

  // The place that an entry comes from. When there is no such entry, the error is that of
  // Registry::origin.
  virtual Result<std::string> origin(std::string_view entry) const;
};

}  // namespace brisvane::host
