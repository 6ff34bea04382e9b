// Preloaded into the programs that qemu-user runs, whose ioctl lacks TCGETS2: it is done with
// TCGETS, and the code for the line's speed that this gives becomes the number.
#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

namespace {

// Of the speeds that the tests use; 0 for any other.
speed_t speedOf(tcflag_t code) { return code == B9600 ? 9600 : code == B115200 ? 115200 : 0; }

// The machine's own programs, which a test may run, cannot load it.
[[gnu::constructor]] void keepFromChildren() { ::unsetenv("LD_PRELOAD"); }

}  // namespace

extern "C" [[gnu::visibility("default")]] int ioctl(int descriptor, unsigned long request,
                                                    void* argument) {
  const bool isSpeedAskedFor = request == TCGETS2;
  const long result =
      ::syscall(SYS_ioctl, descriptor, isSpeedAskedFor ? TCGETS : request, argument);
  if (isSpeedAskedFor && result == 0) {
    auto& settings = *static_cast<termios2*>(argument);  // begins as what TCGETS fills in
    settings.c_ispeed = settings.c_ospeed = speedOf(settings.c_cflag & CBAUD);
  }
  return static_cast<int>(result);
}
