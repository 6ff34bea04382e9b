#include "output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <brisvane/types/error.h>
#include <brisvane/types/hex.h>
#include <brisvane/types/unicode.h>

namespace bvdiag {
namespace {

namespace bv = brisvane;

constexpr std::size_t kRow = 16;
constexpr std::string_view kReset = "\x1b[0m";

std::string_view environmentVariable(const char* name) {
  // Nothing here changes the environment. NOLINTNEXTLINE(concurrency-mt-unsafe)
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

bool wantsColor(std::string_view choice, int stream) {
  if (choice != "auto") return choice == "always";
  return isCapableTerminal(stream) && environmentVariable("NO_COLOR").empty();
}

std::string_view sequence(Color color) {
  switch (color) {
    case Color::kRed:
      return "\x1b[31m";
    case Color::kGreen:
      return "\x1b[32m";
    case Color::kCyan:
      return "\x1b[36m";
  }
  return {};
}

std::string_view shortEscape(char32_t character) {
  switch (character) {
    case U'\r':
      return "\\r";
    case U'\n':
      return "\\n";
    case U'\t':
      return "\\t";
    case U'\\':
      return "\\\\";
    default:
      return {};
  }
}

void appendByteEscapes(std::string& text, std::string_view bytes) {
  for (const char byte : bytes) {
    text += "\\x";
    bv::appendLowerHex(text, static_cast<std::uint8_t>(byte));
  }
}

// Whether a terminal would obey the character instead of showing it.
bool isObeyed(char32_t character) {
  return bv::isControl(character) || bv::isBidirectionalControl(character);
}

// Whether bytes are printable ASCII, but for zero bytes at their end.
bool isText(bv::ByteView bytes) {
  while (!bytes.empty() && bytes.back() == 0) bytes = bytes.first(bytes.size() - 1);
  return !bytes.empty() && std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) {
    return byte >= 0x20 && byte < 0x7F;
  });
}

std::string hexRow(bv::ByteView row, std::size_t offset) {
  std::ostringstream number;
  number << std::hex << std::setfill('0') << std::setw(8) << offset << ' ';
  std::string text = number.str();
  std::string characters;
  for (std::size_t i = 0; i < kRow; ++i) {
    text += i == kRow / 2 ? "  " : " ";
    if (i >= row.size()) {
      text += "  ";
      continue;
    }
    bv::appendHex(text, row[i]);
    characters += row[i] >= 0x20 && row[i] < 0x7F ? static_cast<char>(row[i]) : '.';
  }
  return text + "  |" + characters + "|\n";
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const bv::CodePoint next = bv::firstCodePoint(text);
    const std::string_view bytes = text.substr(0, next.length);
    if (const auto escape = shortEscape(next.value); !escape.empty()) {
      result += escape;
    } else if (!next.valid || isObeyed(next.value)) {
      appendByteEscapes(result, bytes);
    } else {
      result += bytes;
    }
    text.remove_prefix(next.length);
  }
  return result;
}

std::string escaped(bv::ByteView bytes) { return escaped(bv::asCharacters(bytes)); }

std::string escapedLines(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t feed = std::min(text.find('\n'), text.size());
    const std::size_t end =
        feed > 0 && feed < text.size() && text[feed - 1] == '\r' ? feed - 1 : feed;
    result.append(escaped(text.substr(0, end))).append(text.substr(end, feed + 1 - end));
    text.remove_prefix(std::min(feed + 1, text.size()));
  }
  return result;
}

std::string jsonOf(const bv::Object& value, bv::host::JsonLayout layout) {
  const auto json = bv::host::jsonText(value, layout);
  if (!json)
    throw std::length_error(
        "the result is longer than the limit of 256 MiB for JSON; try without --json");
  std::string result;
  // Such characters stand within texts alone, except for the line feeds of the layout: in texts
  // these are escapes already.
  for (std::string_view rest = *json; !rest.empty();) {
    const bv::CodePoint next = bv::firstCodePoint(rest);
    if (next.value != U'\n' && isObeyed(next.value)) {
      result += "\\u";
      bv::appendLowerHex(result, static_cast<std::uint8_t>(next.value >> 8U));
      bv::appendLowerHex(result, static_cast<std::uint8_t>(next.value & 0xFFU));
    } else {
      result += rest.substr(0, next.length);
    }
    rest.remove_prefix(next.length);
  }
  return result;
}

