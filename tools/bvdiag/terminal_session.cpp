#include "terminal_session.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <brisvane/host/terminal/terminal.h>

#include "interrupt.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
namespace terminal = bv::host::terminal;

constexpr std::size_t kFullQueue = 4096;  // bytes, above which input that can wait does

bv::ByteView bytesOf(std::string_view text) { return bv::asBytes(text); }

ViewOptions viewOptionsOf(const TerminalOptions& options, bool isRaw) {
  ViewOptions view;
  view.hex = options.hex;
  view.timestamps = options.timestamps;
  view.escapes = false;  // the device's escape sequences are meant for the terminal
  view.lineEnds = options.lineEndsIn == "lf"    ? LineEnds::kLineFeed
                  : options.lineEndsIn == "any" ? LineEnds::kAny
                                                : LineEnds::kAsIs;
  if (isRaw) view.newline = "\r\n";
  return view;
}

std::string_view lineEndOf(const std::string& name) {
  return name == "cr" ? "\r" : name == "lf" ? "\n" : "\r\n";
}

// Whether all that was written has left.
bool isTransmitted(int descriptor) {
  int queued = 0;
  return ::ioctl(descriptor, TIOCOUTQ, &queued) == -1 || queued == 0;
}

}  // namespace

TerminalSession::TerminalSession(const TerminalOptions& options, Output& output)
    : options_(options),
      output_(output),
      isAtTerminal_(RawTerminal::isThere()),
      raw_(output.json()),
      view_(viewOptionsOf(options, isAtTerminal_ && !output.json()), output),
      log_(!options.log.empty()),
      port_(options.port, options.reconnect && isAtTerminal_,
            [this](const std::string& text) { say(text); }),
      lineEndsOut_(options.lineEndsOut),
      echo_(options.echo) {
  output_.setRaw(isAtTerminal_ && !output.json());
  if (isAtTerminal_) say("Ctrl-T q leaves, Ctrl-T ? lists the keys");
}

bool TerminalSession::run() {
  isLost_ = !port_.open();
  while (!hasEnded()) pass();
  leavePrompt();
  view_.finish();
  log_.flush();
  if (isLost_) output_.complain(port_.error());
  output_.setRaw(false);
  return !isLost_;
}

bool TerminalSession::hasEnded() const {
  if (leaves_ || isLost_ || interrupted() || output_.isBroken()) return true;
  if (!inputHasEnded_ || !queue_.empty()) return false;
  const std::chrono::duration<double> quiet = Clock::now() - lastTraffic_;
  return port_.port() == nullptr ||
         (quiet.count() >= options_.wait && isTransmitted(port_.port()->spHandle()));
}

// One wait for either side, and what it brings.
void TerminalSession::pass() {
  constexpr int kMoment = 100;  // milliseconds; what no descriptor tells is looked at as often
  heedStops();
  if (port_.port() == nullptr) port_.retry();
  feedFromFile();
  std::array<pollfd, 2> ends{{{wantsInput() ? STDIN_FILENO : -1, POLLIN, 0}, {-1, POLLIN, 0}}};
  if (const auto* const port = port_.port()) {
    ends[1].fd = port->spHandle();
    // The kernel's buffer is used, and not waited for: keys are heeded while the line is stopped.
    static_cast<void>(::fcntl(ends[1].fd, F_SETFL, O_NONBLOCK));
    if (!queue_.empty()) ends[1].events = POLLIN | POLLOUT;
  }
  if (::poll(ends.data(), ends.size(), kMoment) <= 0) return;
  if (ends[0].revents != 0) takeInput();
  if ((ends[1].revents & (POLLIN | POLLHUP | POLLERR)) != 0) receive();
  if (port_.port() != nullptr && (ends[1].revents & POLLOUT) != 0) transmit();
}

void TerminalSession::heedStops() {
  if (RawTerminal::isAskedToStop()) stopJob();
  if (RawTerminal::hasContinued()) {
    raw_.enter();
    say("continued");
  }
}

void TerminalSession::stopJob() {
  view_.finish();
  raw_.stop();
}

