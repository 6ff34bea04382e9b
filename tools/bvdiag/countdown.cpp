#include "countdown.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <iomanip>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>

namespace bvdiag {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A wait that is over sooner needs no explanation.
constexpr milliseconds kPatience{500};
constexpr milliseconds kStep{100};

void show(const std::stop_token& stop, const std::string& what, std::optional<double> seconds) {
  const auto start = steady_clock::now();
  std::mutex mutex;
  std::condition_variable_any wake;
  std::unique_lock lock(mutex);
  const auto stoppedWithin = [&](milliseconds time) {
    wake.wait_for(lock, stop, time, [] { return false; });
    return stop.stop_requested();
  };
  std::size_t width = 0;
  for (milliseconds pause = kPatience; !stoppedWithin(pause); pause = kStep) {
    const std::chrono::duration<double> elapsed = steady_clock::now() - start;
    std::ostringstream line;
    line << '\r' << what << ": " << std::fixed << std::setprecision(1);
    if (seconds) line << std::max(0.0, *seconds - elapsed.count()) << " s left (Ctrl-C ends it) ";
    if (!seconds) line << elapsed.count() << " s (Ctrl-C ends it) ";
    std::cerr << line.str();
    width = std::max(width, line.str().size());
  }
  if (width > 0) std::cerr << "\r" + std::string(width, ' ') + "\r";
}

}  // namespace

Countdown::Countdown(std::string what, std::optional<double> seconds) {
  if (::isatty(STDERR_FILENO) != 1) return;
  thread_ = std::jthread([what = std::move(what), seconds](const std::stop_token& stop) { show(stop, what, seconds); });
}

}  // namespace bvdiag
