#include "brisvane/host/files/new_file.h"

#include <sys/random.h>

#include <chrono>
#include <cstdint>
#include <cstdio>

#include "brisvane/types/hex.h"

namespace brisvane::host::real {
namespace {

std::string nameBeside(const std::string& path) {
  std::uint64_t number = 0;
  if (::getrandom(&number, sizeof number, GRND_NONBLOCK) != sizeof number) {
    // Early in the boot. A name that is taken is only tried again.
    number =
        static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
        static_cast<std::uint64_t>(::getpid()) << 32U;
  }
  std::string name = path.substr(0, path.rfind('/') + 1).append(".bv");
  for (unsigned shift = 0; shift < 64; shift += 4)
    name += hexDigit(static_cast<unsigned>(number >> shift));
  return name;
}

}  // namespace

Result<NewFile> createBeside(const std::string& path, mode_t mode) {
  constexpr int kTries = 16;
  for (int i = 0; i < kTries; ++i) {
    NewFile made;
    made.path = nameBeside(path);
    made.file =
        openDescriptor(made.path.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_CREAT | O_EXCL, mode);
    if (made.file.valid()) return made;
    if (errno != EEXIST) return Error::last();
  }
  return Error(EEXIST);
}

Result<> renameWithoutReplacing(const std::string& from, const std::string& to) noexcept {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return {};
  const auto cannot = [](int error) {
    return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
  };
  if (!cannot(errno)) return Error::last();
  // A file system without RENAME_NOREPLACE. Without hard links too (EPERM), there is no way.
  if (::link(from.c_str(), to.c_str()) != 0)
    return cannot(errno) || errno == EPERM ? Error(EXDEV) : Error::last();
  if (::unlink(from.c_str()) == 0) return {};
  const Error failed = Error::last();
  ::unlink(to.c_str());  // two names for one file are no move
  return failed;
}

}  // namespace brisvane::host::real
