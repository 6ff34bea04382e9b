#include "brisvane/host/files/new_file.h"

#include <sys/random.h>

#include <chrono>
#include <cstdint>
#include <cstdio>

#include "brisvane/host/files/file_access.h"
#include "brisvane/types/hex.h"

namespace brisvane::host::real {
namespace {

std::string nameBeside(const std::string& path) {
  std::uint64_t number = 0;
  if (::getrandom(&number, sizeof number, GRND_NONBLOCK) != sizeof number) {
    // Early in the boot. A name that is taken is only tried again.
    number = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
             static_cast<std::uint64_t>(::getpid()) << 32U;
  }
  std::string name = path.substr(0, path.rfind('/') + 1).append(".bv");
  for (unsigned shift = 0; shift < 64; shift += 4) name += hexDigit(static_cast<unsigned>(number >> shift));
  return name;
}

}  // namespace

Descriptor createBeside(const std::string& path, std::string& name, mode_t mode) {
  constexpr int kTries = 16;
  Descriptor file;
  for (int i = 0; i < kTries; ++i) {
    name = nameBeside(path);
    file = openDescriptor(name.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_CREAT | O_EXCL, mode);
    if (file.valid() || errno != EEXIST) break;
  }
  return file;
}

FormerError renameWithoutReplacing(const std::string& from, const std::string& to) noexcept {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return {};
  const auto cannot = [](int error) { return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP; };
  if (!cannot(errno)) return lastError();
  // A file system without RENAME_NOREPLACE. Without hard links too (EPERM), there is no way.
  if (::link(from.c_str(), to.c_str()) != 0) return cannot(errno) || errno == EPERM ? FormerError(EXDEV) : lastError();
  if (::unlink(from.c_str()) == 0) return {};
  const FormerError failed = lastError();
  ::unlink(to.c_str());  // two names for one file are no move
  return failed;
}

}  // namespace brisvane::host::real
