// BVSerialPort::HandleUse, the port's handle for the length of one system call: the number is freed
// when its last use has ended. Private to the serial port.
// Any thread may begin and end uses of one port at any time.
#pragma once

#include <mutex>
#include <utility>

#include "brisvane/host/terminal/terminal.h"
#include "brisvane/serial/BVSerialPort.h"

namespace brisvane {

// Uses of one port are a list of objects on the threads' stacks, so that none needs memory.
class BVSerialPort::HandleUse {
 public:
  explicit HandleUse(const BVSerialPort& port) noexcept : port_(port) {
    const std::scoped_lock lock(port_.propertyMutex_);
    handle_ = port_.spHandle_;
    next_ = std::exchange(port_.uses_, this);
  }
  HandleUse(const HandleUse&) = delete;
  HandleUse& operator=(const HandleUse&) = delete;
  ~HandleUse() {
    if (endIsLast()) host::terminal::close(handle_);
  }

  // The port's handle at the beginning of the use; -1 when it was closed.
  [[nodiscard]] std::int32_t handle() const noexcept { return handle_; }

  // The last of the uses that the handle has now, this one among them, closes it.
  // REQUIRES that the thread holds the port's propertyMutex_.
  void closeAfterLast() const noexcept {
    for (HandleUse* use = port_.uses_; use != nullptr; use = use->next_) {
      if (use->handle_ == handle_) use->closes_ = true;
    }
  }

 private:
  // Takes the use out of the list. Whether it is the last that has the handle to close.
  bool endIsLast() noexcept {
    const std::scoped_lock lock(port_.propertyMutex_);
    bool isLast = closes_;
    for (HandleUse** link = &port_.uses_; *link != nullptr;) {
      if (*link == this) {
        *link = next_;
      } else {
        if ((*link)->closes_ && (*link)->handle_ == handle_) isLast = false;
        link = &(*link)->next_;
      }
    }
    return isLast;
  }

  const BVSerialPort& port_;
  std::int32_t handle_ = -1;
  bool closes_ = false;
  HandleUse* next_ = nullptr;
};

}  // namespace brisvane
