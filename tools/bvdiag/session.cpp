#include "session.h"

#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include <brisvane/all.h>
#include <brisvane/host/files/files.h>

#include "interrupt.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::host::simulated::Machine;

constexpr std::string_view kWriteFailure = "ERROR: Failed to write string to file ";

}  // namespace

// The platform's system log, and an ear for the one entry that tells of a line that did
// not reach the log file.
class LogFileWatch final : public bv::host::SystemLog {
 public:
  explicit LogFileWatch(std::shared_ptr<const bv::host::Platform> platform) : platform_(std::move(platform)) {}

  void write(const bv::host::LogChannel& channel, bv::host::LogType type, std::string_view format,
             std::string_view argument) const noexcept override {
    platform_->systemLog().write(channel, type, format, argument);
    if (type != bv::host::LogType::kError || !argument.starts_with(kWriteFailure)) return;
    const std::scoped_lock lock(mutex_);
    try {
      failure_ = argument.substr(kWriteFailure.size());
    } catch (const std::bad_alloc&) {
      failure_ = "";  // known to have failed, if not why
    }
  }

  // The path and the reason.
  [[nodiscard]] std::optional<std::string> failure() const {
    const std::scoped_lock lock(mutex_);
    return failure_;
  }

 private:
  std::shared_ptr<const bv::host::Platform> platform_;
  mutable std::mutex mutex_;
  mutable std::optional<std::string> failure_;
};

std::unique_ptr<Session> Session::start(const GlobalOptions& options, Output& output) {
  bv::Result<std::unique_ptr<Machine>> machine(nullptr);
  if (!options.machineFile.empty()) machine = Machine::fromFile(options.machineFile);
  if (options.simulated) machine = Machine::fromJson(Machine::exampleDescription());
  if (!machine.ok()) {
    output.complain("the simulated machine cannot be made: " + machine.error().text() + "; check the description");
    return nullptr;
  }
  return std::unique_ptr<Session>(new Session(output, std::move(machine).value()));
}

Session::Session(Output& output, std::unique_ptr<Machine> machine) : output_(output), machine_(std::move(machine)) {
  const auto base = machine_ != nullptr ? machine_->platform() : bv::host::platform();
  watch_ = std::make_shared<const LogFileWatch>(base);
  bv::host::Platform platform(*base);
  platform.setSystemLog(watch_);
  platform.setClock(interruptibleClock());
  installed_ =
      std::make_unique<bv::host::ScopedPlatform>(std::make_shared<const bv::host::Platform>(std::move(platform)));
}

Session::~Session() = default;

bool Session::startLog(const std::string& path) const {
  // Writes nothing, but finds out whether it could.
  if (const auto appended = bv::host::appendToFile(path, ""); !appended.ok()) {
    output_.complain(writingFailure("log file " + path, appended.error().number()));
    return false;
  }
  bv::BVLog::configureDefault(bv::SystemLogHandle::waylineLog(), path, std::nullopt);
  return true;
}

bool Session::logIsComplete() const {
  const auto failure = watch_->failure();
  if (failure) output_.complain("log file " + *failure + "; what was to be logged is missing there");
  return !failure;
}

}  // namespace bvdiag
