// LaunchService, the service that opens applications and notifies subscribers of each launch.
// Any number of threads may use a service or a SerialQueue at the same time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// Runs one piece of work at a time, on the thread that calls perform(). Copies share one queue.
class SerialQueue {
 public:
  explicit SerialQueue(std::string label)
      : label_(std::move(label)), mutex_(std::make_shared<std::mutex>()) {}

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
//  - `application`: the platform's own reference to the application;
//  - `session`: whose launch it is, on platforms that have sessions;
//  - `further`: what else the platform passes.
// On Linux and on the simulated machine the last three are null, 0 and null.
using NotificationCallback =
    std::function<void(std::int32_t code, double time, const Dictionary* data,
                       const void* application, std::int32_t session, const void* further)>;

// Called once for each open() that returns. It must not throw.
//  - `application`: the platform's own reference to the running application; null on Linux, on the
//    simulated machine and for a failure;
//  - `launched`: success, or why the application was not launched.
// It is called on a thread of the service, perhaps before open() has returned. When the service has
// no thread to launch in, it is called on the thread of open().
using OpenCompletion = std::function<void(const void* application, const Result<>& launched)>;

struct OpenConfiguration {
  std::vector<std::string> arguments;
};

// The default operations launch nothing. They fail, unsubscribe() does nothing, and open() calls
// its completion with an error.
// REQUIRES of each implementation: an operation throws nothing but std::bad_alloc. When it does so,
// it has had no effect. unsubscribe() throws nothing.
class BRISVANE_EXPORT LaunchService {
 public:
  static constexpr std::string_view kBundleIdentifier = "BkBundleIdentifier";

  LaunchService() = default;
  LaunchService(const LaunchService&) = delete;
  LaunchService& operator=(const LaunchService&) = delete;
  virtual ~LaunchService();

  // Subscribes to every launch of this process. `callback` runs on `queue`, for the codes that
  // selectCodes() chooses, and never before. `session` and `flags` choose whose launches are
  // reported, on platforms that have sessions; BVProcess passes -2 and 0.
  // The handle of the subscription, which is not 0.
  virtual Result<SubscriptionHandle> subscribe(std::int32_t session, std::int32_t flags,
                                               const SerialQueue& queue,
                                               NotificationCallback callback) const;

  // Chooses the codes that a subscription reports. When it fails, nothing is reported. `first` to
  // `fourth` are the platform's own; BVProcess passes 0.
  virtual Result<> selectCodes(SubscriptionHandle subscription, std::span<const std::int32_t> codes,
                               std::int32_t first, std::int32_t second, std::int32_t third,
                               std::int32_t fourth) const;

  // Ends a subscription. No callback of it starts afterwards. Blocks until a running callback of it
  // has returned, unless that callback makes this call.
  // REQUIRES, or each would wait for the other:
  //  - no two callbacks end each other's subscription;
  //  - a callback ends no other subscription on its own queue.
  virtual void unsubscribe(SubscriptionHandle subscription) const noexcept;

  // Registers an application with the system, by the file URL of its bundle. `forceUpdate`
  // registers it once more when the system knows it already.
  virtual Result<> registerBundle(std::string_view url, bool forceUpdate) const;

  // Launches the application at a file URL. Returns at once; `completion` has the result.
  virtual void open(std::string_view url, const OpenConfiguration& configuration,
                    OpenCompletion completion) const;
};

}  // namespace brisvane::host
