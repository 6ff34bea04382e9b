// What a person asks for with Ctrl-T and a key.
#include <filesystem>
#include <system_error>
#include <utility>

#include <brisvane/types/error.h>

#include "terminal_session.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

constexpr char kControlZ = '\x1a';
constexpr char kControlC = '\x03';
constexpr char kControlU = '\x15';
constexpr char kEscape = '\x1b';

// No line takes more than 40 columns.
constexpr const char* kKeys[] = {"Ctrl-T, and then:",
                                 "  ?  this list",
                                 "  q  leave",
                                 "  b  send a break",
                                 "  c  show the configuration",
                                 "  e  local echo on or off",
                                 "  f  send a file (also s), or stop it",
                                 "  g  switch DTR or RTS",
                                 "  h  hexadecimal on or off",
                                 "  L  show the modem lines",
                                 "  l  clear the screen",
                                 "  m  next line end to be sent",
                                 "  t  timestamps on or off",
                                 "  z  stop; `fg` continues",
                                 "  Ctrl-T  send Ctrl-T"};

// With all of its bytes.
void removeLastCharacter(std::string& text) {
  bool isContinued = true;
  while (!text.empty() && isContinued) {
    isContinued = (static_cast<unsigned char>(text.back()) & 0xC0U) == 0x80;
    text.pop_back();
  }
}

std::string onOff(bool isOn) { return isOn ? "on" : "off"; }

}  // namespace

void TerminalSession::obey(char key) {
  auto* const port = port_.port();
  const bool needsPort = key == 'b' || key == 'f' || key == 's' || key == 'g' || key == 'L';
  if (needsPort && port == nullptr) return say("there is no line");
  switch (key) {
    case '?':
      return showKeys();
    case 'q':
      leaves_ = true;
      return;
    case 'b':
      return report("break", sendBreak(port->spHandle()));
    case 'c':
      return showConfiguration();
    case 'e':
      echo_ = !echo_;
      return say("local echo " + onOff(echo_));
    case 'f':
    case 's':
      return startFile();
    case 'g':
      expects_ = Expects::kSignal;
      return say("d for DTR, r for RTS");
    case 'h':
      view_.toggleHex();
      return say("hexadecimal " + onOff(view_.options().hex));
    case 'L':
      return showModemLines();
    case 'l':
      return output_.print("\x1b[H\x1b[2J");
    case 'm':
      return cycleLineEnds();
    case 't':
      view_.toggleTimestamps();
      return say("timestamps " + onOff(view_.options().timestamps));
    case 'z':
    case kControlZ:
      return stopJob();
    default:
      return say("Ctrl-T ? lists the keys");
  }
}

void TerminalSession::report(const char* what, const bv::Result<>& result) {
  say(result.ok() ? std::string(what) + " sent"
                  : std::string(what) + ": " + result.error().reason());
}

void TerminalSession::toggleSignal(char key) {
  if (port_.port() == nullptr || (key != 'd' && key != 'r')) return say("nothing is switched");
  const auto result = toggle(key == 'd' ? Signal::kDtr : Signal::kRts, port_.port()->spHandle());
  if (!result.ok()) return say("modem lines: " + result.error().reason());
  showModemLines();
}

void TerminalSession::showModemLines() {
  const auto lines = modemLines(port_.port()->spHandle());
  say(lines.ok() ? lines.value() : "modem lines: " + lines.error().reason());
}

void TerminalSession::startFile() {
  if (file_) {
    say(file_->name + ": stopped after " + std::to_string(file_->sent) + " bytes");
    file_.reset();
    return;
  }
  say("the file to send, then Enter; Esc for none");
  output_.print("> ");
  expects_ = Expects::kFileName;
}

void TerminalSession::editFileName(char key) {
  if (key == kEscape || key == kControlC || key == kPrefix) {
    fileName_.clear();
    leavePrompt();
    if (key == kPrefix) expects_ = Expects::kCommand;
    return;
  }
  const bool isBack = key == '\b' || key == '\x7f';
  if (key != '\r' && key != '\n') {
    if (key == kControlU) fileName_.clear();
    if (isBack) removeLastCharacter(fileName_);
    if (!isBack && key != kControlU) fileName_ += key;
    return output_.print("\r\x1b[K> " + escaped(fileName_));
  }
  const std::string name = std::exchange(fileName_, {});
  leavePrompt();
  std::error_code error;
  const bool isFile = std::filesystem::is_regular_file(name, error);
  SentFile file{name, std::ifstream(name, std::ios::binary)};
  if (isFile && file.stream) {
    file_ = std::move(file);
  } else if (!name.empty()) {
    say(name + ": cannot be read; check that it is a file and that you may read it");
  }
}

// Shows what has come meanwhile.
void TerminalSession::leavePrompt() {
  if (expects_ != Expects::kFileName) return;
  expects_ = Expects::kText;
  fileName_.clear();
  output_.print(view_.options().newline);
  view_.show(std::exchange(held_, {}));
}

void TerminalSession::cycleLineEnds() {
  lineEndsOut_ = lineEndsOut_ == "as-is" ? "cr"
                 : lineEndsOut_ == "cr"  ? "lf"
                 : lineEndsOut_ == "lf"  ? "crlf"
                                         : "as-is";
  say("line ends are sent " + (lineEndsOut_ == "as-is" ? "as they are" : "as " + lineEndsOut_));
}

void TerminalSession::showKeys() {
  for (const char* const line : kKeys) say(line);
}

void TerminalSession::showConfiguration() {
  if (const auto* const port = port_.port()) {
    const LineSettings line = settingsOf(port->spHandle());
    say("port: " + port->path());
    say("speed: " + std::to_string(options_.port.speed) + " bits/s");
    say("framing: " + line.framing + ", flow control: " + line.flow);
  } else {
    say("port: none, waiting for it");
  }
  say("line ends sent: " + lineEndsOut_ + ", shown: " + options_.lineEndsIn);
  say("echo " + onOff(echo_) + ", hexadecimal " + onOff(view_.options().hex) + ", timestamps " +
      onOff(view_.options().timestamps));
  say("log: " + (options_.log.empty() ? "none" : options_.log));
  say("sent " + std::to_string(sent_) + " bytes, received " + std::to_string(received_));
}

}  // namespace bvdiag
