#include "brisvane/host/launching/command.h"

#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>

#include "brisvane/host/files/descriptor.h"
#include "brisvane/host/files/files.h"
#include "brisvane/host/launching/growing_text.h"
#include "brisvane/host/launching/spawning.h"
#include "brisvane/types/join.h"

namespace brisvane::host {
namespace {

using real::Descriptor;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

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

  // Ends the process. One that has ended is left alone: its number may be another's by now.
  void kill() const noexcept {
    siginfo_t ended{};
    const bool isOurs =
        ::waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOHANG | WNOWAIT) == 0;
    if (isOurs && ended.si_pid == 0) ::kill(process_, SIGKILL);
  }

 private:
  const pid_t process_;
  Descriptor& output_;
};

struct Pipe {
  Descriptor output;
  Descriptor input;
};

// A pipe whose ends are kept clear of the standard streams.
Result<Pipe> openPipe() noexcept {
  int ends[2] = {-1, -1};
  const bool isOpen = ::pipe2(ends, O_CLOEXEC) == 0;
  Pipe pipe{Descriptor::aboveStandardStreams(ends[0]), Descriptor::aboveStandardStreams(ends[1])};
  if (!isOpen || !pipe.output.valid() || !pipe.input.valid())
    return Error::last("the pipe for the output");
  return pipe;
}

// Appends what one read(2) gives, up to all that a pipe usually holds, and returns its result. What
// exceeds the limit is not appended, and the result is then kTooMuch. The area on the way keeps a
// buffer that grows from being cleared first, and from growing past what there is.
constexpr ssize_t kTooMuch = -2;
ssize_t appendFrom(int descriptor, Data& bytes, std::size_t limit) {
  std::array<std::uint8_t, std::size_t{64} << 10U> area;
  const ssize_t count = ::read(descriptor, area.data(), area.size());
  if (count <= 0) return count;
  const auto taken = std::min(static_cast<std::size_t>(count), limit - bytes.size());
  bytes.insert(bytes.end(), area.begin(), area.begin() + static_cast<std::ptrdiff_t>(taken));
  return taken == static_cast<std::size_t>(count) ? count : kTooMuch;
}

struct Started {
  pid_t process;
  Descriptor output;  // readable
};

Result<Started> startProgram(std::string_view path, const std::vector<std::string>& arguments,
                             std::string_view directory) {
  auto pipe = openPipe();
  if (!pipe.ok()) return pipe.error();
  real::Spawning spawning;
  spawning.command = {std::string(path)};
  spawning.command.insert(spawning.command.end(), arguments.begin(), arguments.end());
  spawning.directory = directory;
  spawning.output = pipe.value().input.get();
  const auto child = real::spawnProcess(spawning);
  if (!child.ok()) return child.error();
  return Started{child.value().id, std::move(pipe.value().output)};
}

}  // namespace

Result<std::string> runCommand(std::string_view path, const std::vector<std::string>& arguments,
                               std::string_view directory, std::optional<std::size_t> outputLimit) {
  auto started = startProgram(path, arguments, directory);
  if (!started.ok()) return started.error();
  const Reaper reaper(started.value().process, started.value().output);
  real::GrowingText text;
  for (;;) {
    const auto room = text.room();
    const ssize_t count = ::read(started.value().output.get(), room.data(), room.size());
    if (count == 0) return text.take();
    if (count > 0) text.add(static_cast<std::size_t>(count));
    if (text.size() > outputLimit.value_or(SIZE_MAX)) {
      reaper.kill();
      return Error(EFBIG, shownPath(path),
                   join({"wrote more than ", std::to_string(*outputLimit), " bytes"}));
    }
    if (count < 0 && errno != EINTR) return Error::last(shownPath(path));
  }
}

