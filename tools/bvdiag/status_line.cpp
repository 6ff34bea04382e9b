#include "status_line.h"

#include <sys/ioctl.h>
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

#include <brisvane/types/unicode.h>

#include "output.h"

namespace bvdiag {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A wait that is over sooner needs no explanation.
constexpr milliseconds kPatience{500};
constexpr milliseconds kStep{100};

// The columns that a line may take: not the last one, in which a terminal may go on to the next
// line.
std::size_t room() {
  constexpr std::size_t kUsual = 80;
  winsize size{};
  const bool isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return (isKnown ? size.ws_col : kUsual) - 1;
}

// The columns of a character at most: some of those beyond ASCII take two.
std::size_t columnsOf(const brisvane::CodePoint& character) {
  return character.value < 0x80 ? 1 : 2;
}

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  while (!text.empty()) {
    const auto next = brisvane::firstCodePoint(text);
    columns += columnsOf(next);
    text.remove_prefix(next.length);
  }
  return columns;
}

// The beginning of the text that takes so many columns at most.
std::string_view fitting(std::string_view text, std::size_t columns) {
  std::size_t length = 0;
  while (length < text.size()) {
    const auto next = brisvane::firstCodePoint(text.substr(length));
    if (columnsOf(next) > columns) break;
    columns -= columnsOf(next);
    length += next.length;
  }
  return text.substr(0, length);
}

// Of a line that is too long, the hint goes first, then the end of what goes on.
std::string lineOf(std::string_view what, const std::string& progress, std::size_t columns) {
  const std::string_view hint = " (Ctrl-C ends it)";
  const std::string tail = ": " + progress;
  const std::size_t needed = columnsOf(tail);
  if (columnsOf(what) + needed + hint.size() <= columns)
    return std::string(what).append(tail).append(hint);
  return std::string(
      fitting(std::string(fitting(what, columns - std::min(columns, needed))) + tail, columns));
}

void show(const std::stop_token& stop, const std::string& what,
          const StatusLine::Progress& progress) {
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
    const std::size_t columns = room();
    write(lineOf(what, progress(elapsed.count()), columns), columns);
  }
  if (width == 0) return;
  write("", room());
  std::cerr << "\r";
}

}  // namespace

StatusLine::StatusLine(std::string what, Progress progress) {
  if (!isCapableTerminal(STDERR_FILENO)) return;
  thread_ = std::jthread([what = escaped(what), progress = std::move(progress)](
                             const std::stop_token& stop) { show(stop, what, progress); });
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
