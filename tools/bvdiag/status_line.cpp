#include "status_line.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <iomanip>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string_view>
#include <utility>

#include "output.h"
#include "terminal_columns.h"

namespace bvdiag {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A wait that is over sooner needs no explanation.
constexpr milliseconds kPatience{500};
constexpr milliseconds kStep{100};

// Of a line that is too long, the hint goes first, then the end of what goes on.
std::string lineOf(std::string_view what, const std::string& progress, std::size_t columns) {
  const std::string_view hint = " (Ctrl-C ends it)";
  const std::string tail = ": " + progress;
  const std::size_t needed = columnsOf(tail);
  if (columnsOf(what) + needed + hint.size() <= columns)
    return std::string(what).append(tail).append(hint);
  return std::string(fitting(what, columns - std::min(columns, needed))) + tail;
}

void show(const std::stop_token& stop, const StatusLine::Drawing& draw) {
  const auto start = steady_clock::now();
  std::mutex mutex;
  std::condition_variable_any wake;
  std::unique_lock lock(mutex);
  const auto stoppedWithin = [&](milliseconds time) {
    wake.wait_for(lock, stop, time, [] { return false; });
    return stop.stop_requested();
  };
  std::size_t width = 0;  // of what stands there
  const auto write = [&width](const std::string& line, std::size_t columns) {
    const std::size_t lineWidth = columnsOf(line);
    const std::size_t end = std::min(std::max(width, lineWidth), columns);
    std::cerr << "\r" + line + std::string(end - std::min(end, lineWidth), ' ');
    width = lineWidth;
  };
  for (milliseconds pause = kPatience; !stoppedWithin(pause); pause = kStep) {
    const std::chrono::duration<double> elapsed = steady_clock::now() - start;
    const std::size_t columns = lineColumns(STDERR_FILENO);
    write(std::string(fitting(draw(elapsed.count(), columns), columns)), columns);
  }
  if (width == 0) return;
  write("", lineColumns(STDERR_FILENO));
  std::cerr << "\r";
}

}  // namespace

StatusLine::StatusLine(std::string what, Progress progress)
    : StatusLine([what = escaped(what), progress = std::move(progress)](double seconds,
                                                                        std::size_t columns) {
        return lineOf(what, progress(seconds), columns);
      }) {}

StatusLine::StatusLine(Drawing draw) {
  if (!isCapableTerminal(STDERR_FILENO)) return;
  thread_ =
      std::jthread([draw = std::move(draw)](const std::stop_token& stop) { show(stop, draw); });
}

StatusLine::Progress timeLeft(double limit) {
  return [limit](double seconds) { return tenths(std::max(0.0, limit - seconds)) + " s left"; };
}

StatusLine::Progress timeSpent() {
  return [](double seconds) { return tenths(seconds) + " s"; };
}

std::string tenths(double number) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(1) << number;
  return text.str();
}

}  // namespace bvdiag
