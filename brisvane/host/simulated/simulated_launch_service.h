// The launch service of a simulated machine: applications that come up as described.
// Private to the simulated machine. Safe from any thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "brisvane/host/launching/launch_service.h"
#include "brisvane/host/launching/launch_subscriptions.h"
#include "brisvane/host/machine/description_reader.h"

namespace brisvane::host::simulated {

class DescribedLauncher final : public LaunchService {
 public:
  // From the fields "applications" and "launchService" of a description. Throws DescriptionError.
  explicit DescribedLauncher(DescriptionReader& machine);

  Result<SubscriptionHandle> subscribe(std::int32_t session, std::int32_t flags,
                                       const SerialQueue& queue,
                                       NotificationCallback callback) const override;
  Result<> selectCodes(SubscriptionHandle subscription, std::span<const std::int32_t> codes,
                       std::int32_t first, std::int32_t second, std::int32_t third,
                       std::int32_t fourth) const override;
  void unsubscribe(SubscriptionHandle subscription) const noexcept override;
  Result<> registerBundle(std::string_view url, bool forceUpdate) const override;
  void open(std::string_view url, const OpenConfiguration& configuration,
            OpenCompletion completion) const override;

 private:
  // One thing that happens after an application has been asked for.
  struct Event {
    double delay = 0;                       // seconds after the one before
    std::optional<std::int32_t> code;       // of a notification; nullopt for the answer
    std::optional<std::string> identifier;  // that the notification names
    std::optional<Error> error;             // that the answer gives
  };
  struct Application {
    std::string path;
    std::vector<Event> events;
  };
  static Application readApplication(const Object& description, const std::string& place);
  static Event readEvent(const Object& description, const std::string& place,
                         const std::string& identifier);

  std::vector<Application> applications_;
  bool refusesSubscriptions_ = false;
  const std::shared_ptr<LaunchSubscriptions> subscriptions_ =
      std::make_shared<LaunchSubscriptions>();
  mutable LaunchWorkers workers_;
};

}  // namespace brisvane::host::simulated
