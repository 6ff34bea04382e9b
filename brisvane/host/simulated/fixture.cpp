#include "brisvane/host/simulated/fixture.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>
#include <vector>

#include "brisvane/host/error.h"
#include "brisvane/host/simulated/conversation.h"
#include "brisvane/host/simulated/pseudo_terminal.h"

namespace brisvane::host::simulated {
namespace {

using std::chrono::milliseconds;

// How long a hang-up of the script's waits for the program to read what came before.
constexpr milliseconds kHangUpPatience{500};
constexpr milliseconds kHangUpStep{10};

}  // namespace

// Moves bytes between the pseudo-terminal and the conversation, on the fixture's thread.
class Fixture::Worker {
 public:
  Worker(FixtureScript script, Observer observer) : conversation_(std::move(script)), observer_(std::move(observer)) {}
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() {
    stop();
    if (thread_.joinable()) thread_.join();
  }

  // False with errno set on failure.
  bool start() {
    wake_.set(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (wake_.get() < 0 || !terminal_.open()) return false;
    thread_ = std::thread([this] { run(); });
    return true;
  }

  void stop() noexcept {
    stopping_ = true;
    const std::uint64_t one = 1;
    static_cast<void>(::write(wake_.get(), &one, sizeof one));
  }

  // Until the thread has closed its end.
  void stopAndWait() noexcept {
    stop();
    hungUp_.wait(false);
  }

  [[nodiscard]] const std::string& node() const noexcept { return terminal_.node(); }
  [[nodiscard]] bool hasHungUp() const noexcept { return hungUp_; }

 private:
  void run() {
    while (!stopping_ && !hangUpIsDue()) {
      waitForSomething();
      followConnections();
      receive();
      conversation_.advance(Conversation::Clock::now());
      send();
    }
    terminal_.hangUp();
    hungUp_ = true;
    hungUp_.notify_all();
    tell(Event::kHungUp, {});
  }

  void tell(Event event, ByteView bytes) const {
    if (observer_) observer_(event, bytes);
  }

  void waitForSomething() {
    const bool blocked = !outgoing_.empty();
    std::array<pollfd, 3> requests{{{terminal_.device(), static_cast<short>(blocked ? POLLIN | POLLOUT : POLLIN), 0},
                                    {terminal_.watch(), POLLIN, 0},
                                    {wake_.get(), POLLIN, 0}}};
    ::poll(requests.data(), requests.size(), timeToWait());
  }

  // In milliseconds, as poll wants it; -1 for as long as it takes.
  [[nodiscard]] int timeToWait() const {
    if (hangUpRequested_) return static_cast<int>(kHangUpStep.count());
    const auto now = Conversation::Clock::now();
    const auto due = conversation_.nextDue(now);
    if (!due) return -1;
    const auto left = std::chrono::ceil<milliseconds>(*due - now);
    return static_cast<int>(std::max(left, milliseconds::zero()).count());
  }

  void followConnections() {
    const std::vector<bool> changes = terminal_.openedOrClosed();
    for (auto change = changes.begin(); change != changes.end(); ++change) {
      if (*change) {
        if (programs_++ == 0) begin();
      } else {
        // What waits is the closing program's, unless another has opened the node since.
        if (std::find(change, changes.end(), true) == changes.end()) receive();
        if (--programs_ == 0) end();
      }
    }
    // At every occasion, not at the close alone: the next program may be as quick.
    terminal_.endExclusiveUse();
  }

  void begin() {
    conversation_.begin(Conversation::Clock::now());
    tell(Event::kOpened, {});
  }

  void end() {
    conversation_.end();
    outgoing_.clear();
    terminal_.discardUnread();
    tell(Event::kClosed, {});
  }

  void receive() {
    std::array<std::uint8_t, 4096> chunk;
    for (;;) {
      const ssize_t count = ::read(terminal_.device(), chunk.data(), chunk.size());
      if (count <= 0) return;
      const ByteView bytes = ByteView(chunk).first(static_cast<std::size_t>(count));
      tell(Event::kReceived, bytes);
      conversation_.receive(bytes, Conversation::Clock::now());
    }
  }

  // Writes what is due, as much as the line takes; the rest waits for POLLOUT.
  void send() {
    const Data due = conversation_.takeDue(Conversation::Clock::now());
    outgoing_.insert(outgoing_.end(), due.begin(), due.end());
    if (!outgoing_.empty()) {
      const ssize_t count = ::write(terminal_.device(), outgoing_.data(), outgoing_.size());
      const auto sent = static_cast<std::ptrdiff_t>(std::max(count, ssize_t{0}));
      if (sent > 0) tell(Event::kSent, ByteView(outgoing_).first(static_cast<std::size_t>(sent)));
      outgoing_.erase(outgoing_.begin(), outgoing_.begin() + sent);
    }
    if (conversation_.wantsHangUp() && outgoing_.empty() && !hangUpRequested_) {
      hangUpRequested_ = Conversation::Clock::now();
    }
  }

  // A line that hangs up loses what was not read: the program gets some time for it.
  [[nodiscard]] bool hangUpIsDue() const {
    if (!hangUpRequested_) return false;
    const auto waited = Conversation::Clock::now() - *hangUpRequested_;
    return waited > kHangUpPatience || (waited > 2 * kHangUpStep && terminal_.unread() == 0);
  }

  Conversation conversation_;
  Observer observer_;
  PseudoTerminal terminal_;
  Handle wake_;
  Data outgoing_;
  int programs_ = 0;  // that have the node open
  std::optional<Conversation::Clock::time_point> hangUpRequested_;
  std::atomic<bool> stopping_{false};
  std::atomic<bool> hungUp_{false};
  std::thread thread_;
};

std::unique_ptr<Fixture> Fixture::start(FixtureScript script, std::string& error, Observer observer) {
  auto worker = std::make_unique<Worker>(std::move(script), std::move(observer));
  if (!worker->start()) {
    error = errorText("pseudo-terminal", errno);
    return nullptr;
  }
  return std::unique_ptr<Fixture>(new Fixture(std::move(worker)));
}

Fixture::Fixture(std::unique_ptr<Worker> worker) noexcept : worker_(std::move(worker)) {}
Fixture::~Fixture() = default;

const std::string& Fixture::node() const noexcept { return worker_->node(); }
void Fixture::hangUp() noexcept { worker_->stopAndWait(); }
bool Fixture::hasHungUp() const noexcept { return worker_->hasHungUp(); }

}  // namespace brisvane::host::simulated
