#include "brisvane/types/process_locks.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>

namespace brisvane::host {
namespace {

constinit std::array<ProcessMutex, static_cast<std::size_t>(ProcessLock::kCount)> mutexes;

void takeAll() {
  for (ProcessMutex& mutex : mutexes) mutex.lock();
}

void releaseAll() {
  std::for_each(mutexes.rbegin(), mutexes.rend(), [](ProcessMutex& mutex) { mutex.unlock(); });
}

// When the library is loaded: later, a fork could come in the middle of it.
__attribute__((constructor)) void holdAcrossForks() {
  pthread_atfork(takeAll, releaseAll, releaseAll);
}

#ifndef NDEBUG
constinit thread_local unsigned held = 0;  // a bit for each, by its place in the order

unsigned bitOf(const ProcessMutex* mutex) noexcept {
  return 1U << static_cast<unsigned>(mutex - mutexes.data());
}
#endif

}  // namespace

#ifndef NDEBUG
void ProcessMutex::lock() {
  assert(held < bitOf(this) &&
         "a lock out of its order: a service comes back to what asks it, or forks");
  mutex_.lock();
  held |= bitOf(this);
}

bool ProcessMutex::try_lock() {
  if (!mutex_.try_lock()) return false;
  held |= bitOf(this);
  return true;
}

void ProcessMutex::unlock() {
  held &= ~bitOf(this);
  mutex_.unlock();
}
#endif

ProcessMutex& processLock(ProcessLock which) noexcept {
  return mutexes[static_cast<std::size_t>(which)];
}

std::span<ProcessMutex> processLocks() noexcept { return mutexes; }

}  // namespace brisvane::host
