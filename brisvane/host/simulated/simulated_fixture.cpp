#include "brisvane/host/simulated/simulated_fixture.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <new>
#include <system_error>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "brisvane/host/simulated/simulated_conversation.h"
#include "brisvane/host/simulated/simulated_pseudo_terminal.h"

namespace brisvane::host::simulated {
namespace {

using std::chrono::milliseconds;

// How long a hang-up of the script's waits for the program to read what came before.
constexpr milliseconds kHangUpPatience{2000};

// How long a program may take from its close to giving back its lock.
constexpr milliseconds kClosingTime{50};

// The time between two looks at either.
constexpr milliseconds kStep{5};

}  // namespace

// Moves bytes between the pseudo-terminal and the conversation, on the fixture's thread.
class Fixture::Worker {
 public:
  Worker(FixtureScript script, Observer observer)
      : conversation_(std::move(script)), observer_(std::move(observer)) {}
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() {
    stop();
    if (thread_.joinable()) thread_.join();
  }

  Result<> start() {
    wake_.set(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (wake_.get() < 0) return Error::last("pseudo-terminal");
    if (auto opened = terminal_.open(); !opened.ok()) return opened;
    try {
      thread_ = std::thread([this] { run(); });
    } catch (const std::system_error& refused) {
      return Error(refused.code().value(), "pseudo-terminal");
    }
    return {};
  }

  void stop() noexcept {
    stopping_ = true;
    const std::uint64_t one = 1;
    std::ignore = ::write(wake_.get(), &one, sizeof one);
  }

  // Until the thread has closed its end.
  void stopAndWait() noexcept {
    stop();
    closed_.wait(false);
  }

  [[nodiscard]] const std::string& node() const noexcept { return terminal_.node(); }
  [[nodiscard]] bool hasHungUp() const noexcept { return hungUp_; }

 private:
  void run() noexcept {
    try {
      converse();
    } catch (const std::bad_alloc&) {
      // A fixture that cannot go on hangs up.
    }
    // In this order: who sees the line hang up finds it reported.
    hungUp_ = true;
    terminal_.hangUp();
    closed_ = true;
    closed_.notify_all();
    try {
      tell(Event::kHungUp, {});
    } catch (const std::bad_alloc&) {
      // The observer has missed it; the line has hung up all the same.
    }
  }

  void converse() {
    while (!stopping_ && !hangUpIsDue()) {
      waitForSomething();
      // Read first: then every opening ahead of these bytes is known.
      Data received = read();
      followConnections(received);
      hear(received);
      conversation_.advance(Conversation::Clock::now());
      send();
    }
  }

  void tell(Event event, ByteView bytes) const {
    if (observer_) observer_(event, bytes);
  }

  void waitForSomething() {
    const bool blocked = !outgoing_.empty() && !hangUpRequested_;
    std::array<pollfd, 3> requests{
        {{terminal_.device(), static_cast<short>(blocked ? POLLIN | POLLOUT : POLLIN), 0},
         {terminal_.watch(), POLLIN, 0},
         {wake_.get(), POLLIN, 0}}};
    ::poll(requests.data(), requests.size(), timeToWait());
  }

  // In milliseconds, as poll wants it; -1 for as long as it takes.
  [[nodiscard]] int timeToWait() const {
    if (hangUpRequested_ || closedAt_) return static_cast<int>(kStep.count());
    const auto now = Conversation::Clock::now();
    const auto due = conversation_.nextDue(now);
    if (!due) return -1;
    const auto left = std::chrono::ceil<milliseconds>(*due - now);
    return static_cast<int>(std::max(left, milliseconds::zero()).count());
  }

  // inotify reports that programs have opened or closed the node, but merges events that
  // follow each other, so that they cannot be counted. One program at a time is what a
  // fixture is for; a second one that is refused opens and closes, too. Only the lock
  // tells them apart, which a program may give back a moment after its close is told.
  void followConnections(Data& received) {
    const auto now = Conversation::Clock::now();
    for (const bool opened : terminal_.openedOrClosed()) {
      if (opened && connected_ && closedAt_) end();  // one has gone, the next has come
      if (opened && !connected_) begin();
      if (!opened && connected_) closedAt_ = now;
    }
    if (!closedAt_) return;
    // Asked for before the lock: a mark that was there, while nobody has the lock afterwards, is
    // not that of a program which comes at this moment.
    const bool marked = terminal_.isMarked();
    if (!terminal_.isLocked()) {
      hear(std::exchange(received, {}));  // it is the closing program's
      end();
      if (marked) terminal_.clearMark();
    } else if (now - *closedAt_ > kClosingTime) {
      closedAt_.reset();
    }
  }

  void begin() {
    connected_ = true;
    conversation_.begin(Conversation::Clock::now());
    tell(Event::kOpened, {});
  }

  void end() {
    connected_ = false;
    closedAt_.reset();
    conversation_.end();
    outgoing_.clear();
    terminal_.discardUnread();
    tell(Event::kClosed, {});
  }

  // What the program has written, so much that a talkative one leaves time for the rest.
  [[nodiscard]] Data read() const {
    constexpr std::size_t kMost = std::size_t{64} << 10U;
    Data received;
    std::array<std::uint8_t, 4096> chunk;
    while (received.size() < kMost) {
      const ssize_t count = ::read(terminal_.device(), chunk.data(), chunk.size());
      if (count <= 0) break;
      received.insert(received.end(), chunk.begin(), chunk.begin() + count);
    }
    return received;
  }

  void hear(const Data& received) {
    if (received.empty()) return;
    tell(Event::kReceived, received);
    conversation_.receive(received, Conversation::Clock::now());
  }

  // Writes what is due, as much as the line takes; the rest waits for POLLOUT. Of the
  // bytes beyond the script's hang-up none is sent.
  void send() {
    const Data due = conversation_.takeDue(Conversation::Clock::now());
    outgoing_.insert(outgoing_.end(), due.begin(), due.end());
    const std::size_t allowed =
        conversation_.hangUpAfter().value_or(sent_ + outgoing_.size()) - sent_;
    if (!outgoing_.empty() && allowed > 0) {
      const ssize_t count =
          ::write(terminal_.device(), outgoing_.data(), std::min(outgoing_.size(), allowed));
      const auto sent = static_cast<std::size_t>(std::max(count, ssize_t{0}));
      if (sent > 0) tell(Event::kSent, ByteView(outgoing_).first(sent));
      outgoing_.erase(outgoing_.begin(), outgoing_.begin() + static_cast<std::ptrdiff_t>(sent));
      sent_ += sent;
    }
    const bool over =
        conversation_.hangUpAfter() == sent_ || (conversation_.wantsHangUp() && outgoing_.empty());
    if (over && !hangUpRequested_) hangUpRequested_ = Conversation::Clock::now();
  }

  // A line that hangs up loses what was not read: the program gets some time for it.
  [[nodiscard]] bool hangUpIsDue() const {
    if (!hangUpRequested_) return false;
    const auto waited = Conversation::Clock::now() - *hangUpRequested_;
    return waited > kHangUpPatience || (waited > 4 * kStep && terminal_.unread() == 0);
  }

  Conversation conversation_;
  Observer observer_;
  PseudoTerminal terminal_;
  Handle wake_;
  Data outgoing_;
  std::size_t sent_ = 0;  // bytes, over the fixture's life
  bool connected_ = false;
  std::optional<Conversation::Clock::time_point>
      closedAt_;  // a program whose lock may still be held
  std::optional<Conversation::Clock::time_point> hangUpRequested_;
  std::atomic<bool> stopping_{false};
  std::atomic<bool> hungUp_{false};
  std::atomic<bool> closed_{false};
  std::thread thread_;
};

Result<std::unique_ptr<Fixture>> Fixture::start(FixtureScript script, Observer observer) {
  auto worker = std::make_unique<Worker>(std::move(script), std::move(observer));
  if (const auto started = worker->start(); !started.ok()) return started.error();
  return std::unique_ptr<Fixture>(new Fixture(std::move(worker)));
}

Fixture::Fixture(std::unique_ptr<Worker> worker) noexcept : worker_(std::move(worker)) {}
Fixture::~Fixture() = default;

const std::string& Fixture::node() const noexcept { return worker_->node(); }
void Fixture::hangUp() noexcept { worker_->stopAndWait(); }
bool Fixture::hasHungUp() const noexcept { return worker_->hasHungUp(); }

}  // namespace brisvane::host::simulated
