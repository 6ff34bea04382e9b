#include "tests/support/failing_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace brisvane::testing {
namespace {

constexpr int kWorks = 0;

constinit std::atomic<unsigned> generation{0};  // odd while an object lives
constinit std::atomic<int> call{-1};
constinit std::atomic<int> error{kWorks};
constinit std::atomic<std::size_t> left{0};
constinit std::atomic<bool> happened{false};
constinit std::array<std::atomic<int>, static_cast<std::size_t>(Call::kCount)> always{};
constinit thread_local bool isOwner = false;
// When the thread made its first call: one that did so before the object was made does not count.
thread_local const unsigned born = generation;

bool befalls(int number, int descriptor) noexcept {
  const bool isOfDisk =
      number == EIO || number == EDQUOT || number == ENOSPC || number == kTakesPart;
  if (!isOfDisk || descriptor < 0) return true;
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && (S_ISREG(status.st_mode) || S_ISCHR(status.st_mode));
}

// How this call is to fail; kWorks for not at all.
int fault(Call which, int descriptor = -1) {
  const unsigned now = generation;
  if (now % 2 == 0 || (!isOwner && born != now)) return kWorks;
  if (const int each = always.at(static_cast<std::size_t>(which)); each != kWorks) return each;
  const int number = error;
  if (call != static_cast<int>(which) || !befalls(number, descriptor) || --left != 0) return kWorks;
  happened = true;
  if (number != kIsLookedAt) return number;
  FailingCall::atCall();
  return kWorks;
}

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

// For calls that give -1 and set errno.
bool fails(Call which, int descriptor = -1) {
  const int number = fault(which, descriptor);
  if (number > kWorks) errno = number;
  return number > kWorks;
}

mode_t modeOf(int flags, std::va_list list) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(list, mode_t) : 0;
}

}  // namespace

FailingCall::FailingCall(Fault fault, std::size_t n, const std::vector<Fault>& every) {
  call = static_cast<int>(fault.call);
  error = fault.error;
  left = n;
  happened = false;
  for (const auto& [which, number] : every) always.at(static_cast<std::size_t>(which)) = number;
  isOwner = true;
  ++generation;
}

FailingCall::~FailingCall() {
  ++generation;
  isOwner = false;
  for (auto& each : always) each = kWorks;
}

bool FailingCall::hasHappened() noexcept { return happened; }
bool FailingCall::isUnderWay() noexcept { return happened && generation % 2 == 1; }

}  // namespace brisvane::testing

using brisvane::testing::Call;
using brisvane::testing::fails;
using brisvane::testing::fault;
using brisvane::testing::modeOf;
using brisvane::testing::next;

extern "C" {

ssize_t write(int descriptor, const void* bytes, size_t size) {
  static auto* const real = next<ssize_t(int, const void*, size_t)>("write");
  const int number = fault(Call::kWrite, descriptor);
  if (number == brisvane::testing::kTakesPart && size > 1) return real(descriptor, bytes, size / 2);
  if (number <= 0) return real(descriptor, bytes, size);
  errno = number;
  return -1;
}

ssize_t read(int descriptor, void* bytes, size_t size) {
  static auto* const real = next<ssize_t(int, void*, size_t)>("read");
  return fails(Call::kRead, descriptor) ? -1 : real(descriptor, bytes, size);
}

int open(const char* path, int flags, ...) {
  static auto* const real = next<int(const char*, int, ...)>("open");
  std::va_list list;
  va_start(list, flags);
  const mode_t mode = modeOf(flags, list);
  va_end(list);
  return fails(Call::kOpen) ? -1 : real(path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
  static auto* const real = next<int(int, const char*, int, ...)>("openat");
  std::va_list list;
  va_start(list, flags);
  const mode_t mode = modeOf(flags, list);
  va_end(list);
  return fails(Call::kOpen) ? -1 : real(folder, path, flags, mode);
}

int rename(const char* from, const char* to) noexcept {
  static auto* const real = next<int(const char*, const char*)>("rename");
  return fails(Call::kRename) ? -1 : real(from, to);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
              unsigned flags) noexcept {
  static auto* const real = next<int(int, const char*, int, const char*, unsigned)>("renameat2");
  return fails(Call::kRename) ? -1 : real(fromFolder, from, toFolder, to, flags);
}

int link(const char* from, const char* to) noexcept {
  static auto* const real = next<int(const char*, const char*)>("link");
  return fails(Call::kLink) ? -1 : real(from, to);
}

int fsync(int descriptor) {
  static auto* const real = next<int(int)>("fsync");
  return fails(Call::kSync) ? -1 : real(descriptor);
}

int poll(pollfd* sources, nfds_t count, int milliseconds) {
  static auto* const real = next<int(pollfd*, nfds_t, int)>("poll");
  return fails(Call::kPoll) ? -1 : real(sources, count, milliseconds);
}

int pipe2(int ends[2], int flags) noexcept {
  static auto* const real = next<int(int*, int)>("pipe2");
  return fails(Call::kPipe) ? -1 : real(ends, flags);
}

// These two return the error.
int posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const arguments[],
                char* const environment[]) {
  static auto* const real =
      next<int(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
               char* const*, char* const*)>("posix_spawn");
  return fails(Call::kSpawn) ? errno
                             : real(process, path, actions, attributes, arguments, environment);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) noexcept {
  static auto* const real =
      next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
  return fails(Call::kThread) ? errno : real(thread, attributes, body, argument);
}
}
