// Commands: programs that run to their end while their output is collected.
// The functions may be called from any thread, by any number of them at once; a Command belongs to one thread.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/types/data.h"
#include "brisvane/types/export.h"

namespace brisvane::host {

// Runs the program at `path`, which is not looked for in PATH, with these arguments in
// `directory` (empty for that of the caller; a relative path of the program starts there),
// and gives all that it and its children wrote to standard output and standard error, in
// one sequence. Standard input is the caller's. Blocks until the program has ended and
// nobody holds the other end of the output. nullopt when it cannot be started, or memory runs out; `error` then
// says for which path, and why. How the program ends is not looked at.
[[nodiscard]] BRISVANE_EXPORT std::optional<Data> runCommand(std::string_view path,
                                                             const std::vector<std::string>& arguments,
                                                             std::string_view directory, std::string& error) noexcept;

// A program under way, for a caller that has to look after something else meanwhile, passes signals on, or
// wants to know how the program ends.
class BRISVANE_EXPORT Command {
 public:
  // Starts a program as runCommand() does. Null when it cannot be started; `error` then says for which path, and
  // why.
  [[nodiscard]] static std::unique_ptr<Command> start(std::string_view path, const std::vector<std::string>& arguments,
                                                      std::string_view directory, std::string& error) noexcept;
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  // Waits for nothing. A program that still runs goes on, without a reader of its output, and nobody waits for its
  // end: it is a zombie from then until the caller's process ends.
  ~Command();

  // Collects output for so long; 0 takes what is there. True as soon as the program has ended and nobody holds the
  // other end of the output. May throw std::bad_alloc.
  [[nodiscard]] bool collect(std::chrono::milliseconds time);

  // Whether the program itself has ended; a child of it may still hold the output.
  [[nodiscard]] bool hasEnded() noexcept;

  // Sends a signal to the program, and not to its children; nothing when it has ended.
  void send(int signal) noexcept;

  // What has been collected so far.
  [[nodiscard]] const Data& output() const noexcept;

  // The exit status of a program that has ended by itself. nullopt while it runs, when a signal has ended it, and when
  // that is not known: the caller's process ignores SIGCHLD, or somebody else has waited for the program.
  [[nodiscard]] std::optional<int> status() const noexcept;

  // The signal that has ended the program; 0 for none.
  [[nodiscard]] int endingSignal() const noexcept;

  // The number of the process.
  [[nodiscard]] int process() const noexcept;

 private:
  struct State;
  explicit Command(std::unique_ptr<State> state) noexcept;

  std::unique_ptr<State> state_;
};

// The path of a program that has a name: the first executable file in the folders of PATH, an
// empty one of which is the working directory; without PATH, in /usr/local/bin, /usr/bin and
// /bin. A name with a slash is a path already. nullopt when there is no such program.
[[nodiscard]] BRISVANE_EXPORT std::optional<std::string> findProgram(std::string_view name) noexcept;

}  // namespace brisvane::host
