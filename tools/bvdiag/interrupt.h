// Ctrl-C and its relatives: a flag instead of a sudden end, so that ports are closed and
// links removed. The first signal raises the flag, a second one of its kind ends the program at
// once.
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include <brisvane/host/clock.h>

namespace bvdiag {

// From now on SIGINT, SIGTERM and SIGHUP raise the flag.
void watchForInterrupt();

// From now on SIGQUIT does so, too, and `restore` is called before a second signal, a crash or
// another signal ends the program. REQUIRES: `restore` is safe in a signal handler.
void restoreBeforeSuddenEnd(void (*restore)() noexcept);

[[nodiscard]] bool interrupted() noexcept;

// The signal that has raised the flag, the last one; 0 for none.
[[nodiscard]] int raisingSignal() noexcept;

// While it exists, interrupted() is false: what has to be done after a signal, too, is not called
// off. A second signal of its kind ends the program all the same.
class FinishingWork {
 public:
  FinishingWork() noexcept;
  FinishingWork(const FinishingWork&) = delete;
  FinishingWork& operator=(const FinishingWork&) = delete;
  ~FinishingWork();
};

// Whether the terminal sent it, to all programs in its foreground: not to this one alone.
[[nodiscard]] bool isFromTerminal() noexcept;

// The machine's clock, until the flag is up. An exchange of the library cannot be called
// off, but it ends when its time limit has passed. So from then on the steady clock
// advances by a day at each reading: whichever exchange is under way finds its time over
// at its next poll, about 0.1 s later, and ends as it always does, its locks released and
// its log line written. The date stays right, for those log lines.
[[nodiscard]] std::shared_ptr<const brisvane::host::Clock> interruptibleClock();

// The longest time limit, in seconds, that this clock can end at once.
inline constexpr double kLongestTimeout = 86'400;

// The time that a command runs for when it has no end of its own.
class RunTime {
 public:
  explicit RunTime(std::optional<double> limit) noexcept : limit_(limit) {}

  // When the flag is up or `limit` seconds have passed.
  [[nodiscard]] bool isOver() const noexcept;

  // Blocks until then, or until the run is over.
  void waitUntil(std::chrono::steady_clock::time_point then) const noexcept;

 private:
  std::optional<double> limit_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace bvdiag
