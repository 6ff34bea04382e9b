#include "brisvane/host/launch_subscriptions.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <deque>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "brisvane/host/linux/descriptor.h"

namespace brisvane::host {
namespace {

double secondsSinceEpoch() noexcept {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

struct Notification {
  std::int32_t code;
  double time;
  std::optional<Dictionary> data;
};

}  // namespace

// One subscriber, its thread, and what that has still to deliver.
class LaunchSubscriptions::Subscription {
 public:
  // Throws std::system_error when there is no descriptor or thread for it.
  Subscription(SerialQueue& queue, NotificationCallback callback)
      : queue_(queue),
        callback_(std::move(callback)),
        pending_(real::Descriptor::aboveStandardStreams(::eventfd(0, EFD_CLOEXEC | EFD_SEMAPHORE))) {
    if (!pending_.valid()) throw std::system_error(errno, std::generic_category());
    thread_ = std::thread([this] { deliver(); });
  }
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  ~Subscription() = default;

  // REQUIRES of both: the subscriptions' lock is held.
  void select(std::span<const std::int32_t> codes) { codes_.assign(codes.begin(), codes.end()); }
  [[nodiscard]] bool wants(std::int32_t code) const noexcept {
    return std::find(codes_.begin(), codes_.end(), code) != codes_.end();
  }

  void push(Notification notification) {
    {
      const std::scoped_lock lock(mutex_);
      notifications_.push_back(std::move(notification));
    }
    wake();
  }

  // Ends the thread and waits for it, unless it is the one that calls: `self` then keeps the
  // subscription until that is done.
  void end(std::shared_ptr<Subscription> self) noexcept {
    ended_ = true;
    wake();
    if (thread_.get_id() != std::this_thread::get_id()) return thread_.join();
    keptByItself_ = std::move(self);
    thread_.detach();
  }

 private:
  void wake() const noexcept {
    const std::uint64_t one = 1;
    while (::write(pending_.get(), &one, sizeof one) < 0 && errno == EINTR) {
    }
  }

  void deliver() noexcept {
    std::uint64_t count = 0;
    while (!ended_) {
      if (::read(pending_.get(), &count, sizeof count) != sizeof count) continue;
      std::optional<Notification> next;
      {
        const std::scoped_lock lock(mutex_);
        if (!notifications_.empty()) {
          next = std::move(notifications_.front());
          notifications_.pop_front();
        }
      }
      if (next) callBack(*next);
    }
    const std::shared_ptr<Subscription> last = std::move(keptByItself_);
  }

  void callBack(const Notification& next) {
    queue_.perform([&] {
      if (!ended_) callback_(next.code, next.time, next.data ? &*next.data : nullptr, nullptr, 0, nullptr);
    });
  }

  SerialQueue& queue_;
  const NotificationCallback callback_;
  std::vector<std::int32_t> codes_;
  std::mutex mutex_;  // the notifications
  std::deque<Notification> notifications_;
  const real::Descriptor pending_;  // one for each of them, and one for the end
  std::atomic<bool> ended_{false};
  std::shared_ptr<Subscription> keptByItself_;
  std::thread thread_;
};

LaunchSubscriptions::LaunchSubscriptions() = default;

LaunchSubscriptions::~LaunchSubscriptions() {
  for (auto& [handle, subscription] : subscriptions_) subscription->end(subscription);
}

SubscriptionHandle LaunchSubscriptions::subscribe(SerialQueue& queue, NotificationCallback callback) noexcept try {
  auto subscription = std::make_shared<Subscription>(queue, std::move(callback));
  const std::scoped_lock lock(mutex_);
  try {
    subscriptions_.emplace(++last_, subscription);
  } catch (const std::bad_alloc&) {
    subscription->end(subscription);
    return 0;
  }
  return last_;
} catch (const std::bad_alloc&) {
  return 0;
} catch (const std::system_error&) {
  return 0;
}

std::int32_t LaunchSubscriptions::selectCodes(SubscriptionHandle subscription,
                                              std::span<const std::int32_t> codes) noexcept try {
  const std::scoped_lock lock(mutex_);
  const auto found = subscriptions_.find(subscription);
  if (found == subscriptions_.end()) return EBADF;
  found->second->select(codes);
  return 0;
} catch (const std::bad_alloc&) {
  return ENOMEM;
}

void LaunchSubscriptions::unsubscribe(SubscriptionHandle subscription) noexcept {
  std::shared_ptr<Subscription> ended;
  {
    const std::scoped_lock lock(mutex_);
    const auto found = subscriptions_.find(subscription);
    if (found == subscriptions_.end()) return;
    ended = std::move(found->second);
    subscriptions_.erase(found);
  }
  ended->end(ended);
}

void LaunchSubscriptions::publish(std::int32_t code, std::optional<std::string_view> identifier) noexcept {
  const std::scoped_lock lock(mutex_);
  for (const auto& [handle, subscription] : subscriptions_) {
    if (!subscription->wants(code)) continue;
    try {
      std::optional<Dictionary> data;
      if (identifier) data = Dictionary{{std::string(LaunchService::kBundleIdentifier), *identifier}};
      subscription->push({code, secondsSinceEpoch(), std::move(data)});
    } catch (const std::bad_alloc&) {
      // It misses this one.
    }
  }
}

bool LaunchSubscriptions::empty() const noexcept {
  const std::scoped_lock lock(mutex_);
  return subscriptions_.empty();
}

struct LaunchWorkers::Worker {
  std::atomic<bool> isDone{false};
  std::jthread thread;  // the last: ends before the flag goes
};

LaunchWorkers::LaunchWorkers() = default;

LaunchWorkers::~LaunchWorkers() {
  for (Worker& worker : workers_) worker.thread.request_stop();
}

bool LaunchWorkers::start(Work work) noexcept try {
  const std::scoped_lock lock(mutex_);
  workers_.remove_if([](const Worker& worker) { return worker.isDone.load(); });
  Worker& worker = workers_.emplace_back();
  try {
    worker.thread = std::jthread([&worker, work = std::move(work)](const std::stop_token& stop) {
      work(stop);
      worker.isDone = true;
    });
  } catch (...) {
    workers_.pop_back();
    throw;
  }
  return true;
} catch (const std::bad_alloc&) {
  return false;
} catch (const std::system_error&) {
  return false;
}

}  // namespace brisvane::host
