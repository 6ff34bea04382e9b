#include "brisvane/host/launching/growing_text.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <new>

namespace brisvane::host::real {
namespace {

// From here on malloc(3) gives memory that no other value shares pages with
// (DEFAULT_MMAP_THRESHOLD_MAX).
constexpr std::size_t kMappedByMalloc = std::size_t{32} << 20U;
constexpr std::size_t kStep = std::size_t{1} << 20U;  // a multiple of the size of a page

// A large text touches memory that the kernel has to clear first. In large pages that takes a third
// of the time. It is a hint: a kernel may have none.
void preferLargePages(char* from, std::size_t size) noexcept {
  constexpr std::uintptr_t kPage = 64U << 10U;  // a multiple of every size of a page
  const std::uintptr_t start = (reinterpret_cast<std::uintptr_t>(from) + kPage - 1) / kPage * kPage;
  const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(from) + size) / kPage * kPage;
  if (start < end)
    ::madvise(from + (start - reinterpret_cast<std::uintptr_t>(from)), end - start, MADV_HUGEPAGE);
}

char* orBadAlloc(void* memory) {
  if (memory == MAP_FAILED) throw std::bad_alloc();
  return static_cast<char*>(memory);
}

}  // namespace

GrowingText::GrowingText()
    : bytes_(orBadAlloc(
          ::mmap(nullptr, kStep, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))),
      capacity_(kStep) {}

GrowingText::~GrowingText() { ::munmap(bytes_, capacity_); }

std::span<char> GrowingText::room() {
  if (size_ == capacity_) {
    bytes_ = orBadAlloc(::mremap(bytes_, capacity_, capacity_ * 2, MREMAP_MAYMOVE));
    capacity_ *= 2;
    // All of it: a part would become a mapping of its own, and mremap() moves one mapping alone.
    ::madvise(bytes_, capacity_, MADV_HUGEPAGE);
  }
  return {bytes_ + size_, capacity_ - size_};
}

std::string GrowingText::take() {
  std::string text;
  text.reserve(size_);
  if (size_ >= kMappedByMalloc) preferLargePages(text.data(), size_);
  for (std::size_t at = 0; at < size_; at += kStep) {
    const std::size_t count = std::min(kStep, size_ - at);
    text.append(bytes_ + at, count);
    ::madvise(bytes_ + at, count, MADV_DONTNEED);
  }
  return text;
}

}  // namespace brisvane::host::real
