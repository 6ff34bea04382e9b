#include "brisvane/host/terminal/termios2.h"

#include <asm/ioctls.h>
#include <asm/termbits.h>

// <sys/ioctl.h> would bring glibc's termios in.
extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept;

namespace brisvane::host::real {

Result<LineSpeed> lineSpeed(int descriptor) noexcept {
  termios2 settings{};
  if (ioctl(descriptor, TCGETS2, &settings) == -1) return Error::last();
  return LineSpeed{settings.c_ispeed, settings.c_ospeed};
}

Result<> setLineSpeed(int descriptor, std::uint32_t speed) noexcept {
  termios2 settings{};
  if (ioctl(descriptor, TCGETS2, &settings) == -1) return Error::last();
  settings.c_cflag &= ~static_cast<tcflag_t>(CBAUD | CBAUD << IBSHIFT);
  settings.c_cflag |= BOTHER | BOTHER << IBSHIFT;
  settings.c_ispeed = speed;
  settings.c_ospeed = speed;
  return ioctl(descriptor, TCSETS2, &settings) != -1 ? Result<>() : Error::last();
}

}  // namespace brisvane::host::real
