#include "brisvane/host/simulated/simulated_launch_service.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <limits>
#include <thread>
#include <utility>

#include "brisvane/host/formats/file_url.h"

namespace brisvane::host::simulated {
namespace {

// False when the worker is asked to stop before the time has passed.
bool pauseFor(double seconds, const std::stop_token& stop) {
  constexpr std::chrono::milliseconds kStep(10);
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!stop.stop_requested() && std::chrono::steady_clock::now() < end) {
    const std::chrono::duration<double> left = end - std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::min<std::chrono::duration<double>>(left, kStep));
  }
  return !stop.stop_requested();
}

}  // namespace

DescribedLauncher::DescribedLauncher(DescriptionReader& machine) {
  for (const auto& [description, place] : machine.elements("applications")) {
    applications_.push_back(readApplication(description, place));
  }
  if (auto service = machine.object("launchService")) {
    refusesSubscriptions_ = service->boolean("refusesSubscriptions", false);
    service->finish();
  }
}

DescribedLauncher::Application DescribedLauncher::readApplication(const Object& description,
                                                                  const std::string& place) {
  DescriptionReader reader(description, place);
  Application application;
  application.path = reader.text("path");
  if (!application.path.starts_with('/')) reader.fail("path", "must be absolute");
  const std::string identifier = reader.shortText("identifier");
  for (const auto& [event, where] : reader.elements("launch")) {
    application.events.push_back(readEvent(event, where, identifier));
  }
  if (!reader.has("launch")) {
    application.events = {{0, LaunchCode::kRequested, identifier, {}},
                          {0, LaunchCode::kStarted, identifier, {}},
                          {0, {}, {}, {}},
                          {0, LaunchCode::kUp, identifier, {}}};
  }
  reader.finish();
  return application;
}

DescribedLauncher::Event DescribedLauncher::readEvent(const Object& description,
                                                      const std::string& place,
                                                      const std::string& identifier) {
  DescriptionReader reader(description, place);
  Event event;
  event.delay = reader.seconds("delay", 0);
  if (reader.has("code")) {
    constexpr std::size_t kLargest = std::numeric_limits<std::int32_t>::max();
    event.code = static_cast<std::int32_t>(reader.count("code", 0, 0, kLargest));
    event.identifier = identifier;
    if (reader.has("identifier")) {
      const bool hasNone = reader.value("identifier").isNull();
      event.identifier = hasNone ? std::nullopt : std::optional(reader.shortText("identifier"));
    }
  } else {
    if (!reader.boolean("answer", false))
      reader.fail("answer", "must be true, or there must be a code");
    if (reader.has("error")) event.error = Error::because(reader.text("error"));
  }
  reader.finish();
  return event;
}

Result<SubscriptionHandle> DescribedLauncher::subscribe(std::int32_t /*session*/,
                                                        std::int32_t /*flags*/,
                                                        const SerialQueue& queue,
                                                        NotificationCallback callback) const {
  if (refusesSubscriptions_) return Error(EPERM, "subscriptions to launches");
  return subscriptions_->subscribe(queue, std::move(callback));
}

Result<> DescribedLauncher::selectCodes(SubscriptionHandle subscription,
                                        std::span<const std::int32_t> codes, std::int32_t /*first*/,
                                        std::int32_t /*second*/, std::int32_t /*third*/,
                                        std::int32_t /*fourth*/) const {
  return subscriptions_->selectCodes(subscription, codes);
}

void DescribedLauncher::unsubscribe(SubscriptionHandle subscription) const noexcept {
  subscriptions_->unsubscribe(subscription);
}

Result<> DescribedLauncher::registerBundle(std::string_view /*url*/, bool /*forceUpdate*/) const {
  return {};
}

void DescribedLauncher::open(std::string_view url, const OpenConfiguration& /*configuration*/,
                             OpenCompletion completion) const {
  const auto path = pathOfFileUrl(url);
  const auto found =
      std::find_if(applications_.begin(), applications_.end(),
                   [&path](const Application& application) { return application.path == path; });
  std::vector<Event> events;
  if (found != applications_.end()) {
    events = found->events;
  } else {
    events.emplace_back().error =
        path ? Error(ENOENT, shownPath(*path))
             : Error::because("is no file URL", url.empty() ? "an empty URL" : url);
  }
  const auto started = workers_.start([subscriptions = subscriptions_, events = std::move(events),
                                       completion](const std::stop_token& stop) {
    for (const Event& event : events) {
      if (!pauseFor(event.delay, stop)) return;
      if (event.code) {
        subscriptions->publish(*event.code, event.identifier);
      } else {
        completion(nullptr, event.error ? Result<>(*event.error) : Result<>());
      }
    }
  });
  if (!started.ok()) completion(nullptr, started.error());
}

}  // namespace brisvane::host::simulated
