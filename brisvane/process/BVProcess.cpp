#include "brisvane/process/BVProcess.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "brisvane/host/formats/file_url.h"
#include "brisvane/host/formats/json.h"
#include "brisvane/host/launching/launch_service.h"
#include "brisvane/host/platform.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/process/wait_object.h"
#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"

namespace brisvane {
namespace {

using host::LaunchService;

constexpr std::string_view kQueueLabel = "org.brisvane.process.runapp";
constexpr std::int32_t kSession = -2;

constexpr std::array<std::int32_t, 6> kCodes{0x100, 0x110, 0x118, 0x106, 0x103, 0x102};

// What the two callbacks call themselves in their lines.
constexpr std::string_view kNotified = "launchNotification";
constexpr std::string_view kCompleted = "openCompletion";

bool isFinishing(std::int32_t code) noexcept {
  return code == 0x102 || code == 0x103 || code == 0x106 || code == 0x118;
}
bool isQuiet(std::int32_t code) noexcept { return code == 0x100 || code == 0x110; }

// Short enough for a text to need no memory.
std::string hexText(std::int32_t code) noexcept {
  std::array<char, 9> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%x", static_cast<unsigned>(code)));
  return text.data();
}

// Whole seconds as nanoseconds: 2^31 of them are far from the 64 bits' end.
std::chrono::nanoseconds limitOf(std::int32_t seconds) noexcept {
  return std::chrono::nanoseconds(std::int64_t{seconds} * 1'000'000'000);
}

// Without memory the line is lost, and what it reports is not.
void debug(std::initializer_list<std::string_view> pieces) noexcept {
  unlessOutOfMemory([&] { BVLog::Default::debug(join(pieces)); });
}

// A text as it is, any other value as JSON.
std::string textOf(const Object& value) {
  const std::string* const text = value.ifText();
  return text != nullptr ? *text : host::jsonText(value).value_or("(too long to show)");
}

// Whether a notification is about the expected application.
bool concerns(const Dictionary& data, const std::optional<std::string>& bundleID) noexcept {
  const auto found = data.find(LaunchService::kBundleIdentifier);
  const bool isThere = found != data.end();
  unlessOutOfMemory([&] {
    debug({kNotified, " BkBundleIdentifier: ", isThere ? textOf(found->second) : "(null)"});
  });
  const std::string* const identifier = isThere ? found->second.ifText() : nullptr;
  return identifier != nullptr && bundleID == *identifier;
}

void onNotification(std::int32_t code, const Dictionary* data,
                    const std::optional<std::string>& bundleID, WaitObject& up) noexcept {
  debug({kNotified, " -- RQNotificationID: ", hexText(code), " --"});
  if (data != nullptr && !concerns(*data, bundleID)) return;
  if (isFinishing(code)) {
    debug({kNotified, " doneWithApplicaion : 1"});
    return up.signal();
  }
  if (!isQuiet(code)) debug({kNotified, " Ignore RQNotificationID: ", std::to_string(code)});
  debug({kNotified, " doneWithApplicaion : 0"});
}

std::string_view failureText(std::int64_t result) noexcept {
  if (result == BVProcess::kRunAppNoNotifications) return "Error in setup notification";
  return result == BVProcess::kRunAppTimedOut ? "Process timed out"
                                              : "Error in launching application";
}

// A subscription to the codes, for as long as this object lives.
class Notifications {
 public:
  Notifications(const LaunchService& service, const host::SerialQueue& queue,
                host::NotificationCallback callback)
      : service_(service), handle_(service.subscribe(kSession, 0, queue, std::move(callback))) {}
  Notifications(const Notifications&) = delete;
  Notifications& operator=(const Notifications&) = delete;
  ~Notifications() {
    if (handle_.ok()) service_.unsubscribe(handle_.value());
  }

  [[nodiscard]] bool select(std::span<const std::int32_t> codes) const {
    return handle_.ok() && service_.selectCodes(handle_.value(), codes, 0, 0, 0, 0).ok();
  }

 private:
  const LaunchService& service_;
  const Result<host::SubscriptionHandle> handle_;
};

// What an open request and its completion share; the later of them lets go of it.
struct Opening {
  WaitObject answered;
  std::atomic<std::int32_t> failed{0};
};

void onCompletion(const Result<>& launched, Opening& opening) noexcept {
  debug({kCompleted, " completionHandler called"});
  if (!launched.ok()) {
    opening.failed = 1;
    unlessOutOfMemory([&] {
      BVLog::Default::error(join({"openAppURL Error: ", launched.error().text()}));
    });
  }
  opening.answered.signal();
}

bool openOn(const host::Platform& platform, std::string_view url,
            const std::vector<std::string>& arguments, std::int32_t timeOut) {
  const LaunchService& service = platform.launchService();
  static_cast<void>(service.registerBundle(url, false));
  const auto opening = std::make_shared<Opening>();
  service.open(url, {arguments}, [opening](const void* /*application*/, const Result<>& launched) {
    onCompletion(launched, *opening);
  });
  if (!opening->answered.wait(limitOf(timeOut), platform.clock())) {
    BVLog::Default::error("openApplicationAtURL timed out");
    opening->failed = 1;
    return false;
  }
  return opening->failed == 0;
}

// Everything between the setting up of notifications and their end.
std::int64_t launchAndWait(const host::Platform& platform, Text path,
                           const std::vector<std::string>& arguments, Text bundleID,
                           std::int32_t timeOut) {
  const auto up = std::make_shared<WaitObject>();
  const host::SerialQueue queue{std::string(kQueueLabel)};
  const Notifications notifications(
      platform.launchService(), queue,
      [expected = bundleID.copy(), up](std::int32_t code, double /*time*/, const Dictionary* data,
                                       const void* /*application*/, std::int32_t /*session*/,
                                       const void* /*further*/) {
        onNotification(code, data, expected, *up);
      });
  if (!notifications.select(kCodes)) return BVProcess::kRunAppNoNotifications;
  const std::string url = host::fileUrl(path.orEmpty());
  BVLog::Default::debug("using openItemWithURL");
  if (!openOn(platform, url, arguments, timeOut)) return BVProcess::kRunAppNotLaunched;
  return up->wait(limitOf(timeOut), platform.clock()) ? BVProcess::kRunAppUp
                                                      : BVProcess::kRunAppTimedOut;
}

}  // namespace

std::int64_t BVProcess::runApp(Text path, const std::vector<std::string>& arguments, Text bundleID,
                               std::int32_t timeOut) noexcept {
  const auto platform = host::platform();
  const std::int64_t result = memoryPermitting(kRunAppNotLaunched, [&] {
    return launchAndWait(*platform, path, arguments, bundleID, timeOut);
  });
  if (result != kRunAppUp) {
    unlessOutOfMemory([&] { BVLog::Default::error(join({"runApp: ", failureText(result)})); });
  }
  return result;
}

bool BVProcess::openItemWithURL(Text url, const std::vector<std::string>& launchParameters,
                                std::int32_t timeOut) noexcept {
  const auto platform = host::platform();
  return memoryPermitting(
      false, [&] { return openOn(*platform, url.orEmpty(), launchParameters, timeOut); });
}

}  // namespace brisvane
