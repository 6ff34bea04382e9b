// Session, what every command runs with: its output, the chosen machine and the log. A Session
// belongs to one thread.
#pragma once

#include <memory>
#include <string>

#include <brisvane/host/platform.h>
#include <brisvane/host/simulated/simulated_machine.h>

#include "output.h"

namespace bvdiag {

inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;
inline constexpr int kWrongUsage = 2;

// The options that come with every command.
struct GlobalOptions {
  std::string machineFile;
  bool simulated = false;
  bool json = false;
  std::string color = "auto";
};

class Session {
 public:
  // Puts the chosen machine in force until the session ends. Null when it cannot be made, which
  // `output` reports.
  [[nodiscard]] static std::unique_ptr<Session> start(const GlobalOptions& options, Output& output);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  [[nodiscard]] Output& output() const noexcept { return output_; }
  // Whether the machine in force is a simulated one.
  [[nodiscard]] bool isSimulated() const noexcept { return machine_ != nullptr; }

  // Gives the default logger a log file. False when that cannot be written, which `output` reports.
  [[nodiscard]] bool startLog(const std::string& path) const;
  // Whether every line so far has reached the log file. `output` reports a failure.
  [[nodiscard]] bool logIsComplete() const;

 private:
  Session(Output& output, std::unique_ptr<brisvane::host::simulated::Machine> machine);

  Output& output_;
  std::unique_ptr<brisvane::host::simulated::Machine> machine_;
  std::unique_ptr<brisvane::host::ScopedPlatform> installed_;
};

}  // namespace bvdiag
