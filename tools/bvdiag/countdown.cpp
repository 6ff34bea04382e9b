#include "countdown.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <string>

namespace bvdiag {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A wait that is over sooner needs no explanation.
constexpr milliseconds kPatience{500};
constexpr milliseconds kStep{100};

void show(const std::stop_token& stop, double seconds) {
  const auto start = steady_clock::now();
  std::mutex mutex;
  std::condition_variable_any wake;
  std::unique_lock lock(mutex);
  const auto stoppedWithin = [&](milliseconds time) {
    return wake.wait_for(lock, stop, time, [] { return false; }), stop.stop_requested();
  };
  int width = 0;
  for (milliseconds pause = kPatience; !stoppedWithin(pause); pause = kStep) {
    const std::chrono::duration<double> elapsed = steady_clock::now() - start;
    const double left = std::max(0.0, seconds - elapsed.count());
    width = std::max(width, std::fprintf(stderr, "\rwaiting for the reply: %.1f s left (Ctrl-C ends it) ", left));
    std::fflush(stderr);
  }
  if (width > 0) std::fprintf(stderr, "\r%*s\r", width, "");
}

}  // namespace

Countdown::Countdown(double seconds) {
  if (::isatty(STDERR_FILENO) != 1) return;
  thread_ = std::jthread([seconds](const std::stop_token& stop) { show(stop, seconds); });
}

}  // namespace bvdiag
