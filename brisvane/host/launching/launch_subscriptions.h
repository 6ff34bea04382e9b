// LaunchSubscriptions, the subscribers of a launch service and the delivery to them; and
// LaunchWorkers, the threads in which it launches. Both are safe from any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <stop_token>
#include <string_view>
#include <thread>
#include <unordered_map>

#include "brisvane/host/launching/launch_service.h"
#include "brisvane/types/export.h"

namespace brisvane::host {

// Each subscription has a thread of its own, which calls back on the subscriber's queue
// in the order of publishing: a slow subscriber holds up no other and no launch.
class BRISVANE_EXPORT LaunchSubscriptions {
 public:
  LaunchSubscriptions();
  LaunchSubscriptions(const LaunchSubscriptions&) = delete;
  LaunchSubscriptions& operator=(const LaunchSubscriptions&) = delete;
  // Ends those that are left.
  ~LaunchSubscriptions();

  // As the service's operations of these names. subscribe() gives 0 when there is no
  // descriptor, thread or memory left for it; selectCodes() gives an errno value then, too.
  [[nodiscard]] SubscriptionHandle subscribe(const SerialQueue& queue, NotificationCallback callback) noexcept;
  [[nodiscard]] std::int32_t selectCodes(SubscriptionHandle subscription, std::span<const std::int32_t> codes) noexcept;
  void unsubscribe(SubscriptionHandle subscription) noexcept;

  // Tells every subscriber who has selected the code, now. With an identifier, of an
  // application; without one, of none. A subscriber that memory runs out for misses it.
  void publish(std::int32_t code, std::optional<std::string_view> identifier) noexcept;

 private:
  class Subscription;
  std::mutex mutex_;
  SubscriptionHandle last_ = 0;
  std::unordered_map<SubscriptionHandle, std::shared_ptr<Subscription>> subscriptions_;
};

// The threads take none of the tool's signals.
class BRISVANE_EXPORT LaunchWorkers {
 public:
  using Work = std::function<void(const std::stop_token&)>;

  LaunchWorkers();
  LaunchWorkers(const LaunchWorkers&) = delete;
  LaunchWorkers& operator=(const LaunchWorkers&) = delete;
  // Asks every worker to stop, and waits for all but the one that this may be called by.
  ~LaunchWorkers();

  // Has the work done in a thread of its own. False when there is none to be had. REQUIRES that
  // the work does not throw, and holds on to all that it uses: it may outlive this object.
  [[nodiscard]] bool start(Work work) noexcept;

 private:
  struct State;
  const std::shared_ptr<State> state_;
};

}  // namespace brisvane::host
