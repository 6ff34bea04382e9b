#include "brisvane/host/simulated/simulated_machine.h"

#include <cstdlib>
#include <mutex>
#include <unordered_set>
#include <utility>

#include "brisvane/host/formats/json.h"
#include "brisvane/host/machine/description_reader.h"
#include "brisvane/host/machine/machine_description.h"
#include "brisvane/host/simulated/simulated_interfaces.h"
#include "brisvane/host/simulated/simulated_launch_service.h"
#include "brisvane/host/simulated/simulated_services.h"
#include "brisvane/host/simulated/simulated_variables.h"

namespace brisvane::host::simulated {
namespace {

// Where the values come from when the description is in no file.
constexpr std::string_view kNoFile = "the machine's description";

// The values of one store, as the texts that a preferences file would hold.
Dictionary readStore(const Object& description, const std::string& place) {
  Dictionary store;
  const Dictionary* const values = description.ifDictionary();
  if (values == nullptr) throw DescriptionError{place, "must be an object"};
  for (const auto& [key, value] : *values) {
    const bool simple =
        value.ifArray() == nullptr && value.ifDictionary() == nullptr && !value.isNull();
    if (!simple)
      throw DescriptionError{place + "." + key, "must be a text, a number, true or false"};
    const auto text = value.ifText() != nullptr ? value.text() : jsonText(value);
    if (!text) throw DescriptionError{place + "." + key, "is too long"};
    store.emplace(key, *text);
  }
  return store;
}

Dictionary readPreferences(DescriptionReader reader) {
  Dictionary stores;
  if (reader.has("standard")) {
    stores.emplace(kStandardStore, readStore(reader.value("standard"), reader.placeOf("standard")));
  }
  const std::string place = reader.placeOf("suites");
  for (const auto& [name, suite] : reader.members("suites").value_or(Dictionary())) {
    if (name.empty()) throw DescriptionError{place, "a suite needs a name"};
    stores.insert_or_assign(name, readStore(suite, place + "." + name));
  }
  reader.finish();
  return stores;
}

Device readDevice(const Object& description, const std::string& place) {
  DescriptionReader reader(description, place);
  Device device{reader.text("name"), nullptr};
  const bool isFolder = device.name == "." || device.name == "..";
  if (device.name.empty() || isFolder ||
      device.name.find_first_of(std::string_view("/\0", 2)) != std::string::npos)
    reader.fail("name", "must be a file name");
  const Object fixture = reader.value("fixture");
  reader.finish();
  if (fixture.isNull()) return device;
  const std::string placeOfFixture = reader.placeOf("fixture");
  auto started = Fixture::start(FixtureScript::read(fixture, placeOfFixture));
  if (!started.ok()) throw DescriptionError{placeOfFixture, started.error().text()};
  device.fixture = std::move(started.value());
  return device;
}

std::vector<Device> readDevices(DescriptionReader& reader) {
  std::vector<Device> devices;
  std::unordered_set<std::string> names;
  for (const auto& [description, place] : reader.elements("devices")) {
    devices.push_back(readDevice(description, place));
    if (!names.insert(devices.back().name).second) {
      throw DescriptionError{place + ".name", "there is another device of this name"};
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

std::unique_ptr<Machine> Machine::make(const Object& description, const std::string& place) {
  DescriptionReader reader(description, "");
  auto services = std::make_unique<Services>();
  auto preferences = reader.object("preferences");
  services->preferences = std::make_shared<const DescribedPreferences>(
      preferences ? readPreferences(std::move(*preferences)) : Dictionary());
  Platform platform;
  const MachineDescription machine = MachineDescription::read(reader);
  auto firmware = reader.object("firmware");
  auto variables =
      firmware ? std::make_shared<const MemoryVariables>(std::move(*firmware)) : nullptr;
  platform.setLaunchService(std::make_shared<const DescribedLauncher>(reader));
  auto interfaces = std::make_shared<const DescribedInterfaces>(reader);
  services->devices = std::make_shared<const DescribedDevices>(readDevices(reader));
  reader.finish();
  platform.setSystemLog(services->systemLog);
  platform.setPreferences(services->preferences);
  platform.setDeviceNodes(services->devices);
  platform.setRegistry(describedRegistry(machine, std::move(variables), place));
  platform.setIdentityService(std::make_shared<const DescribedIdentity>(machine.identity, place));
  platform.setSystemVersion(std::make_shared<const DescribedVersion>(machine, place));
  platform.setNetworkInterfaces(std::move(interfaces));
  services->platform = std::make_shared<const Platform>(std::move(platform));
  return std::unique_ptr<Machine>(new Machine(std::move(services)));
}

Result<std::unique_ptr<Machine>> Machine::fromDescription(const Object& description) {
  try {
    return make(description, std::string(kNoFile));
  } catch (const DescriptionError& wrong) {
    return Error::because(wrong.text());
  }
}

Result<std::unique_ptr<Machine>> Machine::fromJson(std::string_view json) {
  std::unique_ptr<Machine> machine;
  const auto made = readDescription(json, [&machine](const Object& description) {
    machine = make(description, std::string(kNoFile));
  });
  if (!made.ok()) return made.error();
  return machine;
}

Result<std::unique_ptr<Machine>> Machine::fromFile(Text path) {
  std::unique_ptr<Machine> machine;
  const std::string place(path.orEmpty());
  const auto made = readDescriptionFile(
      place, [&](const Object& description) { machine = make(description, place); });
  if (!made.ok()) return made.error();
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
  ],
  "registry": {
    "root": {"RookeryBuildVersion": "BV-7 DEVELOPMENT"},
    "chosen": {"chip-id": {"hex": "17 4B"}, "board-id": {"hex": "0B"}},
    "platform": {
      "HwPlatformSerialNumber": "BV00SIM0001",
      "HwPlatformUUID": "7D0B5A16-42C5-4B0C-9D3C-5E1D1C3A9F01",
      "model": "BVSim1,1",
      "board-id": "BVB-SIM1",
      "target-type": "sim1",
      "bridge-model": "S1AP"
    },
    "rom": {"version": "BVSim 1.4.2"}
  },
  "identity": {"SigningFuse": false, "UniqueChipID": 81985529216486895},
  "systemVersion": {"ProductBuildVersion": "12B5003a", "ProductUserVisibleVersion": "12.5", "running": "12.5.0"},
  "applications": [
    {"path": "/opt/brisvane/helper", "identifier": "org.brisvane.helper", "launch": [
      {"code": 256}, {"code": 272, "delay": 0.02}, {"answer": true, "delay": 0.01}, {"code": 258, "delay": 0.1}
    ]}
  ],
  "firmware": {
    "variables": {
      "EDA7697C-EB6C-4553-A921-C131036FC939:bench-mode": "burn-in",
      "EDA7697C-EB6C-4553-A921-C131036FC939:bench": "{\"station\": 4, \"operator\": \"BV\"}",
      "A5D42023-9BB9-4366-8741-A4A0161FDEDE:calibration": {"hex": "01 02 FF"}
    }
  },
  "interfaces": [
    {"name": "lo", "type": "loopback", "loopback": true, "addresses": ["127.0.0.1"]},
    {"name": "eth0", "type": "Ethernet", "mac": "02:00:5e:10:00:01", "addresses": ["192.0.2.10"]},
    {"name": "wlan0", "type": "IEEE80211", "mac": "02:00:5e:10:00:02", "addresses": ["198.51.100.7"]}
  ]
}
)json";
}

Machine::Machine(std::unique_ptr<Services> services) noexcept : services_(std::move(services)) {}

Machine::~Machine() { services_->devices->hangUp(); }

std::shared_ptr<const Platform> Machine::platform() const noexcept { return services_->platform; }
std::vector<LogEntry> Machine::systemLog() const { return services_->systemLog->entries(); }
void Machine::clearSystemLog() noexcept { services_->systemLog->clear(); }
Fixture* Machine::fixture(std::string_view device) const noexcept {
  return services_->devices->fixture(device);
}

Result<> useIfAsked() {
  struct InForce {
    std::unique_ptr<Machine> machine;
    ScopedPlatform installed{machine->platform()};
  };
  // Never destroyed: static objects may use the machine until the process ends.
  static const InForce* inForce = nullptr;
  static std::mutex mutex;
  const char* const path = ::secure_getenv("BRISVANE_MACHINE");
  if (path == nullptr || *path == '\0') return {};
  const std::scoped_lock lock(mutex);
  if (inForce != nullptr) return {};
  auto machine = Machine::fromFile(path);
  if (!machine.ok()) return machine.error();
  inForce = new InForce{.machine = std::move(machine).value()};
  return {};
}

}  // namespace brisvane::host::simulated
