#include "brisvane/host/machine/machine_description.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "brisvane/host/machine/identity_service.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "tests/support/error_number.h"
#include "tests/support/linux_machine.h"

namespace brisvane::host {
namespace {

using ::testing::HasSubstr;

TEST(MachineDescription, ThatIsWrongIsRefusedWithItsFileLineAndKey) {
  const testing::TemporaryFolder folder;
  const std::string file = folder / "machine.json";
  const std::pair<std::string, std::string> cases[] = {
      {"{\n \"registry\": {\n  \"chosen\": {\n   \"chip-id\": {\"hex\": \"3\"}}}}",
       "line 4: registry.chosen.chip-id.hex: must be pairs of hexadecimal digits"},
      {"{\"registry\": {\n\"platfrom\": {}}}", "line 2: registry.platfrom: unknown field"},
      {"{\"registry\": {\"rom\":\n\n {\"version\": [\n1]}}}",
       "line 3: registry.rom.version: must be a text, a number, true, false or {\"hex\": \"...\"}"},
      {"{\"registry\": []}", "line 1: registry: must be an object"},
      {"\n{\"identity\": {\"SigningFuze\": true}}", "line 2: identity.SigningFuze: unknown field"},
      {"{\"identity\": {\"UniqueChipID\": -1}}",
       "line 1: identity.UniqueChipID: must be a whole number of 64 bits"},
      {"{\"systemVersion\": {\n\"running\": \"twelve\"}}",
       "line 2: systemVersion.running: must be a version, as in \"12.5.1\""},
      {"{\"registry\": {\"platform\": {\"model\": \"A\",\n\"model\": \"B\"}}}",
       "line 2: registry.platform.model: is there twice"},
      {"{\n\"devices\": []}", "line 2: devices: unknown field"},
      {"[]", "line 1: must be an object"}};
  const auto errorOf = [](const std::string& path) {
    const auto description = MachineDescription::fromFile(path);
    return description.ok() ? "none" : description.error().text();
  };
  for (const auto& [json, expected] : cases) {
    testing::writeFile(file, json);
    EXPECT_EQ(errorOf(file), file + ": " + expected);
  }
  testing::writeFile(file, "{\n\n\"registry\": }");
  EXPECT_THAT(errorOf(file), HasSubstr(file + ": parse error at line 3"));
  EXPECT_EQ(errorOf(folder / "none.json"), folder / "none.json: No such file or directory");
  EXPECT_EQ(errorOf(""), "an empty path: No such file or directory");
}

TEST(MachineDescription, OfManyThingsTakesNoLongerForTheirNumberTimesItself) {
  const auto errorOf = [](const std::string& json) {
    const auto machine = simulated::Machine::fromJson(json);
    return machine.ok() ? "none" : machine.error().text();
  };
  // Comparing each two of so many would take minutes.
  std::string devices = R"({"devices":[{"name":"first"})";
  for (int i = 0; i < 500'000; ++i) devices += R"(,{"name":"d)" + std::to_string(i) + "\"}";
  EXPECT_EQ(errorOf(devices + "]}"), "none");
  EXPECT_EQ(errorOf(R"({"devices":[{"name":"first"},{"name":"first"}]})"),
            "line 1: devices[1].name: there is another device of this name");
  // What each of many things would keep for itself is short.
  const std::string name(256, 'n');
  EXPECT_EQ(errorOf(R"({"interfaces":[{"type":"VLAN","name":")" + name + "\"}]}"),
            "line 1: interfaces[0].name: must be at most 255 bytes long");
  EXPECT_EQ(errorOf(R"({"applications":[{"path":"/x","identifier":")" + name + "\"}]}"),
            "line 1: applications[0].identifier: must be at most 255 bytes long");
  // An error quotes little of a long place, and that as escapes.
  EXPECT_EQ(errorOf(R"({"preferences":{"suites":{")" + name + "\":{\n\"x\u202e\\n\":null}}}}"),
            "line 2: preferences.suites." + std::string(79, 'n') + "..." + std::string(80, 'n') +
                ".x<U+202E><U+000A>: must be a text, a number, true or false");
}

TEST(MachineDescription, OfAVersionTakesOneToThreeNumbers) {
  EXPECT_EQ(parseVersion("12"), (OsVersion{12, 0, 0}));
  EXPECT_EQ(parseVersion("22.04"), (OsVersion{22, 4, 0}));
  EXPECT_EQ(parseVersion("12.5.1.7"), (OsVersion{12, 5, 1}));
  for (const char* const wrong :
       {"", ".", "12.", "-1", "+1", " 12", "12 beta", "rolling", "9223372036854775808"}) {
    EXPECT_EQ(parseVersion(wrong), std::nullopt) << wrong;
  }
}

