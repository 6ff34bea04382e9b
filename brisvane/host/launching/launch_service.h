// LaunchService, the service that opens applications and notifies subscribers of each launch.
// Any number of threads may use a service or a SerialQueue at the same time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"

namespace brisvane::host {

// Runs one piece of work at a time, on the thread that calls perform(). Copies share one queue.
class SerialQueue {
 public:
  explicit SerialQueue(std::string label) : label_(std::move(label)), mutex_(std::make_shared<std::mutex>()) {}

  [[nodiscard]] const std::string& label() const noexcept { return label_; }

  // Calls `work`. Blocks while another thread's work runs.
  // REQUIRES: `work` does not call perform() of the same queue.
  template <typename Work>
  void perform(Work&& work) const {
    const std::scoped_lock lock(*mutex_);
    std::forward<Work>(work)();
  }

 private:
  std::string label_;
  std::shared_ptr<std::mutex> mutex_;
};

// Names a subscription; 0 names none.
using SubscriptionHandle = std::uint64_t;

// The stages of a launch. A platform may have further codes.
struct LaunchCode {
  static constexpr std::int32_t kRequested = 0x100;
  static constexpr std::int32_t kStarted = 0x110;    // its process runs
  static constexpr std::int32_t kUp = 0x102;         // it is ready for use
  static constexpr std::int32_t kActivated = 0x118;  // it was up before, and was brought forward
};

// Called on the subscription's queue. It must not throw.
//  - `code`: the stage, as in LaunchCode;
//  - `time`: in seconds since 1970;
//  - `data`: the application, its identifier under kBundleIdentifier; null when there is none;
//  - `application`, `session`, `further`: without meaning on the platforms of this library.
using NotificationCallback = std::function<void(std::int32_t code, double time, const Dictionary* data,
                                                const void* application, std::int32_t session, const void* further)>;

// Called once for each open(). It must not throw. `error` says what failed and why; nullopt when
// the application has been launched.
// It is called on a thread of the service, perhaps before open() has returned. When the service has
// no thread to launch in, it is called on the thread of open().
using OpenCompletion = std::function<void(const std::optional<std::string>& error)>;

struct OpenConfiguration {
  std::vector<std::string> arguments;
};

// The default operations launch nothing: subscribe() gives 0, selectCodes() and registerBundle()
// give ENOTSUP, unsubscribe() does nothing, and open() calls its completion with an error.
class BRISVANE_EXPORT LaunchService {
 public:
  static constexpr std::string_view kBundleIdentifier = "BkBundleIdentifier";

  LaunchService() = default;
  LaunchService(const LaunchService&) = delete;
  LaunchService& operator=(const LaunchService&) = delete;
  virtual ~LaunchService();

  // Subscribes to every launch of this process. `callback` runs on `queue`, for the codes that
  // selectCodes() chooses, and never before. `session` and `flags` choose whose launches are
  // reported, on platforms that have sessions.
  // The handle of the subscription; 0 when it fails.
  [[nodiscard]] virtual SubscriptionHandle subscribe(std::int32_t session, std::int32_t flags, const SerialQueue& queue,
                                                     NotificationCallback callback) const noexcept;

  // Chooses the codes that a subscription reports. 0 for success. With any other status nothing is
  // reported. `first` to `fourth` have no meaning here.
  [[nodiscard]] virtual std::int32_t selectCodes(SubscriptionHandle subscription, std::span<const std::int32_t> codes,
                                                 std::int32_t first, std::int32_t second, std::int32_t third,
                                                 std::int32_t fourth) const noexcept;

  // Ends a subscription. No callback of it starts afterwards. Blocks until a running callback of it
  // has returned, unless that callback makes this call.
  // REQUIRES, or each would wait for the other:
  //  - no two callbacks end each other's subscription;
  //  - a callback ends no other subscription on its own queue.
  virtual void unsubscribe(SubscriptionHandle subscription) const noexcept;

  // Registers an application with the system, by the file URL of its bundle. 0 for success.
  virtual std::int32_t registerBundle(std::string_view url, bool forceUpdate) const noexcept;

  // Launches the application at a file URL. Returns at once; `completion` has the result.
  virtual void open(std::string_view url, const OpenConfiguration& configuration,
                    OpenCompletion completion) const noexcept;
};

}  // namespace brisvane::host
