#include "brisvane/host/simulated/machine.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <utility>

#include "brisvane/host/files.h"
#include "brisvane/host/json.h"
#include "brisvane/host/simulated/script_reader.h"

namespace brisvane::host::simulated {
namespace {

class RecordedLog final : public SystemLog {
 public:
  void write(const LogChannel& channel, LogType type, std::string_view format,
             std::string_view argument) const noexcept override try {
    LogEntry entry{std::string(channel.subsystem), std::string(channel.category), type, std::string(format),
                   std::string(argument)};
    const std::scoped_lock lock(mutex_);
    entries_.push_back(std::move(entry));
  } catch (const std::bad_alloc&) {
    // Dropped: a log never fails towards its caller.
  }

  [[nodiscard]] std::vector<LogEntry> entries() const {
    const std::scoped_lock lock(mutex_);
    return entries_;
  }

  void clear() const noexcept {
    const std::scoped_lock lock(mutex_);
    entries_.clear();
  }

 private:
  mutable std::mutex mutex_;
  mutable std::vector<LogEntry> entries_;
};

// The key of the standard store, which no suite can have.
constexpr std::string_view kStandard;

class DescribedPreferences final : public Preferences {
 public:
  explicit DescribedPreferences(Dictionary stores) : stores_(std::move(stores)) {}

  std::optional<std::string> value(std::string_view suite, std::string_view key) const noexcept override try {
    const auto store = stores_.find(suite);
    const Dictionary* const values = store != stores_.end() ? store->second.ifDictionary() : nullptr;
    if (values == nullptr) return std::nullopt;
    const auto found = values->find(key);
    return found != values->end() ? found->second.text() : std::nullopt;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }

 private:
  const Dictionary stores_;  // by suite: the texts of each
};

struct Device {
  std::string name;
  std::shared_ptr<Fixture> fixture;  // null: listed, but cannot be opened
};

class DescribedDevices final : public DeviceNodes {
 public:
  explicit DescribedDevices(std::vector<Device> devices) : devices_(std::move(devices)) {}

  std::optional<std::vector<std::string>> list() const noexcept override try {
    std::vector<std::string> names;
    for (const Device& device : devices_) {
      if (device.fixture == nullptr || !device.fixture->hasHungUp()) names.push_back(device.name);
    }
    return names;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }

  std::string location(std::string_view path) const noexcept override try {
    if (!path.starts_with(kDirectory)) return std::string(path);
    const Fixture* const found = fixture(path.substr(kDirectory.size()));
    // The real machine's devices are not this one's.
    return found != nullptr && !found->hasHungUp() ? found->node() : std::string();
  } catch (const std::bad_alloc&) {
    return {};
  }

  [[nodiscard]] Fixture* fixture(std::string_view name) const noexcept {
    for (const Device& device : devices_) {
      if (device.name == name) return device.fixture.get();
    }
    return nullptr;
  }

  void hangUp() const noexcept {
    for (const Device& device : devices_) {
      if (device.fixture != nullptr) device.fixture->hangUp();
    }
  }

