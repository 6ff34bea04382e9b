// PseudoTerminal, a pair of connected terminals, and the watch on who opens it.
// Private to the simulated machine. Belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <optional>
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
  // Takes a descriptor over. One of 0 to 2, as in a program that closed its standard streams, is moved up: nothing that
  // the program prints may end up there. Without a place for it, there is none then, and errno says why.
  void set(int descriptor) noexcept;
  void close() noexcept;

 private:
  int descriptor_ = -1;
};

class PseudoTerminal {
 public:
  // Makes a pair in raw mode.
  [[nodiscard]] Result<> open();

  // The end that plays the device: does not block.
  [[nodiscard]] int device() const noexcept { return device_.get(); }
  // The path of the end that programs open.
  [[nodiscard]] const std::string& node() const noexcept { return node_; }

  // Readable when openedOrClosed() has something to tell.
  [[nodiscard]] int watch() const noexcept { return watch_.get(); }
  // Whether programs have opened the node (true) or closed it (false), in order, since
  // the last call.
  [[nodiscard]] std::vector<bool> openedOrClosed();

  // Whether a program holds the advisory lock on the node. It goes with the program.
  [[nodiscard]] bool isLocked() const;
  // Ends what a program has left behind that was killed: TIOCEXCL lives on with the pair,
  // and to all but the superuser the node would stay closed.
  void endExclusiveUse() noexcept;
  // Throws away what the program has not read.
  void discardUnread() noexcept;
  // How many bytes wait for the program to read them.
  [[nodiscard]] std::size_t unread() const noexcept;

  // Closes the device's end: the program sees its line hang up.
  void hangUp() noexcept;

 private:
  Handle device_;
  Handle ownEnd_;  // the program's end, kept open so that the pair outlives programs
  Handle watch_;
  std::string node_;
};

}  // namespace brisvane::host::simulated
