// Memory that runs out when a test says so. For one source of a program only: this replaces the
// program's allocation functions.
#pragma once

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace brisvane::testing {

// Which allocations fail: the n-th alone, or it and all that follow.
enum class Fails { kOne, kAllFromThere };
// Whose allocations count: the thread's that asks for it, or every thread's.
enum class Whose { kThisThread, kEveryThread };

class FailingAllocations {
 public:
  FailingAllocations(std::size_t n, Fails fails, Whose whose) noexcept {
    left = static_cast<std::ptrdiff_t>(n);
    andAllFollowing = fails == Fails::kAllFromThere;
    hasFailed = false;
    isHere = true;
    reach = whose == Whose::kEveryThread ? Reach::kAll : Reach::kHere;
  }
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;
  ~FailingAllocations() { end(); }

  static void end() noexcept {
    reach = Reach::kNone;
    isHere = false;
  }

  // Whether an allocation has failed since the last of these objects was made.
  static bool haveHappened() noexcept { return hasFailed; }

  // Whether one has failed of those that are to: the operation goes on without it.
  static bool areUnderWay() noexcept { return hasFailed && reach != Reach::kNone; }

  // Asked ahead of each allocation.
  static bool isNext() noexcept {
    const Reach now = reach;
    if (now == Reach::kNone || (now == Reach::kHere && !isHere)) return false;
    const std::ptrdiff_t rest = --left;
    const bool fails = rest == 0 || (rest < 0 && andAllFollowing);
    if (fails) hasFailed = true;
    return fails;
  }

 private:
  enum class Reach { kNone, kHere, kAll };
  static inline constinit std::atomic<Reach> reach{Reach::kNone};
  static inline constinit std::atomic<std::ptrdiff_t> left{0};
  static inline constinit std::atomic<bool> andAllFollowing{false};
  static inline constinit std::atomic<bool> hasFailed{false};
  static inline constinit thread_local bool isHere = false;
};

}  // namespace brisvane::testing

#if !defined(__SANITIZE_ADDRESS__) && defined(__GLIBC__)

// The C libraries' allocations, and by way of them those of C++. glibc promises these names to
// whoever replaces malloc.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) noexcept {
  if (!brisvane::testing::FailingAllocations::isNext()) return __libc_malloc(size);
  errno = ENOMEM;
  return nullptr;
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  if (!brisvane::testing::FailingAllocations::isNext()) return __libc_calloc(count, size);
  errno = ENOMEM;
  return nullptr;
}

void* realloc(void* block, std::size_t size) noexcept {
  if (!brisvane::testing::FailingAllocations::isNext()) return __libc_realloc(block, size);
  errno = ENOMEM;
  return nullptr;
}
}

#else

// AddressSanitizer brings a malloc of its own, which stays: here C++ alone runs out of memory. Out
// of line: g++ 12 takes an inlined pair for a mistake.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const block = brisvane::testing::FailingAllocations::isNext() ? nullptr : std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return brisvane::testing::FailingAllocations::isNext() ? nullptr : std::malloc(size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t /*size*/) noexcept {
  std::free(block);
}

#endif
