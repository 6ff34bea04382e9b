#include "raw_terminal.h"

#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <initializer_list>

#include "interrupt.h"

namespace bvdiag {
namespace {

termios found;  // the settings to restore; written before isRaw is set
std::atomic<bool> isRaw{false};
std::atomic<bool> askedToStop{false};
std::atomic<bool> continued{false};

// Safe in a signal handler. In the background the terminal belongs to another program, which has
// set it as it needs it.
void restore() noexcept {
  const pid_t foreground = ::tcgetpgrp(STDIN_FILENO);  // -1 for a terminal without jobs
  if (isRaw && (foreground == -1 || foreground == ::getpgrp()))
    ::tcsetattr(STDIN_FILENO, TCSANOW, &found);
}

extern "C" void noteStop(int /*signal*/) { askedToStop = true; }
extern "C" void noteContinuation(int /*signal*/) { continued = true; }

void handle(int signal, void (*handler)(int)) noexcept {
  struct sigaction action {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  ::sigaction(signal, &action, nullptr);
}

}  // namespace

RawTerminal::RawTerminal(bool keepsOutput) : keepsOutput_(keepsOutput) {
  if (!isThere() || ::tcgetattr(STDIN_FILENO, &found) == -1) return;
  restoreBeforeSuddenEnd(restore);
  handle(SIGTSTP, noteStop);
  handle(SIGCONT, noteContinuation);
  isRaw = true;
  enter();
}

RawTerminal::~RawTerminal() {
  if (!isRaw) return;
  restore();
  isRaw = false;
  handle(SIGTSTP, SIG_DFL);
  handle(SIGCONT, SIG_DFL);
}

bool RawTerminal::isThere() { return ::isatty(STDIN_FILENO) == 1; }

bool RawTerminal::isAskedToStop() noexcept { return askedToStop.exchange(false); }

bool RawTerminal::hasContinued() noexcept { return continued.exchange(false); }

void RawTerminal::stop() const {
  restore();
  handle(SIGTSTP, SIG_DFL);
  ::kill(0, SIGTSTP);  // as the terminal itself does it
  handle(SIGTSTP, noteStop);
  enter();
}

void RawTerminal::enter() const noexcept {
  if (!isRaw) return;
  termios raw = found;
  ::cfmakeraw(&raw);
  if (keepsOutput_) raw.c_oflag = found.c_oflag;
  ::tcsetattr(STDIN_FILENO, TCSANOW, &raw);
}

}  // namespace bvdiag
