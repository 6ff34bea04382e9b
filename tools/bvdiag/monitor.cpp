// `bvdiag monitor`: what a fixture sends of its own accord.
#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include <brisvane/all.h>
#include <brisvane/host/terminal/terminal.h>

#include "commands.h"
#include "interrupt.h"
#include "port_choice.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct MonitorOptions {
  PortOptions port;
  bool hex = false;
  std::optional<double> duration;
};

// Whether the text is the beginning of a character of several bytes, and no more.
bool isUnfinished(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0xC2 || first > 0xF4) return false;
  const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  const auto continues = [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
  };
  return text.size() < length && std::all_of(text.begin() + 1, text.end(), continues);
}

// Received bytes as text, with no character cut in two between chunks.
class CharacterJoiner {
 public:
  std::string join(bv::ByteView bytes) {
    held_ += bv::asCharacters(bytes);
    const std::size_t longest = std::min<std::size_t>(held_.size(), 3);
    std::size_t tail = longest;
    while (tail > 0 && !isUnfinished(std::string_view(held_).substr(held_.size() - tail))) --tail;
    std::string whole = held_.substr(0, held_.size() - tail);
    held_.erase(0, whole.size());
    return whole;
  }

  // The beginning of a character whose rest did not come.
  std::string rest() { return std::exchange(held_, {}); }

 private:
  std::string held_;
};

// Text with its line ends as they are meant: CR LF, LF and CR each end one line.
class LineBreaker {
 public:
  std::string broken(std::string_view text) {
    std::string result;
    while (!text.empty()) {
      const std::size_t length = std::min(text.find_first_of("\r\n"), text.size());
      result += escaped(text.substr(0, length));
      if (length > 0) afterReturn_ = false;
      if (length < text.size()) {
        if (text[length] == '\r' || !afterReturn_) result += '\n';
        afterReturn_ = text[length] == '\r';
      }
      text.remove_prefix(std::min(length + 1, text.size()));
    }
    return result;
  }

 private:
  bool afterReturn_ = false;  // the line feed of a CR LF may come with the next chunk
};

class Monitor {
 public:
  Monitor(const MonitorOptions& options, Output& output) : hex_(options.hex), output_(output) {}

  void show(bv::ByteView bytes) {
    if (!hex_) return showText(joiner_.join(bytes));
    if (output_.json()) return showJson("hex", bv::Data(bytes.begin(), bytes.end()));
    output_.print(hexDump(bytes, offset_));
    offset_ += bytes.size();
  }

  // Shows what was held back, and ends the line.
  void finish() {
    showText(joiner_.rest());
    if (lineIsOpen_) output_.print("\n");
  }

 private:
  void showText(std::string_view text) {
    if (text.empty()) return;
    if (output_.json()) return showJson("text", text);
    const std::string lines = breaker_.broken(text);
    output_.print(lines);
    if (!lines.empty()) lineIsOpen_ = lines.back() != '\n';
  }

  void showJson(std::string_view form, bv::Object content) {
    output_.printJson(bv::Dictionary{{"time", std::chrono::system_clock::now()},
                                     {std::string(form), std::move(content)}});
  }

  bool hex_;
  Output& output_;
  CharacterJoiner joiner_;
  LineBreaker breaker_;
  std::size_t offset_ = 0;
  bool lineIsOpen_ = false;
};

int run(const MonitorOptions& options, Session& session) {
  Output& output = session.output();
  const OpenedPort opened = openPort(options.port);
  if (opened.port == nullptr) {
    output.complain(opened.error);
    return kFailure;
  }
  Monitor monitor(options, output);
  std::array<std::uint8_t, 4096> buffer;
  std::optional<std::string> failure;
  const RunTime time(options.duration);
  while (!time.isOver() && !output.isBroken() && !failure) {
    // Not the port's own polls: to them a dead line is a silent one.
    const auto count = bv::host::terminal::read(opened.port->spHandle(), buffer);
    if (!count.ok()) failure = lineFailure(*opened.port);
    if (count.ok() && count.value() > 0) monitor.show(bv::ByteView(buffer).first(count.value()));
  }
  monitor.finish();
  if (failure) output.complain(*failure);
  return failure ? kFailure : kSuccess;
}

}  // namespace

void addMonitor(AnyCommand& program) {
  auto command = program.command<MonitorOptions>(
      "monitor", "Prints what arrives, until Ctrl-C or for a given time; sends nothing");
  addPortOptions(command, command.options().port);
  command.flag("--hex", &MonitorOptions::hex, "Prints the bytes as a hex dump");
  command
      .option("--duration", &MonitorOptions::duration, "", "Ends after this time; default: never")
      .secondsUpTo(kLongestDuration);
  command.footer(
      exitStatusText("the duration is over", "the port cannot be opened, or the line hung up"));
  command.runs(run);
}

}  // namespace bvdiag
