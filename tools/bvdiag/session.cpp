#include "session.h"

#include <optional>
#include <utility>

#include <brisvane/all.h>
#include <brisvane/host/files/files.h>

#include "interrupt.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::host::simulated::Machine;

}  // namespace

std::unique_ptr<Session> Session::start(const GlobalOptions& options, Output& output) {
  bv::Result<std::unique_ptr<Machine>> machine(nullptr);
  if (!options.machineFile.empty()) machine = Machine::fromFile(options.machineFile);
  if (options.simulated) machine = Machine::fromJson(Machine::exampleDescription());
  if (!machine.ok()) {
    output.complain("the simulated machine cannot be made: " + machine.error().text() +
                    "; check the description");
    return nullptr;
  }
  return std::unique_ptr<Session>(new Session(output, std::move(machine).value()));
}

Session::Session(Output& output, std::unique_ptr<Machine> machine)
    : output_(output), machine_(std::move(machine)) {
  const auto base = machine_ != nullptr ? machine_->platform() : bv::host::platform();
  bv::host::Platform platform(*base);
  platform.setClock(interruptibleClock());
  installed_ = std::make_unique<bv::host::ScopedPlatform>(
      std::make_shared<const bv::host::Platform>(std::move(platform)));
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
  const auto failure = bv::BVLog::defaultLog()->logFileFailure();
  if (failure) output_.complain("log file " + failure->text() + "; lines are missing there");
  return !failure;
}

}  // namespace bvdiag
