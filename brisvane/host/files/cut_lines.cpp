#include "brisvane/host/files/cut_lines.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>

#include "brisvane/types/process_locks.h"

namespace brisvane::host::real {
namespace {

struct CutLine {
  pid_t process = 0;  // a forked child has cut none; 0 for an unused place
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
};

// Guarded by ProcessLock::kCutLines, but for the number of them.
struct CutLines {
  std::array<CutLine, 16> places;
  std::size_t oldest = 0;
  std::atomic<std::size_t> count = 0;
};
constinit CutLines cutLines;

CutLine* find(const struct stat& file) noexcept {
  auto& places = cutLines.places;
  auto* const found = std::find_if(places.begin(), places.end(), [&](const CutLine& line) {
    return line.process != 0 && line.device == file.st_dev && line.inode == file.st_ino;
  });
  return found == places.end() ? nullptr : found;
}

CutLine& newPlace() noexcept {
  auto& places = cutLines.places;
  auto* const unused = std::find_if(places.begin(), places.end(),
                                    [](const CutLine& line) { return line.process == 0; });
  if (unused == places.end()) return places.at(cutLines.oldest++ % places.size());
  ++cutLines.count;
  return *unused;
}

}  // namespace

bool isAnyLineCut() noexcept { return cutLines.count != 0; }

void rememberCutLine(int file) noexcept {
  struct stat status {};
  if (::fstat(file, &status) != 0) return;
  const std::scoped_lock lock(processLock(ProcessLock::kCutLines));
  CutLine* const known = find(status);
  (known != nullptr ? *known : newPlace()) = {::getpid(), status.st_dev, status.st_ino,
                                              status.st_size};
}

bool forgetCutLine(int file) noexcept {
  struct stat status {};
  if (::fstat(file, &status) != 0) return false;
  const std::scoped_lock lock(processLock(ProcessLock::kCutLines));
  CutLine* const known = find(status);
  if (known == nullptr) return false;
  const bool isThere = known->process == ::getpid() && status.st_size >= known->size;
  *known = {};
  --cutLines.count;
  return isThere;
}

}  // namespace brisvane::host::real
