// The first use of each part of the library, with each of its allocations failing in turn.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "brisvane/all.h"
#include "brisvane/types/out_of_memory.h"
#include "tests/support/allocation_failures.h"
#include "tests/support/own_process.h"

namespace brisvane {
namespace {

using testing::areLocksFree;
using testing::FailingAllocations;
using testing::Fails;
using testing::position;
using testing::reportCrashes;
using testing::Whose;

// A first use. It gives whether it had all that it needs, which it must once memory is back.
struct FirstUse {
  const char* name;
  bool mayThrow;
  std::size_t step;  // from one allocation that fails to the next
  bool (*use)();
};

const auto kBare = std::make_shared<const host::Platform>();

bool usePlatform() {
  const auto platform = host::platform();
  return memoryPermitting(false, [&] { return platform->deviceNodes().list().ok(); });
}
bool useScopedPlatform() {
  {
    const host::ScopedPlatform installed(kBare);
    if (host::platform() != kBare) std::abort();
  }
  return usePlatform();
}
bool useLogger() {
  BVLog::Default::error("message");
  return !BVLog::aggregatedErrorDescription().empty();
}
bool replaceLogger() {
  BVLog::configureDefault(SystemLogHandle::waylineLog(), nullptr, 5);
  return BVLog::defaultLog()->verbosityLevel() == 5;
}
bool useSystemInfo() { return &BVSystemInfo::shared() == &BVSystemInfo::shared(); }
bool useGuard() { return BVNvram::dataFromVariable("no name", true, false, Object()).has_value(); }
bool useStores() {
  return !Diagnostics::diagDefaults().suite().empty() &&
         PreferencesStore::standard().suite().empty();
}
bool useTimeZone() { return !BVLog::backupPath("a", Date()).empty(); }
bool useDigest() { return SecurityAdditions::sha1Hash({}).has_value(); }
bool useCipher() {
  return SecurityAdditions::dataEncryptedUsingAlgorithm({}, 1, "key", nullptr, 1).has_value();
}

constexpr FirstUse kFirstUses[] = {
    {"platform", false, 1, usePlatform},
    {"ScopedPlatform", false, 1, useScopedPlatform},
    {"logger", true, 1, useLogger},
    {"configureDefault", true, 1, replaceLogger},
    {"BVSystemInfo::shared", true, 1, useSystemInfo},
    {"guard", false, 1, useGuard},
    {"preferences", true, 1, useStores},
    {"time zone", true, 1, useTimeZone},
    // OpenSSL begins with more than a thousand allocations, which take a while.
    {"sha1Hash", false, 17, useDigest},
    {"cipher", false, 17, useCipher},
};

// How a forked child ends that does it.
enum Status { kFine, kThrew, kLocked, kNeverWorks, kNoFailureLeft };

Status statusOf(const FirstUse& first, Fails fails) {
  ::alarm(60);
  try {
    const FailingAllocations failing(position.allocation, fails, Whose::kThisThread);
    first.use();
  } catch (const std::bad_alloc&) {
    if (!first.mayThrow) return kThrew;
  }
  const bool over = !FailingAllocations::haveHappened();
  if (!areLocksFree()) return kLocked;
  if (!first.use()) return kNeverWorks;
  return over ? kNoFailureLeft : kFine;
}

void expectOfFirstUse(const FirstUse& first) {
  for (const Fails fails : {Fails::kOne, Fails::kAllFromThere}) {
    int status = 0;
    for (std::size_t n = 1; status == 0; n += first.step) {
      position = {first.name, n};
      const pid_t child = ::fork();
      if (child == 0) ::_exit(statusOf(first, fails));
      ::waitpid(child, &status, 0);
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNoFailureLeft) continue;
    std::fprintf(stderr, "%s, at its allocation %zu: %x\n", first.name, position.allocation,
                 status);
    ADD_FAILURE();
  }
}

TEST(AllocationFailuresOfFirstUses, EndNoProgramAndDoNotLast) {
  testing::inProcessOfItsOwn([] {
    reportCrashes();
    for (const FirstUse& first : kFirstUses) expectOfFirstUse(first);
  });
}

}  // namespace
}  // namespace brisvane
