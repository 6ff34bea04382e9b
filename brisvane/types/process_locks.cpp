#include "brisvane/types/process_locks.h"

#include <pthread.h>

#include <cassert>

namespace brisvane::host {
namespace {

constinit ProcessLocks locks;

void takeAll() {
  locks.systemInfo.lock();
  locks.loggers.lock();
  locks.platform.lock();
  locks.registries.lock();
  locks.osVersion.lock();
  locks.cryptography.lock();
  locks.timeZone.lock();
  locks.cutLines.lock();
  locks.logSocket.lock();
}

void releaseAll() {
  locks.logSocket.unlock();
  locks.cutLines.unlock();
  locks.timeZone.unlock();
  locks.cryptography.unlock();
  locks.osVersion.unlock();
  locks.registries.unlock();
  locks.platform.unlock();
  locks.loggers.unlock();
  locks.systemInfo.unlock();
}

// When the library is loaded: later, a fork could come in the middle of it.
__attribute__((constructor)) void holdAcrossForks() { pthread_atfork(takeAll, releaseAll, releaseAll); }

#ifndef NDEBUG
constinit thread_local bool holdsServiceMutex = false;
#endif

}  // namespace

#ifndef NDEBUG
void ServiceMutex::lock() {
  assert(!holdsServiceMutex && "a service comes back to what asks it, or forks");
  mutex_.lock();
  holdsServiceMutex = true;
}

void ServiceMutex::unlock() {
  holdsServiceMutex = false;
  mutex_.unlock();
}
#endif

ProcessLocks& processLocks() noexcept { return locks; }

}  // namespace brisvane::host
