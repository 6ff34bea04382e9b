// What every platform keeps of the services' contracts: one suite over the real machine and the
// simulated one. The terminals, preferences and device nodes of both are in platform_test, their
// variables in variable_store_test.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>

#include "brisvane/host/platform.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "tests/support/error_number.h"
#include "tests/support/launches.h"
#include "tests/support/linux_machine.h"

namespace brisvane::host {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Optional;

// Two machines furnished alike.

class SimulatedBench {
 public:
  [[nodiscard]] const Platform& platform() const { return *platform_; }

  // The messages of the system log since the last call, each after its type's number.
  std::vector<std::string> messages() {
    std::vector<std::string> messages;
    for (const auto& entry : machine_->systemLog()) {
      std::string message = entry.format;
      const auto at = message.find(SystemLog::kPlaceholder);
      if (at != std::string::npos)
        message.replace(at, SystemLog::kPlaceholder.size(), entry.argument);
      messages.push_back(std::to_string(static_cast<int>(entry.type)) + " " + message);
    }
    machine_->clearSystemLog();
    return messages;
  }

 private:
  std::unique_ptr<simulated::Machine> machine_ = simulated::Machine::fromJson(R"({
      "registry": {"root": {}, "chosen": {"chip-id": {"hex": "3412"}, "alpha": {"hex": "00"}},
                   "platform": {"model": "Model 1"}, "rom": {"version": "1.2"}},
      "identity": {"SigningFuse": true, "UniqueChipID": 18446744073709551615},
      "systemVersion": {"ProductUserVisibleVersion": "12.5", "ProductBuildVersion": "12B5", "running": "12.5"},
      "applications": [{"path": "/bin/true", "identifier": "true"}],
      "interfaces": [{"name": "lo", "type": "loopback", "loopback": true, "addresses": ["127.0.0.1"]}]})")
                                                     .value();
  std::shared_ptr<const Platform> platform_ = machine_->platform();
};

