// StatusLine, the line on a terminal that shows the progress of a command.
// A StatusLine belongs to one thread; the line is written by a thread of its own.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <thread>

namespace bvdiag {

class StatusLine {
 public:
  // How far it is after so many seconds, as in "1.5 s left". It is called by the line's thread.
  using Progress = std::function<std::string(double seconds)>;
  // The whole line after so many seconds, for so many columns. What is longer is cut.
  using Drawing = std::function<std::string(double seconds, std::size_t columns)>;

  // Shows the line on standard error once the command has lasted for a while, as in "waiting for
  // the reply: 1.5 s left", cut to the width that the terminal has at the time; nothing when that
  // is no capable terminal. Nothing else may write there until the StatusLine is destroyed.
  StatusLine(std::string what, Progress progress);
  // The same with a line that is drawn for the columns that there are, as with a bar.
  explicit StatusLine(Drawing draw);
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;
  // Erases the line.
  ~StatusLine() = default;

 private:
  std::jthread thread_;
};

// What is left of so many seconds.
[[nodiscard]] StatusLine::Progress timeLeft(double limit);
// The seconds so far.
[[nodiscard]] StatusLine::Progress timeSpent();

// A number with one digit after the point.
[[nodiscard]] std::string tenths(double number);

}  // namespace bvdiag
