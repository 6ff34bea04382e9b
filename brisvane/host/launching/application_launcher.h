// ApplicationLauncher, the launch service on Linux: executables, AppDirs and desktop entries.
// Safe from any thread. Each launched application has a thread here until the application has
// ended, or until its activation on the session bus is finished.
#pragma once

#include <memory>

#include "brisvane/host/launching/launch_service.h"
#include "brisvane/host/launching/launch_subscriptions.h"

namespace brisvane::host::real {

class ApplicationLauncher final : public LaunchService {
 public:
  Result<SubscriptionHandle> subscribe(std::int32_t session, std::int32_t flags,
                                       const SerialQueue& queue,
                                       NotificationCallback callback) const override;
  Result<> selectCodes(SubscriptionHandle subscription, std::span<const std::int32_t> codes,
                       std::int32_t first, std::int32_t second, std::int32_t third,
                       std::int32_t fourth) const override;
  void unsubscribe(SubscriptionHandle subscription) const noexcept override;
  // Does nothing and succeeds: Linux needs no registration.
  Result<> registerBundle(std::string_view url, bool forceUpdate) const override;
  void open(std::string_view url, const OpenConfiguration& configuration,
            OpenCompletion completion) const override;

 private:
  const std::shared_ptr<LaunchSubscriptions> subscriptions_ =
      std::make_shared<LaunchSubscriptions>();
  mutable LaunchWorkers workers_;
};

}  // namespace brisvane::host::real
