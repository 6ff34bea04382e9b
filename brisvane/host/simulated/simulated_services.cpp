#include "brisvane/host/simulated/simulated_services.h"

#include <cerrno>
#include <new>

#include "brisvane/host/machine/described_node.h"

namespace brisvane::host::simulated {
namespace {

// The origin of a value of a dictionary that a description gave.
Result<std::string> originIn(const std::string& place, const Dictionary& values,
                             std::string_view key) {
  return values.contains(key) ? Result<std::string>(place) : Error(ENODATA, place);
}

}  // namespace

void RecordedLog::write(const LogChannel& channel, LogType type, std::string_view format,
                        std::string_view argument) const noexcept {
  try {
    LogEntry entry{std::string(channel.subsystem), std::string(channel.category), type,
                   std::string(format), std::string(argument)};
    const std::scoped_lock lock(mutex_);
    entries_.push_back(std::move(entry));
  } catch (const std::bad_alloc&) {
    // Dropped: a log never fails towards its caller.
  }
}

std::vector<LogEntry> RecordedLog::entries() const {
  const std::scoped_lock lock(mutex_);
  return entries_;
}

void RecordedLog::clear() const noexcept {
  const std::scoped_lock lock(mutex_);
  entries_.clear();
}

std::optional<std::string> DescribedPreferences::value(std::string_view suite,
                                                       std::string_view key) const {
  const auto store = stores_.find(suite);
  const Dictionary* const values = store != stores_.end() ? store->second.ifDictionary() : nullptr;
  if (values == nullptr) return std::nullopt;
  const auto found = values->find(key);
  return found != values->end() ? found->second.text() : std::nullopt;
}

Result<std::vector<std::string>> DescribedDevices::list() const {
  std::vector<std::string> names;
  for (const Device& device : devices_) {
    if (device.fixture == nullptr || !device.fixture->hasHungUp()) names.push_back(device.name);
  }
  return names;
}

std::string DescribedDevices::location(std::string_view path) const {
  if (!path.starts_with(kDirectory)) return std::string(path);
  const Fixture* const found = fixture(path.substr(kDirectory.size()));
  // The real machine's devices are not this one's.
  return found != nullptr && !found->hasHungUp() ? found->node() : std::string();
}

Fixture* DescribedDevices::fixture(std::string_view name) const noexcept {
  for (const Device& device : devices_) {
    if (device.name == name) return device.fixture.get();
  }
  return nullptr;
}

void DescribedDevices::hangUp() const noexcept {
  for (const Device& device : devices_) {
    if (device.fixture != nullptr) device.fixture->hangUp();
  }
}

std::optional<Object> DescribedIdentity::answer(std::string_view key) const {
  const auto found = answers_.find(key);
  return found != answers_.end() ? std::optional(found->second) : std::nullopt;
}

Result<std::string> DescribedIdentity::origin(std::string_view key) const {
  return originIn(place_, answers_, key);
}

Result<std::string> DescribedVersion::origin(std::string_view entry) const {
  return entries_ ? originIn(place_, *entries_, entry) : originIn(place_, {}, entry);
}

std::shared_ptr<const Registry> describedRegistry(const MachineDescription& machine,
                                                  std::shared_ptr<const MemoryVariables> variables,
                                                  const std::string& place) {
  const auto node = [&place](std::optional<Dictionary> properties) {
    return std::make_shared<const DescribedNode>(std::move(properties), place);
  };
  return std::make_shared<const NodeRegistry>(NodeRegistry::Nodes{
      .root = node(machine.root.value_or(Dictionary())),
      .chosen = node(machine.chosen),
      .platform = node(machine.platform),
      .rom = node(machine.rom),
      .options = std::move(variables),
  });
}

}  // namespace brisvane::host::simulated