TEST(LinuxIdentity, IsTheFirmwaresAndTheChipsUnlessTheAdministratorSaysOtherwise) {
  const testing::LinuxMachine machine;
  const auto platform = machine.platform();
  const IdentityService& identity = platform->identityService();
  EXPECT_EQ(identity.answer(IdentityService::kSigningFuse), std::nullopt);
  EXPECT_EQ(identity.answer(IdentityService::kUniqueChipID), std::nullopt);
  constexpr char kGlobal[] = "-8be4df61-93ca-11d2-aa0d-00e098032b8c";
  for (const int secureBoot : {0, 1}) {
    for (const int setupMode : {0, 1}) {
      machine.write(std::string("variables/SecureBoot") + kGlobal,
                    std::string("\6\0\0\0", 4) + static_cast<char>(secureBoot));
      machine.write(std::string("variables/SetupMode") + kGlobal,
                    std::string("\6\0\0\0", 4) + static_cast<char>(setupMode));
      EXPECT_EQ(identity.answer(IdentityService::kSigningFuse),
                Object(secureBoot == 1 && setupMode == 0));
    }
  }
  machine.write("soc/serial_number", "0x0123456789abcdef\n");
  EXPECT_EQ(identity.answer(IdentityService::kUniqueChipID),
            Object(std::uint64_t{0x0123456789ABCDEF}));
  for (const char* const wrong : {"10123456789ABCDEF\n", "12G4", "", "\n", "0x", "-1"}) {
    machine.write("soc/serial_number", wrong);
    EXPECT_EQ(identity.answer(IdentityService::kUniqueChipID), std::nullopt) << wrong;
    EXPECT_EQ(testing::errorNumber(identity.origin(IdentityService::kUniqueChipID)), ENODATA);
  }
  EXPECT_EQ(identity.answer(IdentityService::kFirmwareVersion), std::nullopt);
  EXPECT_EQ(testing::errorNumber(identity.origin(IdentityService::kFirmwareVersion)), ENOENT);
  machine.write("machine.json",
                R"({"identity": {"SigningFuse": true, "UniqueChipID": 7, "FirmwareVersion": "1",
                                                 "ProvisioningUniqueDeviceID": "u"}})");
  EXPECT_EQ(identity.answer(IdentityService::kSigningFuse), Object(true));
  EXPECT_EQ(identity.answer(IdentityService::kUniqueChipID), Object(7));
  EXPECT_EQ(identity.answer(IdentityService::kFirmwareVersion), Object("1"));
  EXPECT_EQ(identity.answer(IdentityService::kUniqueDeviceID), Object("u"));
  EXPECT_EQ(identity.answer("Another"), std::nullopt);
}

TEST(LinuxVersion, IsReadAsAShellWouldFromTheFirstFileThatIsThere) {
  const testing::LinuxMachine machine;
  const auto platform = machine.platform();
  const SystemVersion& version = platform->systemVersion();
  EXPECT_EQ(version.entries(), std::nullopt);
  EXPECT_EQ(version.running(), std::nullopt);
  machine.write("vendor-os-release", "VERSION_ID=11\nBUILD_ID=vendor\n");
  EXPECT_EQ(version.entries(),
            (Dictionary{{"ProductUserVisibleVersion", "11"}, {"ProductBuildVersion", "vendor"}}));
  machine.write("os-release",
                "# VERSION_ID=1\nXVERSION_ID=2\nVERSION_ID=3\n "
                "VERSION_ID='12.5'\t\r\nBUILD_ID=\"1\\\"2\\$\"");
  EXPECT_EQ(version.entries(),
            (Dictionary{{"ProductUserVisibleVersion", "12.5"}, {"ProductBuildVersion", "1\"2$"}}));
  EXPECT_EQ(version.running(), (OsVersion{12, 5, 0}));
  machine.write("os-release", "NAME=x\nVERSION_ID=rolling");
  EXPECT_EQ(version.entries(), (Dictionary{{"ProductUserVisibleVersion", "rolling"}}));
  EXPECT_EQ(version.running(), std::nullopt);
  EXPECT_EQ(testing::errorNumber(version.origin(SystemVersion::kBuildVersion)), ENODATA);
  machine.write("machine.json",
                R"({"systemVersion": {"ProductBuildVersion": "12B5003a", "running": "4.1"}})");
  EXPECT_EQ(version.entries(), (Dictionary{{"ProductUserVisibleVersion", "rolling"},
                                           {"ProductBuildVersion", "12B5003a"}}));
  EXPECT_EQ(version.running(), (OsVersion{4, 1, 0}));
  EXPECT_EQ(version.origin(SystemVersion::kBuildVersion).value(), machine / "machine.json");
}

}  // namespace
}  // namespace brisvane::host
