// The one place that knows which machine the library runs on: everything else asks
// host::platform().
#include <mutex>
#include <utility>

#include "brisvane/host/linux_platform.h"
#include "brisvane/host/platform.h"
#include "brisvane/types/never_destroyed.h"
#include "brisvane/types/out_of_memory.h"
#include "brisvane/types/process_locks.h"

namespace brisvane::host {
namespace {

// Null while none has been asked for. REQUIRES of every use: the platform's lock is held.
constinit NeverDestroyed<std::shared_ptr<const Platform>> current;

std::shared_ptr<const Platform> exchange(std::shared_ptr<const Platform> next) noexcept {
  const std::scoped_lock lock(processLock(ProcessLock::kPlatform));
  return std::exchange(*current, std::move(next));
}

// What stands in when memory for the real machine runs out.
std::shared_ptr<const Platform> nothing() noexcept {
  static NeverDestroyed<Platform> platform;
  return {std::shared_ptr<const void>(), &*platform};
}

}  // namespace

std::shared_ptr<const Platform> platform() noexcept {
  auto inForce = memoryPermitting(nullptr, [] {
    const std::scoped_lock lock(processLock(ProcessLock::kPlatform));
    if (*current == nullptr)
      *current = std::make_shared<const Platform>(real::makePlatform(real::Roots{}));
    return *current;
  });
  return inForce != nullptr ? inForce : nothing();
}

ScopedPlatform::ScopedPlatform(std::shared_ptr<const Platform> platform) noexcept
    : isInForce_(platform != nullptr) {
  if (isInForce_) previous_ = exchange(std::move(platform));
}

ScopedPlatform::~ScopedPlatform() {
  if (isInForce_) exchange(std::move(previous_));
}

}  // namespace brisvane::host
