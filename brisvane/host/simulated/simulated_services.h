// The services of a simulated machine that answer from its description.
// Private to the simulated machine. Safe from any thread.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "brisvane/host/machine/machine_description.h"
#include "brisvane/host/platform.h"
#include "brisvane/host/simulated/simulated_fixture.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "brisvane/host/simulated/simulated_variables.h"
#include "brisvane/types/object.h"

namespace brisvane::host::simulated {

// A system log that keeps what is written to it, as far as memory permits.
class RecordedLog final : public SystemLog {
 public:
  void write(const LogChannel& channel, LogType type, std::string_view format,
             std::string_view argument) const noexcept override;

  [[nodiscard]] std::vector<LogEntry> entries() const;
  void clear() const noexcept;

 private:
  mutable std::mutex mutex_;
  mutable std::vector<LogEntry> entries_;
};

// The key of the standard store, which no suite can have.
inline constexpr std::string_view kStandardStore;

class DescribedPreferences final : public Preferences {
 public:
  // By suite, the texts of each.
  explicit DescribedPreferences(Dictionary stores) : stores_(std::move(stores)) {}

  std::optional<std::string> value(std::string_view suite, std::string_view key) const override;

 private:
  const Dictionary stores_;
};

struct Device {
  std::string name;
  std::shared_ptr<Fixture> fixture;  // null: listed, but cannot be opened
};

class DescribedDevices final : public DeviceNodes {
 public:
  explicit DescribedDevices(std::vector<Device> devices) : devices_(std::move(devices)) {}

  Result<std::vector<std::string>> list() const override;
  std::string location(std::string_view path) const override;

  [[nodiscard]] Fixture* fixture(std::string_view name) const noexcept;
  void hangUp() const noexcept;

 private:
  const std::vector<Device> devices_;
};

// `place` is the description that the answers come from.
class DescribedIdentity final : public IdentityService {
 public:
  DescribedIdentity(Dictionary answers, std::string place)
      : answers_(std::move(answers)), place_(std::move(place)) {}

  [[nodiscard]] std::optional<Object> answer(std::string_view key) const override;
  Result<std::string> origin(std::string_view key) const override;

 private:
  const Dictionary answers_;
  const std::string place_;
};

class DescribedVersion final : public SystemVersion {
 public:
  DescribedVersion(const MachineDescription& machine, std::string place)
      : entries_(machine.versionEntries), running_(machine.running), place_(std::move(place)) {}

  [[nodiscard]] std::optional<Dictionary> entries() const override { return entries_; }
  [[nodiscard]] std::optional<OsVersion> running() const override { return running_; }
  Result<std::string> origin(std::string_view entry) const override;

 private:
  const std::optional<Dictionary> entries_;
  const std::optional<OsVersion> running_;
  const std::string place_;
};

// The nodes as described, and the variables, if there are any, as the options node.
std::shared_ptr<const Registry> describedRegistry(const MachineDescription& machine,
                                                  std::shared_ptr<const MemoryVariables> variables,
                                                  const std::string& place);

}  // namespace brisvane::host::simulated
