// GrowingText, memory for a text whose length is not known before its end.
// Private to its room. It belongs to one thread.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace brisvane::host::real {

// The kernel moves the pages when the memory grows. So nothing is copied before the end, and a
// large text never stands in memory twice.
class GrowingText {
 public:
  // May throw std::bad_alloc.
  GrowingText();
  GrowingText(const GrowingText&) = delete;
  GrowingText& operator=(const GrowingText&) = delete;
  ~GrowingText();

  // The memory behind the text, never empty. May throw std::bad_alloc.
  [[nodiscard]] std::span<char> room();
  // The text ends so much later. REQUIRES: the last room() was as long.
  void add(std::size_t count) noexcept { size_ += count; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }

  // The text, which is given up here step by step. To be called once. May throw std::bad_alloc.
  [[nodiscard]] std::string take();

 private:
  char* bytes_;
  std::size_t capacity_;
  std::size_t size_ = 0;
};

}  // namespace brisvane::host::real
