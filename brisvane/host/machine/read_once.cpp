#include "brisvane/host/machine/read_once.h"

namespace brisvane::host {
namespace {

thread_local constinit ReadOnce* outermost = nullptr;

}  // namespace

ReadOnce::ReadOnce() noexcept : outer_(outermost) {
  if (outer_ == nullptr) outermost = this;
}

ReadOnce::~ReadOnce() {
  if (outer_ == nullptr) outermost = nullptr;
}

std::shared_ptr<const void> ReadOnce::find(
    const std::string& path, const std::function<std::shared_ptr<const void>()>& read) {
  if (outermost == nullptr) return read();
  auto& content = outermost->contents_[path];
  if (content == nullptr) content = read();
  return content;
}

}  // namespace brisvane::host
