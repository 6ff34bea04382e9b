// What bvdiag prints: results on standard output, as text or as JSON, and messages on standard
// error. An Output belongs to one thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <brisvane/host/formats/json.h>
#include <brisvane/types/data.h>
#include <brisvane/types/object.h>

namespace bvdiag {

// The text with each control character, each bidirectional control and each byte that is not
// UTF-8 as an escape: \r, \n, \t, \\ or \x1b. Other characters are unchanged.
[[nodiscard]] std::string escaped(std::string_view text);
[[nodiscard]] std::string escaped(brisvane::ByteView bytes);
// The same with line ends, LF or CR LF, as they are.
[[nodiscard]] std::string escapedLines(std::string_view text);

// The value as JSON, with all that a terminal would obey as \u escapes. Throws std::length_error
// when it is too long.
[[nodiscard]] std::string jsonOf(
    const brisvane::Object& value,
    brisvane::host::JsonLayout layout = brisvane::host::JsonLayout::kOneLine);

// Rows of 16 bytes: the offset, the bytes in hexadecimal, and as characters. `offset` is
// that of the first byte.
[[nodiscard]] std::string hexDump(brisvane::ByteView bytes, std::size_t offset = 0);

// A value on one line: a text escaped; bytes between angle brackets, in hexadecimal, or
// between quotes where they are text; anything else as JSON. Of more than 64 bytes in
// hexadecimal the first are shown, and how many there are.
[[nodiscard]] std::string valueText(const brisvane::Object& value);

// A number of seconds as a person reads it: "2 s", "0.25 s".
[[nodiscard]] std::string secondsText(double seconds);

enum class Color { kRed, kGreen, kCyan };

// Why a file cannot be read or written, and what to try: "what: reason; advice".
[[nodiscard]] std::string readingFailure(std::string_view what, int error);
[[nodiscard]] std::string writingFailure(std::string_view what, int error);

// Whether the stream is a terminal on which what is written can be coloured and overwritten.
[[nodiscard]] bool isCapableTerminal(int stream);

class Output {
 public:
  // `color` is "always", "never" or "auto": colours for a capable terminal, unless NO_COLOR is set
  // to something.
  Output(bool json, std::string_view color);

  [[nodiscard]] bool json() const noexcept { return json_; }

  // Prints at once, whatever standard output is.
  void print(std::string_view text);
  // A value as it is: a list, a description, an event.
  void printJson(const brisvane::Object& value);
  // What an operation comes to: with "ok", and with "error" when there has been a complaint since
  // the last result.
  void printResult(brisvane::Dictionary result);

  // The text in colour, for print(); as it is when there are no colours.
  [[nodiscard]] std::string colored(Color color, std::string_view text) const;

  // Reports on standard error what failed, where, why, and what to try. In JSON the next result has
  // the report, too.
  void complain(std::string_view message);
  // Prints a message that is no failure on standard error.
  void remark(std::string_view message) const;

  // From now on messages end with a carriage return, too, or no longer: for a terminal in raw mode.
  void setRaw(bool isRaw) noexcept { messageEnd_ = isRaw ? "\r\n" : "\n"; }

  // Prints a result of its own for complaints that no result has reported.
  void finish();

  // Whether standard output has stopped taking what is printed.
  [[nodiscard]] bool isBroken() const noexcept { return broken_; }

 private:
  bool json_;
  bool colorsOutput_;
  bool colorsError_;
  bool broken_ = false;
  const char* messageEnd_ = "\n";
  std::string unreported_;  // complaints, for the next result
};

}  // namespace bvdiag
