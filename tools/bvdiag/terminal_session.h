// TerminalSession, a person at a terminal, or the input of a pipe, and a serial line.
// It belongs to one thread.
#pragma once

#include <chrono>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include <brisvane/types/data.h>

#include "lasting_port.h"
#include "raw_terminal.h"
#include "session.h"
#include "traffic_view.h"

namespace bvdiag {

struct TerminalOptions {
  PortOptions port;
  bool reconnect = true;
  bool timestamps = false;
  bool hex = false;
  bool echo = false;
  std::string lineEndsOut = "as-is";
  std::string lineEndsIn = "lf";
  double wait = 1;  // seconds of silence after the end of a pipe
  std::string log;
};

class TerminalSession {
 public:
  // REQUIRES: both outlive it.
  TerminalSession(const TerminalOptions& options, Output& output);

  // Passes bytes both ways until the person leaves, the input and what follows it have ended, the
  // line is lost for good, or a signal comes. False for a line that cannot be opened or is lost,
  // which the output reports.
  [[nodiscard]] bool run();

 private:
  using Clock = std::chrono::steady_clock;

  static constexpr char kPrefix = '\x14';  // Ctrl-T
  // What the next key is.
  enum class Expects { kText, kCommand, kSignal, kFileName };

  struct SentFile {
    std::string name;
    std::ifstream stream;
    std::size_t sent = 0;
  };

  void pass();
  void heedStops();
  [[nodiscard]] bool wantsInput() const;
  [[nodiscard]] bool hasEnded() const;

  void receive();
  void transmit();
  void lose();
  void feedFromFile();

  void takeInput();
  void takeKey(char key, std::string& typed);
  void send(std::string_view text);
  std::string withLineEnds(std::string_view text);

  void obey(char key);
  void toggleSignal(char key);
  void editFileName(char key);
  void leavePrompt();
  void startFile();
  void cycleLineEnds();
  void showKeys();
  void showConfiguration();
  void showModemLines();
  void stopJob();
  void report(const char* what, const brisvane::Result<>& result);
  void say(const std::string& text);

  const TerminalOptions& options_;
  Output& output_;
  bool isAtTerminal_;  // standard input is one
  RawTerminal raw_;
  TrafficView view_;
  TrafficLog log_;
  LastingPort port_;
  std::string lineEndsOut_;
  bool echo_;

  Expects expects_ = Expects::kText;
  std::string fileName_;          // as far as it is typed
  brisvane::Data held_;           // received while a file name is typed
  std::optional<SentFile> file_;  // under way
  std::string queue_;             // to be sent
  bool afterReturn_ = false;      // the line feed of a CR LF may come with the next input
  std::size_t received_ = 0;      // bytes
  std::size_t sent_ = 0;
  bool inputHasEnded_ = false;
  bool leaves_ = false;
  bool isLost_ = false;
  Clock::time_point lastTraffic_ = Clock::now();
};

}  // namespace bvdiag
