#include "brisvane/host/launching/launch_subscriptions.h"

#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "brisvane/host/files/descriptor.h"
#include "brisvane/types/out_of_memory.h"

namespace brisvane::host {
namespace {

double secondsSinceEpoch() noexcept {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// A thread that takes no signal: the tool's handlers run where it expects them. Fails when there is
// no thread `what`.
template <typename Body>
Result<std::thread> startThread(Body body, std::string_view what) {
  sigset_t all;
  sigset_t before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  const auto restore = [&before](const void* /*scope*/) {
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  };
  const std::unique_ptr<const void, decltype(restore)> scope(&before, restore);
  try {
    return std::thread(std::move(body));
  } catch (const std::system_error& failed) {
    return Error(failed.code().value(), what);
  }
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
  Subscription(const SerialQueue& queue, NotificationCallback callback)
      : queue_(queue), callback_(std::move(callback)) {}
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  // Ends one that nobody could be given.
  ~Subscription() {
    if (thread_.joinable()) end(nullptr);
  }

  // Once, ahead of everything else. Fails when there is no descriptor or thread for it.
  Result<> start() {
    pending_ = real::Descriptor::aboveStandardStreams(::eventfd(0, EFD_CLOEXEC | EFD_SEMAPHORE));
    if (!pending_.valid()) return Error::last("a subscription to launches");
    auto thread = startThread([this] { deliver(); }, "the thread of a subscription to launches");
    if (!thread.ok()) return thread.error();
    thread_ = std::move(thread).value();
    return {};
  }

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
      if (!ended_)
        callback_(next.code, next.time, next.data ? &*next.data : nullptr, nullptr, 0, nullptr);
    });
  }

  const SerialQueue queue_;
  const NotificationCallback callback_;
  std::vector<std::int32_t> codes_;
  std::mutex mutex_;  // the notifications
  std::deque<Notification> notifications_;
  real::Descriptor pending_;  // one for each of them, and one for the end
  std::atomic<bool> ended_{false};
  std::shared_ptr<Subscription> keptByItself_;
  std::thread thread_;
};

LaunchSubscriptions::LaunchSubscriptions() = default;

LaunchSubscriptions::~LaunchSubscriptions() {
  for (auto& [handle, subscription] : subscriptions_) subscription->end(subscription);
}

Result<SubscriptionHandle> LaunchSubscriptions::subscribe(const SerialQueue& queue,
                                                          NotificationCallback callback) {
  auto subscription = std::make_shared<Subscription>(queue, std::move(callback));
  if (const auto started = subscription->start(); !started.ok()) return started.error();
  const std::scoped_lock lock(mutex_);
  subscriptions_.emplace(last_ + 1, std::move(subscription));
  return ++last_;
}

Result<> LaunchSubscriptions::selectCodes(SubscriptionHandle subscription,
                                          std::span<const std::int32_t> codes) {
  const std::scoped_lock lock(mutex_);
  const auto found = subscriptions_.find(subscription);
  if (found == subscriptions_.end()) return Error(EBADF, "a subscription to launches");
  found->second->select(codes);
  return {};
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

void LaunchSubscriptions::publish(std::int32_t code,
                                  std::optional<std::string_view> identifier) noexcept {
  const std::scoped_lock lock(mutex_);
  for (const auto& [handle, subscription] : subscriptions_) {
    if (!subscription->wants(code)) continue;
    // One that lacks memory misses this one, and the others do not.
    unlessOutOfMemory([&, &to = *subscription] {
      std::optional<Dictionary> data;
      if (identifier)
        data = Dictionary{{std::string(LaunchService::kBundleIdentifier), *identifier}};
      to.push({code, secondsSinceEpoch(), std::move(data)});
    });
  }
}

struct LaunchWorkers::State {
  std::mutex mutex;
  std::condition_variable changed;
  std::size_t running = 0;
  std::stop_source stop;
};

namespace {

// Whose worker the thread is.
thread_local const void* currentState = nullptr;

}  // namespace

LaunchWorkers::LaunchWorkers() : state_(std::make_shared<State>()) {}

LaunchWorkers::~LaunchWorkers() {
  state_->stop.request_stop();
  const std::size_t self = currentState == state_.get() ? 1 : 0;
  std::unique_lock lock(state_->mutex);
  state_->changed.wait(lock, [&] { return state_->running == self; });
}

Result<> LaunchWorkers::start(Work work) {
  const std::scoped_lock lock(state_->mutex);
  auto thread = startThread(
      [state = state_, work = std::move(work)]() mutable {
        currentState = state.get();
        work(state->stop.get_token());
        work = nullptr;  // lets go of what it held on to, while it still counts as running
        const std::scoped_lock ended(state->mutex);
        --state->running;
        state->changed.notify_all();
      },
      "the thread to launch in");
  if (!thread.ok()) return thread.error();
  thread.value().detach();
  ++state_->running;
  return {};
}

}  // namespace brisvane::host