// A person's keys are always read: they may be to leave. A pipe can wait.
bool TerminalSession::wantsInput() const {
  return !inputHasEnded_ && (isAtTerminal_ || queue_.size() < kFullQueue);
}

void TerminalSession::receive() {
  std::array<std::uint8_t, 4096> buffer;
  const auto count =
      terminal::read(port_.port()->spHandle(), buffer, std::chrono::microseconds::zero());
  if (!count.ok()) return lose();
  if (count.value() == 0) return;
  const auto bytes = bv::ByteView(buffer).first(count.value());
  lastTraffic_ = Clock::now();
  received_ += bytes.size();
  log_.received(bytes);
  if (expects_ != Expects::kFileName) return view_.show(bytes);
  constexpr std::size_t kMost = std::size_t{1} << 20U;
  held_.insert(held_.end(), bytes.begin(), bytes.end());
  if (held_.size() > kMost) leavePrompt();
}

void TerminalSession::transmit() {
  const auto written = terminal::write(port_.port()->spHandle(), bytesOf(queue_));
  if (!written.ok() && written.error().number() == EAGAIN) return;
  if (!written.ok()) return lose();
  lastTraffic_ = Clock::now();
  sent_ += written.value();
  log_.sent(bytesOf(std::string_view(queue_).substr(0, written.value())));
  queue_.erase(0, written.value());
}

void TerminalSession::lose() {
  leavePrompt();
  log_.flush();
  queue_.clear();
  if (file_) say(file_->name + ": not sent completely");
  file_.reset();
  isLost_ = !port_.lose();
}

void TerminalSession::feedFromFile() {
  if (!file_ || queue_.size() >= kFullQueue) return;
  std::array<char, kFullQueue> piece{};
  file_->stream.read(piece.data(), piece.size());
  const auto count = static_cast<std::size_t>(file_->stream.gcount());
  queue_.append(piece.data(), count);
  file_->sent += count;
  if (count > 0) return;
  say(file_->name + ": " + std::to_string(file_->sent) + " bytes sent");
  file_.reset();
}

void TerminalSession::takeInput() {
  std::array<char, 4096> buffer{};
  const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (count <= 0) {
    inputHasEnded_ = true;
    leaves_ = isAtTerminal_;  // its window is closed
    lastTraffic_ = Clock::now();
    return;
  }
  const std::string_view input(buffer.data(), static_cast<std::size_t>(count));
  if (!isAtTerminal_) return send(input);
  std::string typed;
  for (const char key : input) takeKey(key, typed);
  send(typed);
}

// Adds text to what is typed; a command is obeyed after what was typed ahead of it.
void TerminalSession::takeKey(char key, std::string& typed) {
  switch (expects_) {
    case Expects::kText:
      if (key != kPrefix) {
        typed += key;
        return;
      }
      expects_ = Expects::kCommand;
      return;
    case Expects::kCommand:
      expects_ = Expects::kText;
      if (key == kPrefix) {
        typed += key;
        return;
      }
      send(std::exchange(typed, {}));
      return obey(key);
    case Expects::kSignal:
      expects_ = Expects::kText;
      return toggleSignal(key);
    case Expects::kFileName:
      return editFileName(key);
  }
}

// Keys are not sent while there is no line, nor into the midst of a file.
void TerminalSession::send(std::string_view text) {
  if (text.empty() || file_ || port_.port() == nullptr) return;
  const std::string bytes = withLineEnds(text);
  queue_ += bytes;
  if (echo_) view_.showSent(bytesOf(bytes));
}

std::string TerminalSession::withLineEnds(std::string_view text) {
  if (lineEndsOut_ == "as-is") return std::string(text);
  std::string result;
  for (const char c : text) {
    const bool isSecond = c == '\n' && afterReturn_;  // of a CR LF
    afterReturn_ = c == '\r';
    if (c != '\r' && c != '\n') {
      result += c;
    } else if (!isSecond) {
      result += lineEndOf(lineEndsOut_);
    }
  }
  return result;
}

void TerminalSession::say(const std::string& text) {
  view_.finish();
  output_.remark("*** " + text);
}

}  // namespace bvdiag
