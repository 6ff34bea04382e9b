// Calls of the C library that fail when a test says so. The source beside this header replaces them
// in the program that it is linked to, for the libraries that the program uses, too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace brisvane::testing {

enum class Call : std::uint8_t {
  kWrite,   // write
  kOpen,    // open, openat
  kRename,  // rename, renameat2
  kLink,
  kSync,  // fsync
  kPoll,
  kRead,
  kPipe,    // pipe2
  kSpawn,   // posix_spawn
  kThread,  // pthread_create
  kCount
};

// How a call fails: with an errno value, or in one of these ways.
constexpr int kTakesPart = -1;   // a write takes half of its bytes
constexpr int kIsLookedAt = -2;  // it does not fail: atCall() is called ahead of it

struct Fault {
  Call call;
  int error;
};

// The n-th such call fails while the object lives. Those of the thread that made the object count,
// and those of threads that begin meanwhile. EIO, EDQUOT, ENOSPC and a part only befall reads and
// writes of files and terminals: the kernel has them for nothing else.
class FailingCall {
 public:
  // Of the calls in `always`, every one fails.
  FailingCall(Fault fault, std::size_t n, const std::vector<Fault>& always = {});
  FailingCall(const FailingCall&) = delete;
  FailingCall& operator=(const FailingCall&) = delete;
  ~FailingCall();

  // Whether the n-th call of the last object has come.
  static bool hasHappened() noexcept;
  // Whether it has, and the object lives.
  static bool isUnderWay() noexcept;

  static inline void (*atCall)() = nullptr;
};

}  // namespace brisvane::testing
