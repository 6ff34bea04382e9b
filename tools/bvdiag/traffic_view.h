// TrafficView, which shows what comes over a line, and TrafficLog, which has it logged.
// Each belongs to one thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include <brisvane/types/data.h>
#include <brisvane/types/object.h>

#include "output.h"

namespace bvdiag {

// What begins a new line of the view.
enum class LineEnds {
  kLineFeed,  // LF; CR goes to the start of the line, as in a terminal
  kAny,       // CR LF, LF and CR alike
  kAsIs       // whatever the terminal that shows it makes of it
};

struct ViewOptions {
  bool hex = false;
  bool timestamps = false;
  // Characters that a terminal would obey are shown escaped, and only whole ones are shown.
  bool escapes = true;
  LineEnds lineEnds = LineEnds::kAny;
  std::string newline = "\n";  // what the view itself ends a line with
};

// The view on standard output. In JSON it prints an event for all that it is given at once.
class TrafficView {
 public:
  TrafficView(ViewOptions options, Output& output)
      : options_(std::move(options)), output_(output) {}

  void show(brisvane::ByteView received);
  // Shows what this end has sent, escaped.
  void showSent(brisvane::ByteView sent);
  // Shows what was held back, and ends the line that is open.
  void finish();

  [[nodiscard]] const ViewOptions& options() const noexcept { return options_; }
  void toggleHex();
  void toggleTimestamps() { options_.timestamps = !options_.timestamps; }

 private:
  // Received bytes as text, with no character cut in two between chunks.
  class CharacterJoiner {
   public:
    std::string join(brisvane::ByteView bytes);
    // The beginning of a character whose rest did not come.
    std::string rest() { return std::exchange(held_, {}); }

   private:
    std::string held_;
  };

  void showHex(brisvane::ByteView bytes);
  void showText(std::string_view text);
  void showJson(std::string_view form, brisvane::Object content);
  void printLines(std::string_view text, LineEnds lineEnds, bool escapes);
  void addPart(std::string& shown, std::string_view part, bool escapes);
  void endLine(std::string& shown);

  ViewOptions options_;
  Output& output_;
  CharacterJoiner joiner_;
  std::size_t offset_ = 0;  // of the next byte
  bool lineIsOpen_ = false;
  bool afterReturn_ = false;  // the line feed of a CR LF may come with the next chunk
};

// Logs each line of either direction, with control characters escaped, once it is complete. What is
// unfinished at the end needs a flush().
class TrafficLog {
 public:
  // One that is off logs nothing.
  explicit TrafficLog(bool isOn) : isOn_(isOn) {}

  void received(brisvane::ByteView bytes);
  void sent(brisvane::ByteView bytes);
  // Logs what has come of unfinished lines.
  void flush();

 private:
  static void add(std::string& line, brisvane::ByteView bytes, std::string_view direction);
  static void flush(std::string& line, std::string_view direction);

  bool isOn_;
  std::string received_;
  std::string sent_;
};

}  // namespace bvdiag