 private:
  const std::vector<Device> devices_;
};

// The values of one store, as the texts that a preferences file would hold.
Dictionary readStore(const Object& description, const std::string& place) {
  Dictionary store;
  const Dictionary* const values = description.ifDictionary();
  if (values == nullptr) throw ScriptError{place + ": must be an object"};
  for (const auto& [key, value] : *values) {
    const bool simple = value.ifArray() == nullptr && value.ifDictionary() == nullptr && !value.isNull();
    if (!simple) throw ScriptError{place + "." + key + ": must be a text, a number, true or false"};
    store.emplace(key, value.ifText() != nullptr ? value : Object(jsonText(value)));
  }
  return store;
}

Dictionary readPreferences(const Object& description) {
  Dictionary stores;
  if (description.isNull()) return stores;
  ScriptReader reader(description, "preferences");
  if (reader.has("standard")) {
    stores.emplace(kStandard, readStore(reader.value("standard"), reader.placeOf("standard")));
  }
  if (const Object suites = reader.value("suites"); !suites.isNull()) {
    const std::string place = reader.placeOf("suites");
    if (suites.ifDictionary() == nullptr) throw ScriptError{place + ": must be an object"};
    for (const auto& [name, suite] : *suites.ifDictionary()) {
      if (name.empty()) throw ScriptError{place + ": a suite needs a name"};
      stores.insert_or_assign(name, readStore(suite, place + "." + name));
    }
  }
  reader.finish();
  return stores;
}

Device readDevice(const Object& description, const std::string& place) {
  ScriptReader reader(description, place);
  Device device{reader.text("name"), nullptr};
  if (device.name.empty() || device.name.find('/') != std::string::npos) reader.fail("name", "must be a file name");
  const Object fixture = reader.value("fixture");
  reader.finish();
  if (fixture.isNull()) return device;
  std::string error;
  auto script = FixtureScript::from(fixture, error, reader.placeOf("fixture"));
  if (!script) throw ScriptError{error};
  device.fixture = Fixture::start(std::move(*script), error);
  if (device.fixture == nullptr) throw ScriptError{reader.placeOf("fixture") + ": " + error};
  return device;
}

std::vector<Device> readDevices(ScriptReader& reader) {
  std::vector<Device> devices;
  for (const auto& [description, place] : reader.elements("devices")) {
    devices.push_back(readDevice(description, place));
    const auto isSame = [&](const Device& device) { return device.name == devices.back().name; };
    if (std::count_if(devices.begin(), devices.end(), isSame) > 1) {
      throw ScriptError{place + ".name: there is another device of this name"};
    }
  }
  return devices;
}

}  // namespace

struct Machine::Services {
  std::shared_ptr<const RecordedLog> systemLog = std::make_shared<const RecordedLog>();
  std::shared_ptr<const DescribedPreferences> preferences;
  std::shared_ptr<const DescribedDevices> devices;
  std::shared_ptr<const Platform> platform;
};

std::unique_ptr<Machine> Machine::fromDescription(const Object& description, std::string& error) try {
  ScriptReader reader(description, "");
  auto services = std::make_unique<Services>();
  services->preferences = std::make_shared<const DescribedPreferences>(readPreferences(reader.value("preferences")));
  services->devices = std::make_shared<const DescribedDevices>(readDevices(reader));
  reader.finish();
  Platform platform;
  platform.setSystemLog(services->systemLog);
  platform.setPreferences(services->preferences);
  platform.setDeviceNodes(services->devices);
  services->platform = std::make_shared<const Platform>(std::move(platform));
  return std::unique_ptr<Machine>(new Machine(std::move(services)));
} catch (const ScriptError& wrong) {
  error = wrong.text;
  return nullptr;
}

std::unique_ptr<Machine> Machine::fromJson(std::string_view json, std::string& error) {
  const auto description = parseJson(json, &error);
  return description ? fromDescription(*description, error) : nullptr;
}

std::unique_ptr<Machine> Machine::fromFile(Text path, std::string& error) {
  constexpr std::size_t kLargest = std::size_t{16} << 20U;
  Error failed;
  const auto content = readFile(path.orEmpty(), kLargest, failed);
  auto machine = content ? fromJson(*content, error) : nullptr;
  if (machine == nullptr) {
    error = failed ? errorText(path.orEmpty(), failed.number()) : std::string(path.orEmpty()) + ": " + error;
  }
  return machine;
}

std::string_view Machine::exampleDescription() noexcept {
  return R"json({
  "preferences": {"standard": {"BrisvaneVerbosityLevel": 1}},
  "devices": [
    {"name": "cu.usbserial-BV0001", "fixture": {
      "greeting": [{"text": "Fixture BV0001 ready\r\n", "delay": 0.02}],
      "commands": [
        {"command": "version", "replies": [{"text": "FW 1.2.3 OK\r\n", "delay": 0.05, "split": 5}]},
        {"command": "status", "replies": ["temp=23.5 ", {"text": "volt=5.01 OK\r\n", "delay": 0.1}]},
        {"pattern": "^echo (.*)$", "replies": ["$1\r\n"]},
        {"hex": "02 10 03", "replies": [{"hex": "02 90 01 F4 03"}]},
        {"command": "noise", "replies": [{"noise": 32}, "OK\r\n"]},
        {"command": "silence"},
        {"command": "unplug", "replies": ["bye\r\n"], "hangUp": true}
      ],
      "unknown": ["ERR unknown command\r\n"]
    }}
  ]
}
)json";
}

Machine::Machine(std::unique_ptr<Services> services) noexcept : services_(std::move(services)) {}

Machine::~Machine() { services_->devices->hangUp(); }

std::shared_ptr<const Platform> Machine::platform() const noexcept { return services_->platform; }
std::vector<LogEntry> Machine::systemLog() const { return services_->systemLog->entries(); }
void Machine::clearSystemLog() noexcept { services_->systemLog->clear(); }
Fixture* Machine::fixture(std::string_view device) const noexcept { return services_->devices->fixture(device); }

}  // namespace brisvane::host::simulated
