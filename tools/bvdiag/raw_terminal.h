// RawTerminal, the terminal that standard input is, in raw mode: each key comes at once and as it
// is. It is restored however the program ends, as long as it can act at all.
// There is one RawTerminal at a time. It belongs to one thread.
#pragma once

namespace bvdiag {

class RawTerminal {
 public:
  // Does nothing when standard input is no terminal. In the background it stops the program until
  // that is in the foreground. `keepsOutput`: line feeds are still shown as new lines.
  explicit RawTerminal(bool keepsOutput);
  RawTerminal(const RawTerminal&) = delete;
  RawTerminal& operator=(const RawTerminal&) = delete;
  // Restores the terminal.
  ~RawTerminal();

  // Whether standard input is a terminal.
  [[nodiscard]] static bool isThere();

  // Whether the program was asked to stop (SIGTSTP); once for each time.
  [[nodiscard]] static bool isAskedToStop() noexcept;
  // Whether the program goes on after a stop (SIGCONT); once for each time.
  [[nodiscard]] static bool hasContinued() noexcept;

  // Restores the terminal, stops the program with all of its job, and makes the terminal raw again
  // once it goes on.
  void stop() const;
  // Makes the terminal raw again, whoever has changed it.
  void enter() const noexcept;

 private:
  bool keepsOutput_;
};

}  // namespace bvdiag