struct Command::State {
  // Waits until the output can be read, the program has ended or the time is over.
  void wait(milliseconds time) const noexcept {
    constexpr milliseconds kLongest = std::chrono::hours(1);  // the caller waits again
    // Without a descriptor for the process (a sandbox may refuse it), its end is looked for in such
    // steps.
    constexpr milliseconds kStep{20};
    const bool needsSteps = !end.valid() && !hasEnded;
    std::array<pollfd, 2> sources{
        {{output.get(), POLLIN, 0}, {hasEnded ? -1 : end.get(), POLLIN, 0}}};
    ::poll(sources.data(), sources.size(),
           static_cast<int>(std::min(time, needsSteps ? kStep : kLongest).count()));
  }

  // Takes what is there now.
  void read() {
    const ssize_t count = appendFrom(output.get(), bytes, limit);
    if (count == kTooMuch) {
      hasExceededLimit = true;
      reap();
      if (!hasEnded) ::kill(process, SIGKILL);
      output.reset(-1);  // last: it would end the program by SIGPIPE
      return;
    }
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) output.reset(-1);
  }

  void reap() noexcept {
    if (hasEnded) return;
    int waitStatus = 0;
    const pid_t ended = ::waitpid(process, &waitStatus, WNOHANG);
    hasEnded = ended == process || (ended < 0 && errno == ECHILD);
    if (ended != process) return;
    if (WIFEXITED(waitStatus)) status = WEXITSTATUS(waitStatus);
    if (WIFSIGNALED(waitStatus)) endingSignal = WTERMSIG(waitStatus);
  }

  pid_t process = -1;
  Descriptor output;  // not valid after its end
  Descriptor end;     // readable when the process has ended; may be none
  Data bytes;
  std::size_t limit = SIZE_MAX;  // of the bytes
  bool hasExceededLimit = false;
  bool hasEnded = false;
  std::optional<int> status;
  int endingSignal = 0;
};

Command::Command(std::unique_ptr<State> state) noexcept : state_(std::move(state)) {}
Command::~Command() = default;

Result<std::unique_ptr<Command>> Command::start(std::string_view path,
                                                const std::vector<std::string>& arguments,
                                                std::string_view directory,
                                                std::optional<std::size_t> outputLimit) {
  // All that may throw comes ahead of the program's start.
  std::unique_ptr<Command> command(new Command(std::make_unique<State>()));
  auto started = startProgram(path, arguments, directory);
  if (!started.ok()) return started.error();
  State& state = *command->state_;
  state.process = started.value().process;
  state.output = std::move(started.value().output);
  state.limit = outputLimit.value_or(SIZE_MAX);
  // The program's end is another: its output has no O_NONBLOCK.
  ::fcntl(state.output.get(), F_SETFL, O_NONBLOCK);
  state.end = Descriptor::aboveStandardStreams(
      static_cast<int>(::syscall(SYS_pidfd_open, state.process, 0)));
  return command;
}

bool Command::collect(milliseconds time) {
  time = std::max(time, milliseconds(0));
  // There may be no point in time that is so far away.
  const auto start = steady_clock::now();
  const auto left = [start, time] {
    const auto spent = std::chrono::floor<milliseconds>(steady_clock::now() - start);
    return time - std::min(spent, time);
  };
  for (;;) {
    state_->wait(left());
    if (state_->output.valid()) state_->read();
    state_->reap();
    if (state_->hasEnded && !state_->output.valid()) return true;
    if (left().count() == 0) return false;
  }
}

bool Command::hasEnded() noexcept {
  state_->reap();
  return state_->hasEnded;
}

void Command::send(int signal) noexcept {
  if (!hasEnded()) ::kill(state_->process, signal);
}

bool Command::hasExceededLimit() const noexcept { return state_->hasExceededLimit; }

const Data& Command::output() const noexcept { return state_->bytes; }

std::optional<int> Command::status() const noexcept { return state_->status; }

int Command::endingSignal() const noexcept { return state_->endingSignal; }

int Command::process() const noexcept { return state_->process; }

std::optional<std::string> findProgram(std::string_view name) {
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
}

}  // namespace brisvane::host
