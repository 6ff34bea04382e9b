// The one place that knows which machine the library runs on: everything else asks
// host::platform().
#include <mutex>
#include <utility>

#include "brisvane/host/fork_safety.h"
#include "brisvane/host/linux/platform.h"
#include "brisvane/host/platform.h"
#include "brisvane/types/never_destroyed.h"

namespace brisvane::host {
namespace {

std::mutex& currentMutex();

struct Current {
  Current() { surviveFork<currentMutex>(); }

  std::mutex mutex;
  std::shared_ptr<const Platform> platform = std::make_shared<const Platform>(real::makePlatform(real::Roots{}));
};

Current& current() {
  static NeverDestroyed<Current> instance;
  return *instance;
}

std::mutex& currentMutex() { return current().mutex; }

std::shared_ptr<const Platform> exchange(std::shared_ptr<const Platform> next) {
  const std::scoped_lock lock(current().mutex);
  return std::exchange(current().platform, std::move(next));
}

}  // namespace

std::shared_ptr<const Platform> platform() noexcept {
  const std::scoped_lock lock(current().mutex);
  return current().platform;
}

ScopedPlatform::ScopedPlatform(std::shared_ptr<const Platform> platform)
    : previous_(platform != nullptr ? exchange(std::move(platform)) : nullptr) {}

ScopedPlatform::~ScopedPlatform() {
  if (previous_ != nullptr) exchange(std::move(previous_));
}

}  // namespace brisvane::host