class RealBench {
 public:
  RealBench() {
    machine_.write("smbios/product_name", "Model 1\n");
    machine_.write("smbios/bios_version", "1.2\n");
    machine_.write("tree/chosen/chip-id", "\x34\x12");
    machine_.write("tree/chosen/alpha", std::string(1, '\0'));
    machine_.write("machine.json", R"({"identity": {"SigningFuse": true}})");
    machine_.write("soc/serial_number", "0xFFFFFFFFFFFFFFFF\n");
    machine_.write("os-release", "VERSION_ID=\"12.5\"\nBUILD_ID=12B5\n");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, (machine_ / "journal").c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(journal_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  RealBench(const RealBench&) = delete;
  RealBench& operator=(const RealBench&) = delete;
  ~RealBench() { ::close(journal_); }

  [[nodiscard]] const Platform& platform() const { return *platform_; }

  std::vector<std::string> messages() {
    constexpr const char* kPriorities[] = {"7", "6", "3", "2"};  // of the types, in their order
    std::vector<std::string> messages;
    char entry[4096];
    for (ssize_t size = 0; (size = ::recv(journal_, entry, sizeof entry, 0)) >= 0;) {
      const std::string text(entry, static_cast<std::size_t>(size));
      const auto valueOf = [&text](const std::string& field) {
        const std::size_t at = text.find(field + "=");
        const std::size_t begin = at + field.size() + 1;
        return at == std::string::npos ? std::string()
                                       : text.substr(begin, text.find('\n', begin) - begin);
      };
      const auto* const priority =
          std::find(std::begin(kPriorities), std::end(kPriorities), valueOf("PRIORITY"));
      messages.push_back(std::to_string(priority - std::begin(kPriorities)) + " " +
                         valueOf("MESSAGE"));
    }
    return messages;
  }

 private:
  testing::LinuxMachine machine_;
  int journal_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  std::shared_ptr<const Platform> platform_ = machine_.platform();
};

template <typename Bench>
class Conformance : public ::testing::Test {
 protected:
  [[nodiscard]] const Platform& platform() const { return bench.platform(); }
  Bench bench;
};
using Benches = ::testing::Types<RealBench, SimulatedBench>;
TYPED_TEST_SUITE(Conformance, Benches);

TYPED_TEST(Conformance, RegistryGivesTypedPropertiesOfOpenNodesAndNothingOfOthers) {
  const Registry& registry = this->platform().registry();
  const NodeHandle chosen = registry.nodeAtPath(Registry::kChosenPath);
  const NodeHandle hardware = registry.firstNodeOfClass(Registry::kPlatformClass);
  EXPECT_THAT((std::set<NodeHandle>{0, registry.root(), chosen, hardware,
                                    registry.nodeAtPath(Registry::kRomPath)}),
              ::testing::SizeIs(5));
  EXPECT_EQ(registry.nodeAtPath("HwDeviceTree:/other"), 0U);
  EXPECT_EQ(registry.nodeAtPath(""), 0U);
  EXPECT_EQ(registry.firstNodeOfClass("Other"), 0U);

  EXPECT_THAT(registry.propertyNames(chosen), ElementsAre("alpha", "chip-id"));
  EXPECT_EQ(registry.property(chosen, "chip-id"), Object(Data{0x34, 0x12}));
  EXPECT_FALSE(registry.property(chosen, "chip-id")->same(*registry.property(chosen, "chip-id")));
  EXPECT_EQ(registry.property(hardware, "model"), Object("Model 1"));
  EXPECT_NE(registry.origin(hardware, "model").value(), "");
  for (const char* const absent : {"", "other", "../chosen/chip-id", "."}) {
    EXPECT_EQ(registry.property(chosen, absent), std::nullopt) << absent;
    EXPECT_FALSE(registry.origin(chosen, absent).ok()) << absent;
  }
  EXPECT_EQ(testing::errorNumber(registry.setProperty(chosen, "chip-id", "text")), ENOTSUP);
  EXPECT_EQ(registry.property(chosen, "chip-id"), Object(Data{0x34, 0x12}));

  registry.release(chosen);
  const NodeHandle again = registry.nodeAtPath(Registry::kChosenPath);
  EXPECT_NE(again, chosen);
  registry.release(chosen);  // not the one that has been opened since
  EXPECT_TRUE(registry.property(again, "chip-id"));
  for (const NodeHandle stale : {chosen, NodeHandle{0}}) {
    EXPECT_EQ(registry.property(stale, "chip-id"), std::nullopt);
    EXPECT_THAT(registry.propertyNames(stale), IsEmpty());
    EXPECT_EQ(testing::errorNumber(registry.setProperty(stale, "chip-id", "text")), ENOENT);
  }
}

TYPED_TEST(Conformance, IdentityAnswersItsKeysInTheirTypesAndNoOthers) {
  const IdentityService& identity = this->platform().identityService();
  EXPECT_EQ(identity.answer(IdentityService::kSigningFuse), Object(true));
  EXPECT_EQ(identity.answer(IdentityService::kUniqueChipID), Object(UINT64_MAX));
  EXPECT_NE(identity.origin(IdentityService::kSigningFuse).value(), "");
  EXPECT_NE(identity.origin(IdentityService::kUniqueChipID).value(), "");
  for (const auto absent :
       {IdentityService::kFirmwareVersion, std::string_view("signingfuse"), std::string_view()}) {
    EXPECT_EQ(identity.answer(absent), std::nullopt) << absent;
    EXPECT_FALSE(identity.origin(absent).ok()) << absent;
  }
}

TYPED_TEST(Conformance, SystemVersionHasItsTwoEntriesAsTextsAndTheVersionThatRuns) {
  const SystemVersion& version = this->platform().systemVersion();
  EXPECT_THAT(version.entries(), Optional(Dictionary{{"ProductBuildVersion", "12B5"},
                                                     {"ProductUserVisibleVersion", "12.5"}}));
  EXPECT_EQ(version.running(), (OsVersion{12, 5, 0}));
  EXPECT_NE(version.origin(SystemVersion::kBuildVersion).value(), "");
  EXPECT_EQ(testing::errorNumber(version.origin("ProductName")), ENODATA);
}

TYPED_TEST(Conformance, SystemLogKeepsEveryEntryInOrderUnderItsType) {
  const SystemLog& log = this->platform().systemLog();
  const LogChannel channel{"org.example", "BV"};
  log.write(channel, LogType::kFault, "FAULT %{public}@", "%s 100%");
  log.write(channel, LogType::kDebug, SystemLog::kPlaceholder, "");
  log.write(channel, LogType::kInfo, "no placeholder", "argument");
  log.write(channel, LogType::kError, SystemLog::kPlaceholder, " \xC3\xA4 %{public}@ ");
  EXPECT_THAT(this->bench.messages(),
              ElementsAre("3 FAULT %s 100%", "0 ", "1 no placeholder", "2  \xC3\xA4 %{public}@ "));
}

TYPED_TEST(Conformance, LaunchServiceTellsEachSubscriberTheCodesThatItSelected) {
  const LaunchService& service = this->platform().launchService();
  EXPECT_FALSE(service.selectCodes(0, {}, 0, 0, 0, 0).ok());
  testing::Launches up(service, {LaunchCode::kUp});
  testing::Launches all(service, {LaunchCode::kRequested, LaunchCode::kStarted, LaunchCode::kUp});
  EXPECT_TRUE(service.registerBundle("file:///bin/true", false).ok());
  EXPECT_EQ(up.launch("file:///bin/true"), std::nullopt);
  EXPECT_THAT(up.heard(1), ElementsAre(std::pair(LaunchCode::kUp, std::string("true"))));
  EXPECT_EQ(all.heard(3).back(), std::pair(LaunchCode::kUp, std::string("true")));
  up.end();
  EXPECT_EQ(all.launch("file:///bin/true"), std::nullopt);
  EXPECT_THAT(all.heard(6), ::testing::SizeIs(6));
  EXPECT_THAT(up.heard(1), ::testing::SizeIs(1));
  EXPECT_THAT(all.launch("file:///bin/none-of-this-name"),
              Optional(HasSubstr("/bin/none-of-this-name")));
  EXPECT_THAT(all.launch("no URL"), Optional(HasSubstr("no URL")));
}

TYPED_TEST(Conformance, NetworkInterfacesOfTheAddressListAreEnumerated) {
  const auto interfaces = this->platform().networkInterfaces().interfaces();
  const auto addresses = this->platform().networkInterfaces().addresses();
  ASSERT_TRUE(interfaces.ok() && addresses.ok());
  std::set<std::string> names;
  for (const NetworkInterface& interface : interfaces.value()) {
    EXPECT_NE(interface.type, "");
    EXPECT_TRUE(interface.name && names.insert(*interface.name).second)
        << "twice or without a name";
    if (interface.hardwareAddress) {
      EXPECT_THAT(*interface.hardwareAddress, ::testing::MatchesRegex("[0-9a-f:]+"));
    }
  }
  bool hasLoopback = false;
  for (const InterfaceAddress& address : addresses.value()) {
    EXPECT_TRUE(names.contains(address.name)) << address.name;
    hasLoopback = hasLoopback || (address.isLoopback && address.name == "lo");
  }
  EXPECT_TRUE(hasLoopback);
}

}  // namespace
}  // namespace brisvane::host
