// LaunchSubscriptions, the subscribers of a launch service, and LaunchWorkers, its threads.
// Both are safe from any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stop_token>
#include <string_view>
#include <unordered_map>

#include "brisvane/host/launching/launch_service.h"
#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// Each subscription has a thread of its own. It calls back on the subscriber's queue, in the order
// of publication. So a slow subscriber delays neither other subscribers nor a launch.
class BRISVANE_EXPORT LaunchSubscriptions {
 public:
  LaunchSubscriptions();
  LaunchSubscriptions(const LaunchSubscriptions&) = delete;
  LaunchSubscriptions& operator=(const LaunchSubscriptions&) = delete;
  // Ends the subscriptions that are left.
  ~LaunchSubscriptions();

  // The operations of LaunchService with these names. subscribe() fails when there is no descriptor
  // or thread for the subscription.
  Result<SubscriptionHandle> subscribe(const SerialQueue& queue, NotificationCallback callback);
  Result<> selectCodes(SubscriptionHandle subscription, std::span<const std::int32_t> codes);
  void unsubscribe(SubscriptionHandle subscription) noexcept;

  // Notifies every subscriber that has selected `code`, with the present time. `identifier` names
  // the application; nullopt for none. When memory runs out for a subscriber, it misses this
  // notification. Does not wait for the callbacks.
  void publish(std::int32_t code, std::optional<std::string_view> identifier) noexcept;

 private:
  class Subscription;
  std::mutex mutex_;
  SubscriptionHandle last_ = 0;
  std::unordered_map<SubscriptionHandle, std::shared_ptr<Subscription>> subscriptions_;
};

// Threads of which each does one piece of work. They block the program's signals.
class BRISVANE_EXPORT LaunchWorkers {
 public:
  using Work = std::function<void(const std::stop_token&)>;

  LaunchWorkers();
  LaunchWorkers(const LaunchWorkers&) = delete;
  LaunchWorkers& operator=(const LaunchWorkers&) = delete;
  // Asks every worker to stop, and waits for them. A worker that calls this does not wait for
  // itself.
  ~LaunchWorkers();

  // Runs `work` in a thread of its own. Fails when no thread is available. May throw
  // std::bad_alloc: `work` does not run then.
  // REQUIRES: `work` does not throw. It owns or shares all that it uses, because it may outlive
  // this object.
  Result<> start(Work work);

 private:
  struct State;
  const std::shared_ptr<State> state_;
};

}  // namespace brisvane::host
