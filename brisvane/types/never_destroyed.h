// NeverDestroyed, for the objects that live as long as the process.
// Private to the library.
#pragma once

#include <new>
#include <utility>

namespace brisvane {

// Holds a T whose destructor never runs, so that the destructor of another static
// object can still use it. Declare it as a function's `static`: it is then built on
// first use, once, whichever thread comes first.
template <typename T>
class NeverDestroyed {
 public:
  template <typename... Arguments>
  explicit NeverDestroyed(Arguments&&... arguments) {
    new (storage_) T(std::forward<Arguments>(arguments)...);
  }
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T& operator*() noexcept { return *std::launder(reinterpret_cast<T*>(storage_)); }
  T* operator->() noexcept { return &**this; }

 private:
  alignas(T) unsigned char storage_[sizeof(T)];
};

}  // namespace brisvane
