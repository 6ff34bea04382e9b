// Commands: programs that run to their end while their output is collected.
// Any number of threads may call the functions at the same time. A Command belongs to one thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// Runs a program to its end. Gives what the program and its children wrote to standard output and
// standard error, in one sequence. Standard input is the caller's.
//  - `path` is not searched for in PATH; a relative path starts at `directory`.
//  - `directory` is the program's working directory; empty for the caller's.
//  - How the program ends, its exit status or a signal, makes no difference.
//  - `outputLimit`: the most bytes that it may write; nullopt for as many as memory holds.
// Fails when the program cannot be started. The error names the path.
// EFBIG: the program and its children wrote more than `outputLimit`. The program is ended by
// SIGKILL. Its children are not, but find the output closed (SIGPIPE).
// May throw std::bad_alloc: the program's output is then closed and its end is waited for.
// Blocks until the program has ended and no process holds the other end of the output. Of a program
// that was ended for its output, only its own end is waited for.
BRISVANE_EXPORT Result<std::string> runCommand(
    std::string_view path, const std::vector<std::string>& arguments, std::string_view directory,
    std::optional<std::size_t> outputLimit = std::nullopt);

// A running program, for a caller that does other work meanwhile, sends it signals, or needs its
// exit status:
//
//     const auto started = host::Command::start("/usr/bin/lsusb", {"-t"}, {});
//     if (!started.ok()) return started.error();
//     while (!started.value()->collect(std::chrono::milliseconds(100))) lookAfterTheRest();
class BRISVANE_EXPORT Command {
 public:
  // Starts a program as runCommand() does, and returns once it runs. The result is never null.
  // Fails when the program cannot be started. The error names the path. May throw std::bad_alloc:
  // no program has then been started.
  // A program that writes more than `outputLimit` bytes is ended as by runCommand(): collect() does
  // that, and hasExceededLimit() tells it.
  static Result<std::unique_ptr<Command>> start(
      std::string_view path, const std::vector<std::string>& arguments, std::string_view directory,
      std::optional<std::size_t> outputLimit = std::nullopt);
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  // Does not wait. A program that still runs continues, without a reader of its output. Nobody
  // waits for its end: from its end until the end of the caller's process, it is a zombie.
  ~Command();

  // Collects output. True once the program has ended and no process holds the other end of the
  // output. May throw std::bad_alloc. Blocks for at most `time`; 0 takes only what is there.
  [[nodiscard]] bool collect(std::chrono::milliseconds time);

  // Whether the program itself has ended. A child of it may still hold the output.
  [[nodiscard]] bool hasEnded() noexcept;

  // Sends a signal to the program, but not to its children. Does nothing when it has ended.
  void send(int signal) noexcept;

  // Whether the program wrote more than its limit. The output is then its beginning, as long as the
  // limit.
  [[nodiscard]] bool hasExceededLimit() const noexcept;

  // The output that has been collected so far.
  [[nodiscard]] const Data& output() const noexcept;

  // The exit status of a program that has exited. nullopt while it runs, when a signal has ended
  // it, and when the status is unavailable because the caller's process ignores SIGCHLD or waited
  // for the program elsewhere.
  [[nodiscard]] std::optional<int> status() const noexcept;

  // The signal that ended the program; 0 for none.
  [[nodiscard]] int endingSignal() const noexcept;

  // The process ID of the program.
  [[nodiscard]] int process() const noexcept;

 private:
  struct State;
  explicit Command(std::unique_ptr<State> state) noexcept;

  std::unique_ptr<State> state_;
};

// The path of the program called `name`: the first executable file of that name in the folders of
// PATH. Without PATH, the folders are /usr/local/bin, /usr/bin and /bin. An empty folder in PATH is
// the working directory. A name with a slash is already a path.
// nullopt when there is no such program. May throw std::bad_alloc.
[[nodiscard]] BRISVANE_EXPORT std::optional<std::string> findProgram(std::string_view name);

}  // namespace brisvane::host
