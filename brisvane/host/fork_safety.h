// Keeps a process-wide mutex usable in a child that a fork makes while another
// thread holds it. Private to the library.
#pragma once

#include <pthread.h>

#include <mutex>

namespace brisvane::host {

// Has every fork hold the mutex that `mutex` names, so that the child never starts
// with it locked by a thread it does not have. Call once per mutex. A failure (no
// memory) leaves the fork of a multi-threaded process as unsafe as it always was.
template <std::mutex& (*mutex)()>
void surviveFork() noexcept {
  pthread_atfork([] { mutex().lock(); }, [] { mutex().unlock(); }, [] { mutex().unlock(); });
}

}  // namespace brisvane::host
