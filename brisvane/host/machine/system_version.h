// The operating system's versions as a service: what the system version file says, and
// which version runs. Any number of threads may ask at the same time.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "brisvane/host/machine/origin.h"
#include "brisvane/types/export.h"
#include "brisvane/types/object.h"

namespace brisvane::host {

struct OsVersion {
  std::int64_t majorVersion = 0;
  std::int64_t minorVersion = 0;
  std::int64_t patchVersion = 0;

  bool operator==(const OsVersion&) const = default;
};

// An operation that is not overridden answers "nothing".
// REQUIRES of an implementation what host::IdentityService does: a profile is gathered from it.
class BRISVANE_EXPORT SystemVersion {
 public:
  // The entries of the system version file that the library reads, both texts.
  static constexpr std::string_view kBuildVersion = "ProductBuildVersion";
  static constexpr std::string_view kUserVisibleVersion = "ProductUserVisibleVersion";

  SystemVersion() = default;
  SystemVersion(const SystemVersion&) = delete;
  SystemVersion& operator=(const SystemVersion&) = delete;
  virtual ~SystemVersion();

  // The system version file, read afresh; nullopt when there is none.
  [[nodiscard]] virtual std::optional<Dictionary> entries() const noexcept;

  // The version that runs; nullopt when nothing tells.
  [[nodiscard]] virtual std::optional<OsVersion> running() const noexcept;

  // Where an entry comes from, or would.
  [[nodiscard]] virtual Origin origin(std::string_view entry) const noexcept;
};

}  // namespace brisvane::host
