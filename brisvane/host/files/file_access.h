// Opening files that exist, and writing to them.
// The functions keep no state and may be called from any thread. What fails does not name the file:
// the callers know how it was spelled.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "brisvane/host/files/descriptor.h"
#include "brisvane/types/result.h"

namespace brisvane::host::real {

[[nodiscard]] inline bool failedWith(const Result<>& result, int number) noexcept {
  return !result.ok() && result.error().number() == number;
}

// Whether a file of this path can exist: it is not empty and holds no U+0000.
[[nodiscard]] bool canExist(std::string_view path) noexcept;

// Opens a file that exists, without waiting for the other end of a pipe. Waits for a lease that
// some program has on the file, such as a file server, to be given up.
Result<Descriptor> openExisting(const std::string& path, int flags);

// What a writer has to know of an open file.
struct FileTraits {
  bool isRegular = false;
  bool isRemoved =
      false;  // no path leads to it any more: what is written to it is gone when it is closed
};

// Both are false of a descriptor that does not say.
[[nodiscard]] FileTraits traitsOf(int descriptor) noexcept;

enum class Target : std::uint8_t { kRegularFile, kAny };

// Writes all the bytes: in one write in all but the odd case, as only a disk that fills up
// takes a part; `written` is how many. A pipe whose reader went away is EPIPE, and no signal.
Result<> writeAll(int descriptor, Target target, std::string_view bytes,
                  std::size_t* written = nullptr) noexcept;

}  // namespace brisvane::host::real
