// A subscriber of a launch service, whose notifications and answers a test waits for.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "brisvane/host/launching/launch_service.h"

namespace brisvane::testing {

class Launches {
 public:
  using Heard = std::vector<std::pair<std::int32_t, std::string>>;  // codes and identifiers

  Launches(const host::LaunchService& service, std::vector<std::int32_t> codes)
      : service_(service) {
    const auto subscribed = service.subscribe(
        -2, 0, host::SerialQueue("test"), [this](auto code, auto, auto* data, auto...) {
          const Object* const named =
              data != nullptr ? &data->at(std::string(service_.kBundleIdentifier)) : nullptr;
          const std::scoped_lock lock(mutex_);
          heard_.emplace_back(code, named != nullptr ? named->text().value_or("") : "");
          changed_.notify_all();
        });
    EXPECT_TRUE(subscribed.ok());
    subscription_ = subscribed.ok() ? subscribed.value() : 0;
    EXPECT_TRUE(service.selectCodes(subscription_, codes, 0, 0, 0, 0).ok());
  }
  Launches(const Launches&) = delete;
  Launches& operator=(const Launches&) = delete;
  ~Launches() { end(); }
  void end() { service_.unsubscribe(std::exchange(subscription_, 0)); }

  // The answer to the launch of what a file URL names: what failed; nullopt for nothing.
  [[nodiscard]] std::optional<std::string> launch(std::string_view url) const {
    auto answer = std::make_shared<std::promise<std::optional<std::string>>>();
    auto given = answer->get_future();
    service_.open(url, {}, [answer](const void* /*application*/, const Result<>& launched) {
      answer->set_value(launched.ok() ? std::nullopt : std::optional(launched.error().text()));
    });
    if (given.wait_for(kHangs) == std::future_status::ready) return given.get();
    ADD_FAILURE() << "no answer for " << url;
    return "no answer";
  }

  // What has been heard, once it is so much.
  [[nodiscard]] Heard heard(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kHangs, [&] { return heard_.size() >= count; });
    return heard_;
  }

 private:
  static constexpr std::chrono::seconds kHangs{20};
  const host::LaunchService& service_;
  std::mutex mutex_;
  std::condition_variable changed_;
  Heard heard_;
  host::SubscriptionHandle subscription_ = 0;
};

}  // namespace brisvane::testing
