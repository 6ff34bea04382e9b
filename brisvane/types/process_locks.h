// The mutexes that guard what the whole process shares, and their order. Private to the
// library.
//
// All of them are held across every fork, so that a child never starts with one taken by
// a thread that it does not have. They need no initialisation and are never destroyed:
// the first use of anything, a fork and the destructor of a static object may come in
// any order.
#pragma once

#include <mutex>

namespace brisvane::host {

#ifdef NDEBUG
using ServiceMutex = std::mutex;
#else
// Held while services of the platform are called, which a tool may bring. One that takes it again in the same thread,
// as a fork does, too, would wait for itself without end: a debug build stops there.
class ServiceMutex {
 public:
  void lock();
  void unlock();

 private:
  std::mutex mutex_;
};
#endif

// In the order in which one may be taken while another is held.
struct ProcessLocks {
  ServiceMutex systemInfo;  // the building of the shared profile, which asks the platform
  std::mutex loggers;       // what all loggers share; never held during I/O
  std::mutex platform;      // which platform is in force
  std::mutex registries;    // the open nodes of every registry
  std::mutex osVersion;     // the OS version of every profile
  std::mutex cryptography;  // the loading of the cryptography library
  std::mutex timeZone;      // around tzset and localtime_r
  std::mutex cutLines;      // the files in which a line was cut short
  std::mutex logSocket;     // which socket the entries of the system log are sent from
};

ProcessLocks& processLocks() noexcept;

}  // namespace brisvane::host
