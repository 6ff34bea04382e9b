#include "traffic_view.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

#include <brisvane/all.h>

namespace bvdiag {
namespace {

namespace bv = brisvane;

constexpr std::string_view kReceived = "received: ";
constexpr std::string_view kSent = "sent: ";

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

// The time of day, as in "[12:34:56.789] ".
std::string timestamp() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()) %
      std::chrono::seconds(1);
  std::tm local{};
  ::localtime_r(&seconds, &local);
  std::array<char, 32> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "[%02d:%02d:%02d.%03d] ", local.tm_hour,
                                  local.tm_min, local.tm_sec,
                                  static_cast<int>(milliseconds.count())));
  return text.data();
}

}  // namespace

std::string TrafficView::CharacterJoiner::join(bv::ByteView bytes) {
  held_ += bv::asCharacters(bytes);
  const std::size_t longest = std::min<std::size_t>(held_.size(), 3);
  std::size_t tail = longest;
  while (tail > 0 && !isUnfinished(std::string_view(held_).substr(held_.size() - tail))) --tail;
  std::string whole = held_.substr(0, held_.size() - tail);
  held_.erase(0, whole.size());
  return whole;
}

void TrafficView::show(bv::ByteView received) {
  if (options_.hex) return showHex(received);
  if (options_.escapes || output_.json()) return showText(joiner_.join(received));
  printLines(bv::asCharacters(received), options_.lineEnds, false);
}

void TrafficView::showSent(bv::ByteView sent) {
  if (output_.json()) return;
  if (options_.hex) return showHex(sent);
  printLines(bv::asCharacters(sent), LineEnds::kAny, true);
}

void TrafficView::finish() {
  showText(joiner_.rest());
  if (lineIsOpen_) output_.print(options_.newline);
  lineIsOpen_ = false;
}

void TrafficView::toggleHex() {
  finish();
  options_.hex = !options_.hex;
}

void TrafficView::showHex(bv::ByteView bytes) {
  if (output_.json()) return showJson("hex", bv::Data(bytes.begin(), bytes.end()));
  const std::string dump = hexDump(bytes, offset_);
  offset_ += bytes.size();
  std::string shown;
  for (std::string_view rest = dump; !rest.empty();) {
    const std::size_t end = rest.find('\n');
    addPart(shown, rest.substr(0, end), false);
    endLine(shown);
    rest.remove_prefix(end + 1);
  }
  output_.print(shown);
}

void TrafficView::showText(std::string_view text) {
  if (text.empty()) return;
  if (output_.json()) return showJson("text", text);
  printLines(text, options_.lineEnds, options_.escapes);
}

void TrafficView::showJson(std::string_view form, bv::Object content) {
  output_.printJson(bv::Dictionary{{"time", std::chrono::system_clock::now()},
                                   {std::string(form), std::move(content)}});
}

void TrafficView::printLines(std::string_view text, LineEnds lineEnds, bool escapes) {
  std::string shown;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find_first_of("\r\n"), text.size());
    addPart(shown, text.substr(0, length), escapes);
    if (length == text.size()) break;
    const bool isReturn = text[length] == '\r';
    const bool isSecond = !isReturn && length == 0 && afterReturn_;  // of a CR LF
    text.remove_prefix(length + 1);
    if (lineEnds == LineEnds::kAny) {
      if (!isSecond) endLine(shown);
    } else if (isReturn) {
      shown += '\r';
    } else if (lineEnds == LineEnds::kAsIs) {
      shown += '\n';
      lineIsOpen_ = false;
    } else {
      endLine(shown);
    }
    afterReturn_ = isReturn;
  }
  output_.print(shown);
}

// A part of a line, without its end.
void TrafficView::addPart(std::string& shown, std::string_view part, bool escapes) {
  if (part.empty()) return;
  if (!lineIsOpen_ && options_.timestamps) shown += timestamp();
  shown += escapes ? escaped(part) : std::string(part);
  lineIsOpen_ = true;
  afterReturn_ = false;
}

void TrafficView::endLine(std::string& shown) {
  if (!lineIsOpen_ && options_.timestamps) shown += timestamp();
  shown += options_.newline;
  lineIsOpen_ = false;
}

void TrafficLog::received(bv::ByteView bytes) {
  if (!isOn_) return;
  if (sent_.ends_with('\r')) flush(sent_, kSent);  // an answer: no line feed follows
  add(received_, bytes, kReceived);
}

void TrafficLog::sent(bv::ByteView bytes) {
  if (!isOn_) return;
  if (received_.ends_with('\r')) flush(received_, kReceived);
  add(sent_, bytes, kSent);
}

void TrafficLog::flush() {
  flush(sent_, kSent);
  flush(received_, kReceived);
}

void TrafficLog::add(std::string& line, bv::ByteView bytes, std::string_view direction) {
  constexpr std::size_t kLongest = 4096;  // a line without an end is logged in pieces
  for (const char byte : bv::asCharacters(bytes)) {
    if (line.ends_with('\r') && byte != '\n') flush(line, direction);
    line += byte;
    if (byte == '\n' || line.size() == kLongest) flush(line, direction);
  }
}

void TrafficLog::flush(std::string& line, std::string_view direction) {
  if (!line.empty()) bv::BVLog::Default::info(std::string(direction) + escaped(line));
  line.clear();
}

}  // namespace bvdiag