std::string hexDump(bv::ByteView bytes, std::size_t offset) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += kRow) {
    text += hexRow(bytes.subspan(at, std::min(kRow, bytes.size() - at)), offset + at);
  }
  return text;
}

std::string valueText(const bv::Object& value) {
  constexpr std::size_t kMost = 64;
  if (const std::string* const text = value.ifText()) return escaped(*text);
  const bv::Data* const bytes = value.ifData();
  if (bytes == nullptr) return jsonOf(value);
  if (isText(*bytes)) return "\"" + escaped(*bytes) + "\"";
  std::string text = "<";
  for (std::size_t i = 0; i < std::min(bytes->size(), kMost); ++i) {
    if (i > 0) text += ' ';
    bv::appendLowerHex(text, (*bytes)[i]);
  }
  return text + (bytes->size() > kMost ? " ... " + std::to_string(bytes->size()) + " bytes>" : ">");
}

std::string secondsText(double seconds) {
  std::ostringstream text;
  text << std::setprecision(3) << seconds << " s";
  return text.str();
}

std::string readingFailure(std::string_view what, int error) {
  std::string text = bv::errorText(what, error);
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case EACCES:
    case EPERM:
      return text + "; check that it exists and that you may read it";
    case EISDIR:
      return text + "; name a file";
    case EBADF:
      return std::string(what) + ": is closed; redirect it";
    case ENOMEM:
      return text + "; the file is too large for the memory";
    case EINTR:
      return std::string(what) + ": interrupted";
    default:
      return text;
  }
}

std::string writingFailure(std::string_view what, int error) {
  std::string text = bv::errorText(what, error);
  switch (error) {
    case EEXIST:
      return text + "; name a new file";
    case ENOENT:
    case ENOTDIR:
    case EACCES:
    case EPERM:
    case EROFS:
      return text + "; check that its folder exists and that you may write there";
    default:
      return text;
  }
}

bool isCapableTerminal(int stream) {
  return ::isatty(stream) == 1 && environmentVariable("TERM") != "dumb";
}

Output::Output(bool json, std::string_view color)
    : json_(json),
      colorsOutput_(wantsColor(color, STDOUT_FILENO)),
      colorsError_(wantsColor(color, STDERR_FILENO)) {}

void Output::print(std::string_view text) {
  if (broken_ || text.empty()) return;
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (written && std::fflush(stdout) == 0) return;
  const int reason = errno;
  broken_ = true;
  if (reason == EPIPE) return;  // who reads has enough
  complain(reason == EBADF ? "standard output: is closed"
                           : bv::errorText("standard output", reason));
}

void Output::printJson(const bv::Object& value) { print(jsonOf(value) + "\n"); }

void Output::printResult(bv::Dictionary result) {
  if (!unreported_.empty()) result.insert_or_assign("error", std::exchange(unreported_, {}));
  const bool ok = result.find("error") == result.end();
  result.insert_or_assign("ok", ok);
  printJson(std::move(result));
}

void Output::finish() {
  if (json_ && !unreported_.empty()) printResult({});
}

std::string Output::colored(Color color, std::string_view text) const {
  if (!colorsOutput_) return std::string(text);
  return std::string(sequence(color)).append(text).append(kReset);
}

void Output::complain(std::string_view message) {
  if (json_) unreported_.append(unreported_.empty() ? "" : "; ").append(message);
  const std::string prefix =
      colorsError_ ? std::string(sequence(Color::kRed)).append("bvdiag:").append(kReset)
                   : std::string("bvdiag:");
  std::cerr << prefix + " " + escaped(message) + messageEnd_;
}

void Output::remark(std::string_view message) const { std::cerr << escaped(message) + messageEnd_; }

}  // namespace bvdiag
