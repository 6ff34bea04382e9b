// bvdiag as its users meet it: the real program in a process of its own, on pipes or on a terminal.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace brisvane::testing {

// Far more than anything here takes: who runs into it hangs.
inline constexpr std::chrono::seconds kHangs{20};

enum class StandardOutput { kRead, kNobodyReads, kFull, kClosed };

struct Setting {
  bool terminal = false;  // its controlling terminal as all three streams, all read as output
  std::vector<std::string> environment = {};  // beside what every program here gets
  StandardOutput output = StandardOutput::kRead;
  rlim_t memory = RLIM_INFINITY;    // bytes of address space
  unsigned short columns = 200;     // of the terminal
  std::string input = "/dev/null";  // without a terminal
  std::string program = BVDIAG_PATH;
};

class Program {
 public:
  explicit Program(std::vector<std::string> arguments, const Setting& setting = {}) {
    setting.terminal ? openTerminal(setting.columns) : openPipes();
    arguments.insert(arguments.begin(), setting.program);
    std::vector<std::string> environment = setting.environment;
    environment.insert(environment.end(), {"LC_ALL=C", "HOME=/nonexistent"});
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    setUpStreams(files, setting);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigfillset(&signals);  // a test run in the background would ignore SIGINT
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(
        &attributes,
        static_cast<short>(POSIX_SPAWN_SETSIGDEF | (setting.terminal ? POSIX_SPAWN_SETSID : 0)));
    rlimit before{};
    ::getrlimit(RLIMIT_AS, &before);
    const rlimit limit{std::min(setting.memory, before.rlim_max), before.rlim_max};
    ::setrlimit(RLIMIT_AS, &limit);
    EXPECT_EQ(posix_spawn(&child_, setting.program.c_str(), &files, &attributes,
                          pointers(arguments).data(), pointers(environment).data()),
              0);
    ::setrlimit(RLIMIT_AS, &before);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    for (const int end : childEnds_) ::close(end);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() {
    if (child_ > 0) {
      ::kill(child_, SIGKILL);
      ::waitpid(child_, nullptr, 0);
    }
    for (const int end : ends_) ::close(end);
  }

  // Whether the program prints the text before it ends or hangs.
  bool prints(const std::string& text) {
    return read([&] { return output.find(text) != std::string::npos; });
  }

  // Whether the program prints so many bytes more before it ends or hangs.
  bool printsMore(std::size_t count) {
    return read([&, enough = output.size() + count] { return output.size() >= enough; });
  }

  void signal(int number) const { ::kill(child_, number); }

  // What a person does at the terminal.
  void type(const std::string& keys) const {
    EXPECT_EQ(::write(ends_[0], keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }
  void resize(unsigned short columns) const {
    winsize size{};
    size.ws_row = 24;
    size.ws_col = columns;
    EXPECT_EQ(::ioctl(ends_[0], TIOCSWINSZ, &size), 0);
  }

  // Whether the terminal's settings are those of a line, as a shell has them, and not raw.
  [[nodiscard]] bool isCooked() const {
    termios settings{};
    EXPECT_EQ(::tcgetattr(ends_[0], &settings), 0);
    return (settings.c_lflag & ICANON) != 0 && (settings.c_oflag & OPOST) != 0;
  }
  void cook() const {
    termios settings{};
    ::tcgetattr(ends_[0], &settings);
    settings.c_lflag |= ICANON;
    settings.c_oflag |= OPOST;
    ::tcsetattr(ends_[0], TCSANOW, &settings);
  }

  // What a person does at its frame.
  void closeWindow() { stopReading(); }

  void stopReading() {
    ::close(ends_[0]);
    ends_[0] = -1;
  }

  // The exit status once it has ended; -1 for any other end.
  int status() {
    read([] { return false; });
    int status = 0;
    rusage usage{};
    const auto deadline = std::chrono::steady_clock::now() + kHangs;
    while (::wait4(child_, &status, WNOHANG, &usage) == 0) {
      if (std::chrono::steady_clock::now() > deadline) return -1;
      ::usleep(1000);
    }
    child_ = 0;
    mostMemory = usage.ru_maxrss;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string output;
  std::string errors;
  long mostMemory = 0;  // KiB that it held at once, known with its status

 private:
  void setUpStreams(posix_spawn_file_actions_t& files, const Setting& setting) {
    // In a session of its own, a terminal that is opened first becomes the controlling one.
    const char* const input = setting.terminal ? terminal_.data() : setting.input.c_str();
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, input, O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&files, childEnds_[0], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, childEnds_[1], STDERR_FILENO);
    if (setting.output == StandardOutput::kNobodyReads) stopReading();
    if (setting.output == StandardOutput::kClosed)
      posix_spawn_file_actions_addclose(&files, STDOUT_FILENO);
    if (setting.output == StandardOutput::kFull) {
      posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/full", O_WRONLY, 0);
    }
  }

  static std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
  }

  void openPipes() {
    for (std::size_t i = 0; i < 2; ++i) {
      std::array<int, 2> pipe{};
      EXPECT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
      ends_[i] = pipe[0];
      childEnds_[i] = pipe[1];
    }
  }

  void openTerminal(unsigned short columns) {
    ends_[0] = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(::unlockpt(ends_[0]), 0);
    EXPECT_EQ(::ptsname_r(ends_[0], terminal_.data(), terminal_.size()), 0);
    childEnds_[0] = ::open(terminal_.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    childEnds_[1] = ::dup(childEnds_[0]);
    resize(columns);
  }

  template <typename Condition>
  bool read(Condition isEnough) {
    const auto deadline = std::chrono::steady_clock::now() + kHangs;
    std::array<std::string*, 2> texts{&output, &errors};
    std::array<pollfd, 2> open{{{ends_[0], POLLIN, 0}, {ends_[1], POLLIN, 0}}};
    while (!isEnough() && std::chrono::steady_clock::now() < deadline &&
           (open[0].fd >= 0 || open[1].fd >= 0)) {
      ::poll(open.data(), open.size(), 100);
      for (std::size_t i = 0; i < open.size(); ++i) {
        if (open[i].fd < 0 || open[i].revents == 0) continue;
        std::array<char, 4096> chunk;
        const ssize_t count = ::read(open[i].fd, chunk.data(), chunk.size());
        if (count > 0) texts[i]->append(chunk.data(), static_cast<std::size_t>(count));
        if (count <= 0) open[i].fd = -1;
      }
    }
    return isEnough();
  }

  pid_t child_ = 0;
  std::array<int, 2> ends_{-1, -1};
  std::array<int, 2> childEnds_{-1, -1};
  std::array<char, 64> terminal_{};
};

// Runs the program to its end and checks how it ends.
inline Program& finished(Program&& program, int status) {
  EXPECT_EQ(program.status(), status) << program.output << program.errors;
  return program;
}

inline std::string outputOf(std::vector<std::string> arguments, int status = 0) {
  return finished(Program(std::move(arguments)), status).output;
}

inline std::string errorsOf(std::vector<std::string> arguments, int status) {
  return finished(Program(std::move(arguments)), status).errors;
}

inline std::size_t countOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++count;
  return count;
}

inline std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

}  // namespace brisvane::testing
