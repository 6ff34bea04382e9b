// The device-identity query service: who this very machine is.
// Any number of threads may ask at the same time.
#pragma once

#include <optional>
#include <string_view>

#include "brisvane/host/machine/origin.h"
#include "brisvane/types/export.h"
#include "brisvane/types/object.h"

namespace brisvane::host {

// An operation that is not overridden answers "nothing".
//
// REQUIRES of an implementation, as of every service that a profile is gathered from (registry, identity service and
// system version): it neither asks for BVSystemInfo::shared(), as a guarded read of a firmware variable does, nor
// forks, nor waits for a thread that does. The shared profile is being built then, once only, and would be waited for
// without end; a debug build stops there.
class BRISVANE_EXPORT IdentityService {
 public:
  static constexpr std::string_view kSigningFuse = "SigningFuse";                    // a boolean
  static constexpr std::string_view kFirmwareVersion = "FirmwareVersion";            // a text
  static constexpr std::string_view kUniqueChipID = "UniqueChipID";                  // an unsigned number of 64 bits
  static constexpr std::string_view kUniqueDeviceID = "ProvisioningUniqueDeviceID";  // a text

  IdentityService() = default;
  IdentityService(const IdentityService&) = delete;
  IdentityService& operator=(const IdentityService&) = delete;
  virtual ~IdentityService();

  // The answer for a key; nullopt when there is none.
  [[nodiscard]] virtual std::optional<Object> answer(std::string_view key) const noexcept;

  // Where the answer comes from, or would.
  [[nodiscard]] virtual Origin origin(std::string_view key) const noexcept;
};

}  // namespace brisvane::host
