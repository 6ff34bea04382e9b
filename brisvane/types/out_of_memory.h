// The door at which lack of memory ends: the described operations catch it here, and what they
// are built on may throw it.
// Private to the library.
#pragma once

#include <new>
#include <stdexcept>
#include <utility>

namespace brisvane {

// Runs `operation` and gives its result; gives `failure` instead when memory runs out, be it
// because there is none or because a length is beyond every container (std::length_error). Nothing
// else is caught: a thread that is cancelled unwinds through here.
template <typename Failure, typename Operation>
auto memoryPermitting(Failure&& failure, Operation&& operation)
    -> decltype(std::forward<Operation>(operation)()) {
  try {
    return std::forward<Operation>(operation)();
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
  }
  return std::forward<Failure>(failure);
}

// The same for an operation that has nothing to report a lack of memory with.
template <typename Operation>
void unlessOutOfMemory(Operation&& operation) {
  try {
    std::forward<Operation>(operation)();
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
  }
}

}  // namespace brisvane
