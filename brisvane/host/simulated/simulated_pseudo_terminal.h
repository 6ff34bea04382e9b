// PseudoTerminal, a pair of connected terminals, and a watch for the programs that open it.
// Private to the simulated machine. A PseudoTerminal belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "brisvane/types/result.h"

namespace brisvane::host::simulated {

// Owns a descriptor.
class Handle {
 public:
  Handle() noexcept = default;
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { close(); }

  [[nodiscard]] int get() const noexcept { return descriptor_; }
  // Takes a descriptor over. One of 0 to 2, as in a program that closed its standard streams, is
  // moved up, so that nothing that the program prints goes there. When that fails, the Handle is
  // empty and errno has the reason.
  void set(int descriptor) noexcept;
  void close() noexcept;

 private:
  int descriptor_ = -1;
};

class PseudoTerminal {
 public:
  // Makes a pair in raw mode.
  [[nodiscard]] Result<> open();

  // The device's end. It does not block.
  [[nodiscard]] int device() const noexcept { return device_.get(); }
  // The path of the end that programs open.
  [[nodiscard]] const std::string& node() const noexcept { return node_; }

  // Is readable when openedOrClosed() has something to report.
  [[nodiscard]] int watch() const noexcept { return watch_.get(); }
  // The openings (true) and closings (false) of the node since the last call, in order.
  [[nodiscard]] std::vector<bool> openedOrClosed();

  // Whether a program has the advisory lock on the node. The lock ends with the program.
  [[nodiscard]] bool isLocked() const;
  // Whether the node bears the mark of exclusive use, TIOCEXCL. The mark belongs to the pair: one
  // that a killed program has left would keep out all but the superuser.
  [[nodiscard]] bool isMarked() const noexcept;
  // Clears the mark, unless the superuser's next program has come meanwhile: then it is that one's.
  void clearMark();
  // Discards what the program has not read.
  void discardUnread() noexcept;
  // The number of bytes that the program has not read.
  [[nodiscard]] std::size_t unread() const noexcept;

  // Closes both ends. The program's line hangs up.
  void hangUp() noexcept;

 private:
  Handle device_;
  Handle ownEnd_;  // the program's end, kept open so that the pair outlives programs
  Handle watch_;
  std::string node_;
};

}  // namespace brisvane::host::simulated
