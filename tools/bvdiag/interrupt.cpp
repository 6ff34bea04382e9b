#include "interrupt.h"

#include <poll.h>

#include <algorithm>
#include <atomic>
#include <csignal>

namespace bvdiag {
namespace {

std::atomic<int> raised{0};  // by this signal
std::atomic<bool> byTerminal{false};
std::atomic<bool> isFinishing{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "a signal handler must not wait");

std::atomic<void (*)() noexcept> restoration{nullptr};

// The signal is delivered again, with its default action, when the handler has returned.
extern "C" void restoreAndEnd(int signal) {
  if (const auto restore = restoration.load()) restore();
  static_cast<void>(std::signal(signal, SIG_DFL));
  static_cast<void>(std::raise(signal));
}

extern "C" void raiseFlag(int signal, siginfo_t* info, void* /*context*/) {
  if (restoration.load() != nullptr) static_cast<void>(std::signal(signal, restoreAndEnd));
  byTerminal = info->si_code == SI_KERNEL;
  raised = signal;
}

void watchFor(int signal) {
  struct sigaction action {};
  action.sa_sigaction = raiseFlag;
  // The default action is back for the second one, and no SA_RESTART: a blocked call ends.
  action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  ::sigaction(signal, &action, nullptr);
}

class InterruptibleClock final : public brisvane::host::Clock {
 public:
  Wall wall() const noexcept override { return clock_.wall(); }
  Steady steady() const noexcept override {
    if (interrupted()) ++days_;
    return clock_.steady() + std::chrono::hours(24) * days_.load();
  }

 private:
  brisvane::host::SystemClock clock_;
  mutable std::atomic<int> days_{0};
};

}  // namespace

void watchForInterrupt() {
  watchFor(SIGINT);
  watchFor(SIGTERM);
  struct sigaction hangUp {};
  ::sigaction(SIGHUP, nullptr, &hangUp);
  if (hangUp.sa_handler != SIG_IGN) watchFor(SIGHUP);  // nohup stays in force
}

void restoreBeforeSuddenEnd(void (*restore)() noexcept) {
  restoration = restore;
  watchFor(SIGQUIT);
  // All others that end a program, but SIGPIPE, which is ignored, and SIGKILL.
  for (const int other :
       {SIGABRT, SIGALRM, SIGBUS, SIGFPE, SIGILL, SIGIO, SIGPROF, SIGPWR, SIGSEGV, SIGSTKFLT,
        SIGSYS, SIGTRAP, SIGUSR1, SIGUSR2, SIGVTALRM, SIGXCPU, SIGXFSZ})
    static_cast<void>(std::signal(other, restoreAndEnd));
}

bool interrupted() noexcept { return raised != 0 && !isFinishing; }

FinishingWork::FinishingWork() noexcept { isFinishing = true; }

FinishingWork::~FinishingWork() { isFinishing = false; }

int raisingSignal() noexcept { return raised; }

bool isFromTerminal() noexcept { return byTerminal; }

std::shared_ptr<const brisvane::host::Clock> interruptibleClock() {
  return std::make_shared<const InterruptibleClock>();
}

bool RunTime::isOver() const noexcept {
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
  return interrupted() || (limit_ && elapsed.count() >= *limit_);
}

void RunTime::waitUntil(std::chrono::steady_clock::time_point then) const noexcept {
  constexpr std::chrono::milliseconds kStep{50};
  while (!isOver()) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(then - std::chrono::steady_clock::now());
    if (left.count() <= 0) return;
    ::poll(nullptr, 0, static_cast<int>(std::min(left, kStep).count()));  // a signal ends it
  }
}

}  // namespace bvdiag
