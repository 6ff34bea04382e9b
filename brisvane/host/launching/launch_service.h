// The launch service: opens applications and tells subscribers how their launch goes.
// Any number of threads may use one at the same time.
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

// Runs what it is given one at a time, on the thread that gives it. Copies are one queue.
class SerialQueue {
 public:
  explicit SerialQueue(std::string label) : label_(std::move(label)), mutex_(std::make_shared<std::mutex>()) {}

  [[nodiscard]] const std::string& label() const noexcept { return label_; }

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

// What happens to an application on its way up. A platform may tell more.
struct LaunchCode {
  static constexpr std::int32_t kRequested = 0x100;
  static constexpr std::int32_t kStarted = 0x110;    // its process runs
  static constexpr std::int32_t kUp = 0x102;         // it is ready to be used
  static constexpr std::int32_t kActivated = 0x118;  // it was up already, and has been brought forward
};

// Called on the subscription's queue: the code; the moment, in seconds since 1970; what is
// told of the application, its identifier under kBundleIdentifier (null for nothing);
// a reference to it, a session number and a further pointer, which no platform of this library
// gives a meaning. It must not throw.
using NotificationCallback = std::function<void(std::int32_t code, double time, const Dictionary* data,
                                                const void* application, std::int32_t session, const void* further)>;

// Called once, on a thread of the service and perhaps before open() has returned; on the
// caller's own when there is none to launch in: an error that says what failed and why, or
// nullopt when the application has been launched. It must not throw.
using OpenCompletion = std::function<void(const std::optional<std::string>& error)>;

struct OpenConfiguration {
  std::vector<std::string> arguments;
};

// An operation that is not overridden answers "nothing".
class BRISVANE_EXPORT LaunchService {
 public:
  static constexpr std::string_view kBundleIdentifier = "BkBundleIdentifier";

  LaunchService() = default;
  LaunchService(const LaunchService&) = delete;
  LaunchService& operator=(const LaunchService&) = delete;
  virtual ~LaunchService();

  // Has the notifications of every launch of this process called back on `queue`. `session` and `flags` choose whose
  // launches on platforms that know of sessions. 0 when that cannot be had. Nothing is delivered before codes are
  // selected.
  [[nodiscard]] virtual SubscriptionHandle subscribe(std::int32_t session, std::int32_t flags, const SerialQueue& queue,
                                                     NotificationCallback callback) const noexcept;

  // Chooses the codes that are delivered. 0 for success; any other status means that
  // nothing will be. The four further arguments have no meaning here.
  [[nodiscard]] virtual std::int32_t selectCodes(SubscriptionHandle subscription, std::span<const std::int32_t> codes,
                                                 std::int32_t first, std::int32_t second, std::int32_t third,
                                                 std::int32_t fourth) const noexcept;

  // Ends a subscription. No callback of it starts from now on, and one under way has ended
  // when this returns, unless it is called by that callback itself. REQUIRES that no two
  // callbacks end each other's subscription, and that a callback does not end another one on its
  // own queue: each would wait for the other.
  virtual void unsubscribe(SubscriptionHandle subscription) const noexcept;

  // Makes an application known by the file URL of its bundle. 0 for success.
  virtual std::int32_t registerBundle(std::string_view url, bool forceUpdate) const noexcept;

  // Launches the application at a file URL. Returns at once.
  virtual void open(std::string_view url, const OpenConfiguration& configuration,
                    OpenCompletion completion) const noexcept;
};

}  // namespace brisvane::host
