// IdentityService, which identifies this one machine.
// Any number of threads may use one at the same time.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// By default there are no answers: answer() gives nullopt, and origin() fails.
//
// REQUIRES of an implementation, as of every service that a profile is gathered from (registry,
// identity service and system version):
//  - It throws nothing but std::bad_alloc.
//  - It does not call BVSystemInfo::shared(). A guarded read of a firmware variable calls it.
//  - It does not fork.
//  - It does not wait for a thread that does either.
// The shared profile is gathered under a lock, so that such a call would wait for itself for ever.
// A debug build aborts there.
class BRISVANE_EXPORT IdentityService {
 public:
  static constexpr std::string_view kSigningFuse = "SigningFuse";          // a boolean
  static constexpr std::string_view kFirmwareVersion = "FirmwareVersion";  // a text
  static constexpr std::string_view kUniqueChipID = "UniqueChipID";        // unsigned, 64 bits
  static constexpr std::string_view kUniqueDeviceID = "ProvisioningUniqueDeviceID";  // a text

  IdentityService() = default;
  IdentityService(const IdentityService&) = delete;
  IdentityService& operator=(const IdentityService&) = delete;
  virtual ~IdentityService();

  // The answer for a key; nullopt when there is none.
  [[nodiscard]] virtual std::optional<Object> answer(std::string_view key) const;

  // The place that the answer comes from. When there is none, the error is that of
  // Registry::origin.
  virtual Result<std::string> origin(std::string_view key) const;
};

}  // namespace brisvane::host
