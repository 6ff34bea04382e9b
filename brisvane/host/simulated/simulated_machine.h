// Machine, a simulated machine: every platform service that the library uses,
// described by a JSON text, with a scripted fixture behind each serial device.
// All operations may be called from any thread at the same time.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "brisvane/host/platform.h"
#include "brisvane/host/simulated/simulated_fixture.h"
#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/result.h"
#include "brisvane/types/text.h"

namespace brisvane::host::simulated {

// One entry of the simulated system log.
struct LogEntry {
  std::string subsystem;
  std::string category;
  LogType type;
  std::string format;
  std::string argument;

  bool operator==(const LogEntry&) const = default;
};

//   auto machine = simulated::Machine::fromFile("bench.json");
//   if (!machine.ok()) return fail(machine.error().text());
//   host::ScopedPlatform installed(machine.value()->platform());
//
// Its files, clock and terminals are those of the real machine. Its devices, preferences, system
// log, registry, firmware variables, identity, versions, applications and network interfaces are
// its own.
class BRISVANE_EXPORT Machine {
 public:
  // A machine as described; docs/simulated.md defines the form. Its fixtures run until the machine
  // is destroyed. The pointer is never null. Fails when the description is malformed and when a
  // fixture cannot be started: the error's reason says what is wrong and where. May throw
  // std::bad_alloc.
  static Result<std::unique_ptr<Machine>> fromDescription(const Object& description);
  static Result<std::unique_ptr<Machine>> fromJson(std::string_view json);
  static Result<std::unique_ptr<Machine>> fromFile(Text path);

  // A description to start from: one fixture, BV0001, that knows a few commands.
  [[nodiscard]] static std::string_view exampleDescription() noexcept;

  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  // Hangs up every fixture.
  ~Machine();

  // The machine's services. They may outlive the machine, but its devices do not.
  [[nodiscard]] std::shared_ptr<const Platform> platform() const noexcept;

  // What has been written to the system log so far, in order.
  [[nodiscard]] std::vector<LogEntry> systemLog() const;
  void clearSystemLog() noexcept;

  // The fixture behind the device of this name, as in "cu.usbserial-BV0001"; null when there is
  // none. It lives as long as the machine.
  [[nodiscard]] Fixture* fixture(std::string_view device) const noexcept;

 private:
  struct Services;
  static std::unique_ptr<Machine> make(const Object& description, const std::string& place);
  explicit Machine(std::unique_ptr<Services> services) noexcept;
  std::unique_ptr<Services> services_;
};

// Puts the simulated machine in force whose file the environment variable BRISVANE_MACHINE names,
// until the process ends. Does nothing when the variable is unset or empty, when a call before has
// done it, and in a program that runs with other rights than its caller's, such as a set-user-ID
// program. Call it before the first use of the library:
//
//   const auto used = bv::host::simulated::useIfAsked();
//   if (!used.ok()) return std::puts(used.error().text().c_str()), 1;
//
// Fails as Machine::fromFile(). The platform stays as it was then. It may throw std::bad_alloc.
[[nodiscard]] BRISVANE_EXPORT Result<> useIfAsked();

}  // namespace brisvane::host::simulated
