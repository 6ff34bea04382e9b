// Descriptor, an owned file descriptor, and the one way to open a path.
// A Descriptor belongs to one thread at a time.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace brisvane::host::real {

class Descriptor {
 public:
  Descriptor() noexcept = default;
  explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : descriptor_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~Descriptor() { reset(-1); }

  [[nodiscard]] bool valid() const noexcept { return descriptor_ >= 0; }
  [[nodiscard]] int get() const noexcept { return descriptor_; }
  [[nodiscard]] int release() noexcept { return std::exchange(descriptor_, -1); }

  // Takes a descriptor over. A result of 0 to 2, as in a program that closed its standard
  // streams, is moved up: nothing that prints may end up there. Invalid with errno set on failure.
  [[nodiscard]] static Descriptor aboveStandardStreams(int opened) noexcept {
    constexpr int kFirstOwn = 3;
    Descriptor descriptor(opened);
    if (!descriptor.valid() || descriptor.get() >= kFirstOwn) return descriptor;
    return Descriptor(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, kFirstOwn));
  }

  // close is not tried again after EINTR: on Linux the descriptor is gone by then.
  // errno stands as it was, for the failure that led here.
  void reset(int descriptor) noexcept {
    const int error = errno;
    if (valid()) ::close(descriptor_);
    descriptor_ = descriptor;
    errno = error;
  }

 private:
  int descriptor_ = -1;
};

// Opens a path close-on-exec, above the standard streams.
inline Descriptor openDescriptor(const char* path, int flags, mode_t mode = 0) noexcept {
  int opened = -1;
  do {
    opened = ::open(path, flags | O_CLOEXEC, mode);
  } while (opened < 0 && errno == EINTR);
  return Descriptor::aboveStandardStreams(opened);
}

}  // namespace brisvane::host::real
