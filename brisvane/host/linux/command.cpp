#include "brisvane/host/command.h"

#include <sys/wait.h>

#include <cerrno>
#include <new>
#include <utility>

#include "brisvane/host/error.h"
#include "brisvane/host/linux/descriptor.h"
#include "brisvane/host/linux/spawning.h"

namespace brisvane::host {
namespace {

using real::Descriptor;

// Waits for a process when it goes out of sight. That one whose end is ignored (SIGCHLD), or
// that someone else has waited for, cannot be waited for is no error: it has ended.
class Reaper {
 public:
  explicit Reaper(pid_t process) noexcept : process_(process) {}
  Reaper(const Reaper&) = delete;
  Reaper& operator=(const Reaper&) = delete;
  ~Reaper() {
    while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }

 private:
  const pid_t process_;
};

// A pipe's two ends, kept clear of the standard streams.
bool openPipe(Descriptor& output, Descriptor& input) noexcept {
  int ends[2] = {-1, -1};
  if (::pipe2(ends, O_CLOEXEC) != 0) return false;
  output = Descriptor::aboveStandardStreams(ends[0]);
  input = Descriptor::aboveStandardStreams(ends[1]);
  return output.valid() && input.valid();
}

// All until the end of the file; nullopt, with errno set, when reading fails.
std::optional<Data> readToEnd(int descriptor) {
  constexpr std::size_t kChunk = std::size_t{64} << 10U;
  Data bytes;
  for (;;) {
    const std::size_t length = bytes.size();
    bytes.resize(length + kChunk);
    const ssize_t count = ::read(descriptor, bytes.data() + length, kChunk);
    bytes.resize(length + static_cast<std::size_t>(count > 0 ? count : 0));
    if (count == 0) return bytes;
    if (count < 0 && errno != EINTR) return std::nullopt;
  }
}

}  // namespace

std::optional<Data> runCommand(std::string_view path, const std::vector<std::string>& arguments,
                               std::string_view directory, std::string& error) {
  Descriptor output;
  Descriptor input;
  if (!openPipe(output, input)) {
    error = errorText("the pipe for the output", errno);
    return std::nullopt;
  }
  real::Spawning spawning;
  spawning.command = {std::string(path)};
  spawning.command.insert(spawning.command.end(), arguments.begin(), arguments.end());
  spawning.directory = directory;
  spawning.output = input.get();
  const auto process = real::spawnProcess(spawning, error);
  if (!process) return std::nullopt;
  const Reaper reaper(*process);
  input.reset(-1);
  auto bytes = readToEnd(output.get());
  if (!bytes) error = errorText(path, errno);
  output.reset(-1);  // ahead of waiting: who still writes is not to be stuck
  return bytes;
}

}  // namespace brisvane::host
