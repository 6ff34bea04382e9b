#include "brisvane/host/command.h"

#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <new>
#include <utility>

#include "brisvane/host/error.h"
#include "brisvane/host/files.h"
#include "brisvane/host/linux/descriptor.h"
#include "brisvane/host/linux/spawning.h"
#include "brisvane/types/join.h"

namespace brisvane::host {
namespace {

using real::Descriptor;

// Waits for a process when it goes out of sight. That one whose end is ignored (SIGCHLD), or
// that someone else has waited for, cannot be waited for is no error: it has ended.
class Reaper {
 public:
  // Closes `output` ahead of waiting: who still writes to it is not to be stuck.
  Reaper(pid_t process, Descriptor& output) noexcept : process_(process), output_(output) {}
  Reaper(const Reaper&) = delete;
  Reaper& operator=(const Reaper&) = delete;
  ~Reaper() {
    output_.reset(-1);
    while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }

 private:
  const pid_t process_;
  Descriptor& output_;
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
                               std::string_view directory, std::string& error) noexcept try {
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
  const Reaper reaper(*process, output);
  input.reset(-1);
  auto bytes = readToEnd(output.get());
  if (!bytes) error = errorText(path, errno);
  return bytes;
} catch (const std::bad_alloc&) {
  error = "no memory";  // short enough to need none
  return std::nullopt;
}

std::optional<std::string> findProgram(std::string_view name) noexcept try {
  const auto isProgram = [](const std::string& path) {
    return fileKind(path) == FileKind::kOther && ::access(path.c_str(), X_OK) == 0;
  };
  if (name.empty() || name.find('/') != std::string_view::npos) {
    return isProgram(std::string(name)) ? std::optional<std::string>(name) : std::nullopt;
  }
  const char* const variable = ::secure_getenv("PATH");
  std::string_view folders = variable != nullptr ? variable : "/usr/local/bin:/usr/bin:/bin";
  for (bool isLast = false; !isLast;) {
    const std::size_t end = folders.find(':');
    const std::string_view folder = folders.substr(0, end);
    isLast = end == std::string_view::npos;
    folders.remove_prefix(isLast ? folders.size() : end + 1);
    std::string path = join({folder.empty() ? std::string_view(".") : folder, "/", name});
    if (isProgram(path)) return path;
  }
  return std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace brisvane::host
