// NeverDestroyed, for the objects that live as long as the process.
// Private to the library.
#pragma once

#include <utility>

namespace brisvane {

// Holds a T whose destructor never runs, so that the destructor of another static
// object can still use it. As a function's `static` it is built on first use, once,
// whichever thread comes first; `constinit`, it needs no building at all.
template <typename T>
class NeverDestroyed {
 public:
  template <typename... Arguments>
  constexpr explicit NeverDestroyed(Arguments&&... arguments)
      : storage_(std::forward<Arguments>(arguments)...) {}
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T& operator*() noexcept { return storage_.object; }
  T* operator->() noexcept { return &storage_.object; }

 private:
  union Storage {
    template <typename... Arguments>
    constexpr explicit Storage(Arguments&&... arguments)
        : object(std::forward<Arguments>(arguments)...) {}
    constexpr ~Storage() {}
    T object;
  };
  Storage storage_;
};

}  // namespace brisvane
