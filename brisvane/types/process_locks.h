// The mutexes that guard what the whole process shares, and their order. Private to the
// library.
//
// All of them are held across every fork, so that a child never starts with one taken by
// a thread that it does not have. They need no initialisation and are never destroyed:
// the first use of anything, a fork and the destructor of a static object may come in
// any order.
#pragma once

#include <cstdint>
#include <mutex>
#include <span>

namespace brisvane::host {

// In the order in which one may be taken while another is held.
enum class ProcessLock : std::uint8_t {
  kSystemInfo,    // the building of the shared profile, which asks the services of the platform
  kLoggers,       // what all loggers share; never held during I/O
  kPlatform,      // which platform is in force
  kRegistries,    // the open nodes of every registry
  kOsVersion,     // the OS version of every profile
  kCryptography,  // the loading of the cryptography library
  kTimeZone,      // around tzset and localtime_r
  kCutLines,      // the files in which a line was cut short
  kLogSocket,     // which socket the entries of the system log are sent from
  kCount
};

#ifdef NDEBUG
using ProcessMutex = std::mutex;
#else
// A debug build stops at a lock that is taken out of its order. One that its own thread holds would
// be waited for without end: so ends a service of a tool that comes back to what asks it, or forks.
class ProcessMutex {
 public:
  void lock();
  bool try_lock();
  void unlock();

 private:
  std::mutex mutex_;
};
#endif

ProcessMutex& processLock(ProcessLock which) noexcept;

// Every one, in their order.
std::span<ProcessMutex> processLocks() noexcept;

}  // namespace brisvane::host
