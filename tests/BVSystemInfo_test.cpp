#include "brisvane/platform/BVSystemInfo.h"

#include <gmock/gmock.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <clocale>
#include <cstring>
#include <fstream>
#include <functional>
#include <future>
#include <latch>
#include <thread>
#include <tuple>

#include "brisvane/host/machine/node_registry.h"
#include "brisvane/host/platform.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "brisvane/platform/BVNvram.h"
#include "brisvane/platform/companion_chip.h"
#include "brisvane/platform/profile_sources.h"
#include "tests/support/linux_machine.h"
#include "tests/support/own_process.h"
#include "tests/support/temporary_folder.h"

namespace brisvane {
namespace {

using host::OsVersion;
using host::simulated::Machine;

static_assert(host::Registry::kChosenPath == "HwDeviceTree:/chosen" &&
              host::Registry::kRomPath == "HwDeviceTree:/rom");
static_assert(host::Registry::kPlatformClass == "HwPlatformExpertDevice");

#if defined(__x86_64__)
constexpr bool kIsX86 = true;
#else
constexpr bool kIsX86 = false;
#endif

// Does something on a machine that is described in JSON, with single quotes for once, and
// sees that no node is left open.
void onMachine(std::string description, const std::function<void()>& work) {
  std::replace(description.begin(), description.end(), '\'', '"');
  const auto machine = Machine::fromJson(description).value();
  const host::ScopedPlatform installed(machine->platform());
  work();
  EXPECT_EQ(dynamic_cast<const host::NodeRegistry&>(machine->platform()->registry()).openHandles(),
            0U);
}

std::string described(const std::string& registry, const std::string& identity = "") {
  return "{'registry': {" + registry + "}, 'identity': {" + identity + "}, 'systemVersion': {}}";
}

std::unique_ptr<const BVSystemInfo> gathered(const std::string& registry,
                                             const std::string& identity = "") {
  std::unique_ptr<const BVSystemInfo> info;
  onMachine(described(registry, identity), [&] { info = std::make_unique<const BVSystemInfo>(); });
  return info;
}

// The values in the order of the keys.
Object profileWith(const Array& values) {
  constexpr const char* kKeys[] = {"chipId",
                                   "modelID",
                                   "serialNumber",
                                   "vireoVersion",
                                   "firmwareVersion",
                                   "uuid",
                                   "ecid",
                                   "buildVersion",
                                   "strRookeryBuildVersion",
                                   "boardId",
                                   "keelModelName",
                                   "isSeedBuild",
                                   "isPrePelorusHost",
                                   "isProductionFused",
                                   "isInternaOS"};
  Dictionary profile;
  for (std::size_t i = 0; i < std::size(kKeys); ++i) profile.emplace(kKeys[i], values.at(i));
  return profile;
}

// `info` has been gathered on a machine without anything.
class BVSystemInfoTest : public ::testing::Test {
 protected:
  void gather(std::string_view description) {
    onMachine(std::string(description), [this] { info.setPlatformInfo(); });
  }
  host::ScopedPlatform nothing{std::make_shared<const host::Platform>()};
  BVSystemInfo info;
};

const Object kNone;

TEST_F(BVSystemInfoTest, ProfileHasItsFifteenKeysAndEverySetterShowsInTheNext) {
  const Object first = info.profile();
  const Object before = profileWith({kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone,
                                     "Orvel", "notKeel", false, kIsX86, false, false});
  EXPECT_EQ(first, before);
  EXPECT_TRUE(!info.targetType() && !info.boardID() && info.osVersion() == OsVersion());

  info.setChipID(0xFFFF);
  info.setModelID("model");
  info.setSystemSerialNumber("serial");
  info.setOsVersionStr("version");
  info.setFirmwareVersion("firmware");
  info.setUUID("uuid");
  info.setECID(UINT64_MAX);
  info.setOsBuildVersionStr("12B5003a");
  info.setStrRookeryBuildVersion("DEVELOPMENT");
  info.setBoardIDStr("");  // present, if empty
  info.setKeelModelName("Q9AP");
  for (int flag = 0; flag <= 4; ++flag) {
    info.setIsSeedBuild(flag == 0);
    info.setIsPrePelorusHost(flag == 1);
    info.setIsProductionFused(flag == 2);
    info.setIsInternaOS(flag == 3);
    EXPECT_EQ(Object(info.profile()),
              profileWith({0xFFFF, "model", "serial", "version", "firmware", "uuid", UINT64_MAX,
                           "12B5003a", "DEVELOPMENT", "", "Q9AP", flag == 0, flag == 1, flag == 2,
                           flag == 3}));
  }
  info.setUUID(nullptr);
  info.setECID(std::nullopt);
  EXPECT_TRUE(info.profile().at("uuid").isNull() && info.profile().at("ecid").isNull());
  EXPECT_EQ(first, before);
  info.setTargetType("target");
  info.setBoardID(0xFF);
  info.setOsVersion({-1, 2, 3});
  EXPECT_TRUE(info.targetType() == "target" && info.boardID() == 0xFF &&
              info.osVersion() == (OsVersion{-1, 2, 3}));
}

TEST_F(BVSystemInfoTest, GatheringAgainReplacesWhatIsToldAndKeepsWhatCameFromNodesThatAreGone) {
  gather(Machine::exampleDescription());
  const Object uuid = "7D0B5A16-42C5-4B0C-9D3C-5E1D1C3A9F01";
  EXPECT_EQ(Object(info.profile()),
            profileWith({0x4B17, "BVSim1,1", "BV00SIM0001", "12.5", "BVSim 1.4.2", uuid,
                         81985529216486895, "12B5003a", "BV-7 DEVELOPMENT", "BVB-SIM1", "S1", true,
                         false, false, true}));
  EXPECT_EQ(info.targetType(), kIsX86 ? "S1AP" : "sim1");
  EXPECT_EQ(info.boardID(), 0x0B);
  EXPECT_EQ(info.osVersion(), (OsVersion{12, 5, 0}));

  gather(described(""));
  EXPECT_EQ(
      Object(info.profile()),
      profileWith({kNone, "BVSim1,1", "BV00SIM0001", kNone, "BVSim 1.4.2", uuid, 81985529216486895,
                   kNone, kNone, "BVB-SIM1", "S1", false, kIsX86, false, false}));
  EXPECT_TRUE(info.targetType() && info.boardID() == 0x0B && info.osVersion() == OsVersion());

  // What is still held is not asked for elsewhere.
  gather(described(
      "'platform': {'model': 'new', 'HwPlatformSerialNumber': 'new'}, 'rom': {'version': 'new'}"));
  EXPECT_EQ(
      Object(info.profile()),
      profileWith({kNone, "BVSim1,1", "BV00SIM0001", kNone, "BVSim 1.4.2", kNone, 81985529216486895,
                   kNone, kNone, "Orvel", "notKeel", false, kIsX86, false, false}));
  EXPECT_EQ(info.targetType(), std::nullopt);
  gather(described("'chosen': {}"));
  EXPECT_EQ(Object(info.profile()), Object(BVSystemInfo().profile()));
  EXPECT_EQ(info.boardID(), std::nullopt);
}

TEST(BVSystemInfo, EachValueComesFromTheFirstSourceThatHasIt) {
  using Case = std::tuple<const char*, std::string, std::string, Object>;
  const std::string chosen = "'chosen': {'model': 'C', 'HwPlatformSerialNumber': 'C'}";
  const std::string platform = ", 'platform': {'model': 'P', 'HwPlatformSerialNumber': 'P'}";
  const std::string answers =
      "'FirmwareVersion': 'I', 'ProvisioningUniqueDeviceID': 'I', 'UniqueChipID': "
      "18446744073709551615";
  const std::string all =
      "'chosen': {'firmware-version': {'hex': '43 00'}}, 'platform': {'HwPlatformUUID': 'P'}";
  const std::string rom = ", 'rom': {'version': 'R'}";
  std::vector<Case> cases{
      {"firmwareVersion", all + rom, answers, "I"},
      {"firmwareVersion", all + rom, "", "C"},
      {"firmwareVersion", "'chosen': {}, 'platform': {}" + rom, "", "R"},
      {"firmwareVersion", "'chosen': {}" + rom, answers, "I"},
      {"firmwareVersion", "'chosen': {}" + rom, "", kNone},  // the ROM goes with the platform node,
      {"firmwareVersion", "'platform': {}" + rom, answers, "R"},  // the answer with the chosen one
      {"uuid", all, answers, "I"},
      {"uuid", all, "", "P"},
      {"uuid", "'chosen': {}", answers, kNone},
      {"ecid", "'chosen': {}", answers, UINT64_MAX},
      {"ecid", "'platform': {}", answers, kNone},
      {"isInternaOS", "'root': {'RookeryBuildVersion': 'xDEVELOPMENTALx'}", "", true},
      {"isInternaOS",
       "'root': {'RookeryBuildVersion': {'hex': '44 45 56 45 4C 4F 50 4D 45 4E 54 00'}}", "", true},
      {"isInternaOS", "'root': {'RookeryBuildVersion': 'Development DEVELOP MENT'}", "", false},
      {"isInternaOS", "'chosen': {'RookeryBuildVersion': 'DEVELOPMENT'}", "", false},
      {"keelModelName", "'platform': {'bridge-model': 'Q9'}", "", "Q9"},
      {"keelModelName", "'platform': {'bridge-model': 'Q9ap'}", "", "Q9ap"},
      {"keelModelName", "'platform': {'bridge-model': 'APQAPAP'}", "", "APQAP"},
      {"keelModelName", "'platform': {'bridge-model': 'AP'}", "", ""},
      {"isProductionFused", "", "'SigningFuse': true", true},
      {"isProductionFused", "", "'SigningFuse': false", false},
      {"isPrePelorusHost", "'chosen': {'chip-id': {'hex': '17 4B'}, 'board-id': {'hex': '00'}}", "",
       false},
      {"isPrePelorusHost", "'platform': {'bridge-model': ''}", "", false},
      {"isPrePelorusHost",
       "'chosen': {'chip-id': {'hex': '17 4B'}}, 'platform': {'board-id': 'BVB-1'}", "", kIsX86},
      {"isPrePelorusHost",
       "'chosen': {'board-id': {'hex': '0B'}}, 'platform': {'target-type': 't'}", "", kIsX86},
      {"isPrePelorusHost", "'chosen': {'chip-id': {'hex': '17'}, 'board-id': {'hex': '0B'}}", "",
       kIsX86},
      {"isPrePelorusHost", "'chosen': {'chip-id': {'hex': '17 4B'}, 'board-id': 11}", "", kIsX86}};
  for (const char* const key : {"modelID", "serialNumber"}) {
    cases.insert(cases.end(),
                 {{key, chosen, "", "C"},
                  {key, chosen + platform, "", "C"},
                  {key, "'chosen': {}" + platform, "", "P"},
                  {key, "'chosen': {'model': 7, 'HwPlatformSerialNumber': 7}" + platform, "", "P"},
                  {key, "'rom': {}" + platform, "", "P"}});
  }
  for (const auto& [key, registry, identity, expected] : cases) {
    EXPECT_EQ(gathered(registry, identity)->profile().at(key), expected)
        << key << ", " << registry << ", " << identity;
  }
}

// The rows of the table in docs/linux.md that begin with this heading: first and second cell.
std::vector<std::pair<std::string, std::string>> documentedSources() {
  std::ifstream page(LINUX_PAGE);
  std::vector<std::pair<std::string, std::string>> rows;
  std::string line;
  while (std::getline(page, line) && !line.starts_with("| value | sources")) continue;
  std::getline(page, line);
  while (std::getline(page, line) && line.starts_with("| ")) {
    const std::size_t key = line.find(" | ");
    const std::size_t sources = line.find(" | ", key + 3);
    rows.emplace_back(line.substr(2, key - 2), line.substr(key + 3, sources - key - 3));
  }
  return rows;
}

TEST(BVSystemInfo, SourcesAreThoseThatTheDocumentationLists) {
  const Dictionary profile = BVSystemInfo().profile();
  std::vector<std::pair<std::string, std::string>> rows;
  for (const ProfileValue& value : profileValues()) {
    std::string sources;
    for (const ProfileSource& source : value.sources) {
      sources += (sources.empty() ? "" : ", ") + std::string(nameOf(source.service));
      if (!source.name.empty()) sources += " " + std::string(source.name);
    }
    if (profile.contains(value.key)) rows.emplace_back(value.key, sources);
  }
  EXPECT_EQ(rows.size(), profile.size());
  EXPECT_EQ(rows, documentedSources());
}

// The names of the files in these folders that the gathering of a profile opens, each as often as
// it is opened.
std::vector<std::string> filesOpened(const testing::LinuxMachine& machine,
                                     const std::vector<std::string>& folders) {
  const int events = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  for (const std::string& folder : folders) {
    EXPECT_NE(inotify_add_watch(events, (machine / folder).c_str(), IN_OPEN | IN_CLOSE),
              -1);  // opens in a row would be merged
  }
  const host::ScopedPlatform installed(machine.platform());
  const BVSystemInfo info;
  std::vector<char> buffer(1 << 16);
  const ssize_t length = read(events, buffer.data(), buffer.size());
  close(events);
  std::vector<std::string> names;
  for (ssize_t at = 0; at < length;) {
    inotify_event event{};
    std::memcpy(&event, &buffer[static_cast<std::size_t>(at)], sizeof event);
    at += static_cast<ssize_t>(sizeof event);
    if ((event.mask & IN_OPEN) != 0) names.emplace_back(&buffer[static_cast<std::size_t>(at)]);
    at += event.len;
  }
  return names;
}

TEST(BVSystemInfo, OneGatheringOpensEachFileOnce) {
  using ::testing::UnorderedElementsAre;
  const testing::LinuxMachine pc;
  for (const char* const name :
       {"product_serial", "product_uuid", "product_name", "board_name", "bios_version"})
    pc.write(std::string("smbios/") + name, "A\n");
  const std::string secureBoot = "SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c";
  const std::string setupMode = "SetupMode-8be4df61-93ca-11d2-aa0d-00e098032b8c";
  for (const std::string& name : {secureBoot, setupMode})
    pc.write("variables/" + name, std::string("\6\0\0\0\1", 5));
  pc.write("soc/serial_number", "0x17\n");
  pc.write("os-release", "VERSION_ID=12\nBUILD_ID=1\n");
  pc.write("machine.json", R"({"registry": {"chosen": {"model": "A"}, "platform": {}}})");
  EXPECT_THAT(
      filesOpened(pc, {"", "smbios", "soc", "variables"}),
      UnorderedElementsAre("product_serial", "product_uuid", "board_name", "bios_version",
                           secureBoot, setupMode, "serial_number", "os-release", "machine.json"));

  const testing::LinuxMachine board;
  for (const char* const name :
       {"chosen/chip-id", "chosen/board-id", "board-id", "serial-number", "model", "bridge-model"})
    board.write(std::string("tree/") + name, "A");
  EXPECT_THAT(filesOpened(board, {"tree", "tree/chosen"}),
              UnorderedElementsAre("chip-id", "board-id", "board-id", "serial-number", "model",
                                   "bridge-model"));
}

TEST(BVSystemInfo, CompanionBoardIsLookedUpByTheNumberThatTheHostBoardEndsWith) {
  const std::optional<std::uint8_t> companion = companionChipBoard(0xAB8D777C03381CE4);
  ASSERT_TRUE(companion && *companion < 64 && *companion != 0x0B &&
              !companionChipBoard(0xAB8D777C03381CE5));
  const std::string chosen = "'chosen': {'chip-id': {'hex': '34 12'}, 'board-id': {'hex': '0B'}}, ";
  const auto check = [&](const std::string& board, bool isKnown) {
    SCOPED_TRACE(board);
    const std::string platform =
        "'platform': {'bridge-model': 'Q9AP', 'board-id': '" + board + "'}";
    const auto info = gathered(chosen + platform);
    EXPECT_EQ(info->boardID(), kIsX86 && isKnown ? companion : 0x0B);
    EXPECT_EQ(info->chipID(), kIsX86 ? kCompanionChipID : 0x1234);
    EXPECT_EQ(gathered(platform)->boardID(), kIsX86 && isKnown ? companion : std::nullopt);
  };
  for (const char* const known :
       {"BVB-AB8D777C03381CE4", "BVB-ab8d777c03381ce4", "BVB-0xAB8D777c03381CE4",
        "BVB- 00AB8D777C03381CE4", "xxxxAB8D777C03381CE4g5", "\u00E4\u00E4AB8D777C03381CE4",
        "BVB-AB8D777C03381CE4\\u0000FF"}) {
    check(known, true);
  }
  for (const char* const unknown : {"BVB-AB8D777C03381CE5", "BVB-AB8D777C03381CE4AB8D777C03381CE4",
                                    "AB8D777C03381CE4", "BVB-none", "BVB-", "BVB", ""}) {
    check(unknown, false);
  }
  for (const char* const half :
       {"'board-id': 'BVB-AB8D777C03381CE4', 'target-type': 't'", "'bridge-model': 'Q9AP'"}) {
    const auto info = gathered(chosen + "'platform': {" + half + "}");
    EXPECT_EQ(info->boardID(), 0x0B);
    EXPECT_EQ(info->chipID(), 0x1234);
  }
}

// What a decoder makes of one property, described in JSON.
template <typename Result>
Result decoded(const std::string& property,
               Result (BVSystemInfo::*decode)(host::NodeHandle, Text) const noexcept) {
  Result result;
  onMachine(described("'root': {'p': " + property + "}"), [&] {
    const host::Registry& registry = host::platform()->registry();
    const BVSystemInfo info;
    const host::NodeHandle node = registry.root();
    result = (info.*decode)(node, "p");
    EXPECT_EQ((info.*decode)(node, "missing"), std::nullopt);
    EXPECT_EQ((info.*decode)(0, "p"), std::nullopt);
    registry.release(node);
    EXPECT_EQ((info.*decode)(node, "p"), std::nullopt);
  });
  return result;
}

std::string hex(const std::string& bytes) { return "{'hex': '" + bytes + "'}"; }

TEST(BVSystemInfo, TextIsDecodedFromBytesAndATextGivenAsItIs) {
  using namespace std::string_literals;
  const auto text = [](const std::string& property) {
    return decoded(property, &BVSystemInfo::stringFromHwRegEntry);
  };
  for (const std::string& each :
       {"61 62 63 00 00=abc"s, "61 62 63 00 64 65 66 00=abc\0def"s, "0A 00 00 00=\n"s,
        "C3 A4 00=\u00E4"s, "EF BB BF 41=\uFEFFA"s, "41 42 00 FF=AB"s, "41 00 42 FF=A"s,
        "41 FF=41ff"s, "C3 A4 00 FF=c3a400ff"s, "ED A0 80=eda080"s, "FF=ff"s, "01 02 FF=0102ff"s,
        "09 41=0941"s, "00=00"s}) {
    EXPECT_EQ(text(hex(each.substr(0, each.find('=')))), each.substr(each.find('=') + 1));
  }
  EXPECT_EQ(text("'\\u0001abc\\u0000'"), "\u0001abc\0"s);
  EXPECT_EQ(text("''"), "");
  for (const std::string& none : {hex(""), "97"s, "true"s})
    EXPECT_EQ(text(none), std::nullopt) << none;
}

TEST(BVSystemInfo, NumbersAreDecodedFromBytesAloneTheLowestFirst) {
  using Numbers = std::tuple<std::optional<std::uint64_t>, std::optional<std::uint16_t>,
                             std::optional<std::uint8_t>>;
  const auto numbers = [](const std::string& property) {
    return Numbers(decoded(property, &BVSystemInfo::numFromHwRegEntryData8Byte),
                   decoded(property, &BVSystemInfo::numFromHwRegEntryDataFlipWord),
                   decoded(property, &BVSystemInfo::numFromHwRegEntryDataByte));
  };
  EXPECT_EQ(numbers(hex("34 12")), Numbers(0x1234, 0x1234, 0x34));
  EXPECT_EQ(numbers(hex("34 12 56")), Numbers(0x561234, 0x1234, 0x34));
  EXPECT_EQ(numbers(hex("FE")), Numbers(0xFE, std::nullopt, 0xFE));
  EXPECT_EQ(numbers(hex("")), Numbers(0, std::nullopt, std::nullopt));
  EXPECT_EQ(numbers(hex("08 07 06 05 04 03 02 81")), Numbers(0x8102030405060708, 0x0708, 8));
  EXPECT_EQ(numbers(hex("08 07 06 05 04 03 02 01 FF")), Numbers(0x0102030405060708, 0x0708, 8));
  for (const char* const none : {"4660", "'34'", "true"})
    EXPECT_EQ(numbers(none), Numbers()) << none;
}

TEST_F(BVSystemInfoTest, SeedBuildHasALetterThirdAndLastAndAFiveBetween) {
  const auto isSeed = [this](Text build) {
    info.setOsBuildVersionStr(build);
    info.setIsSeed();
    return info.isSeedBuild();
  };
  for (const char* const seed : {"12B5003a", "12b5z", "12Z5A", "12a5Z", "\U0001F600B5a"}) {
    EXPECT_TRUE(isSeed(seed)) << seed;
  }
  for (const char* const other :
       {"12B3003a", "12B50036", "1B5003a", "", "a", "12B", "12B5", "12@5a", "12[5a", "12`5a",
        "12{5a", "12B5a ", "12B5[", "12\u20AC5a", "1\U0001F6005a", "12\xFF\x35\x61"}) {
    EXPECT_FALSE(isSeed(other)) << other;
  }
  EXPECT_FALSE(isSeed(nullptr));
  for (const auto& [locale, isLetter] : {std::pair("C", false), {"C.UTF-8", true}}) {
    if (std::setlocale(LC_CTYPE, locale) == nullptr) continue;  // not every machine has each
    EXPECT_EQ(isSeed("12\u00E45a"), isLetter) << locale;
    EXPECT_EQ(isSeed("12B5\u042F"), isLetter) << locale;
    EXPECT_FALSE(isSeed("12\u00D75a")) << locale;
  }
  std::setlocale(LC_CTYPE, "C");
}

class CountingIdentity final : public host::IdentityService {
 public:
  std::optional<Object> answer(std::string_view key) const override {
    if (key != kSigningFuse) return std::nullopt;
    ++gatherings;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // all threads are there by then
    return true;
  }
  Result<std::string> origin(std::string_view /*key*/) const override { return std::string(); }
  mutable std::atomic<int> gatherings{0};
};

TEST(BVSystemInfo, SharedIsOneForAllThreadsAndGatheredOnce) {
  testing::inProcessOfItsOwn([] {
    constexpr int kThreads = 8;
    const auto identity = std::make_shared<CountingIdentity>();
    const auto platform = std::make_shared<host::Platform>();
    platform->setIdentityService(identity);
    const host::ScopedPlatform installed(platform);
    std::latch start(kThreads);
    std::vector<std::future<BVSystemInfo*>> all;
    for (int thread = 0; thread < kThreads; ++thread) {
      all.push_back(std::async(std::launch::async, [&start] {
        start.arrive_and_wait();
        EXPECT_TRUE(BVSystemInfo::shared().isProductionFused());
        return &BVSystemInfo::shared();
      }));
    }
    for (auto& each : all) EXPECT_EQ(each.get(), &BVSystemInfo::shared());
    EXPECT_EQ(identity->gatherings, 1);
    const BVSystemInfo another;
    EXPECT_NE(&BVSystemInfo::shared(), &another);
    EXPECT_EQ(identity->gatherings, 2);
  });
}

#ifndef NDEBUG
// Comes back to what asks it.
class ReturningIdentity final : public host::IdentityService {
 public:
  explicit ReturningIdentity(std::function<void()> act) : act_(std::move(act)) {}
  std::optional<Object> answer(std::string_view /*key*/) const override {
    act_();
    return std::nullopt;
  }

 private:
  const std::function<void()> act_;
};

TEST(BVSystemInfoDeathTest, ServiceThatComesBackToTheFirstGatheringStopsADebugBuild) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::function<void()> acts[] = {
      [] { static_cast<void>(BVNvram::dataFromVariable("x", true, false, nullptr)); },
      [] {
        if (::fork() == 0) ::_exit(0);
      }};
  for (const auto& act : acts) {
    const auto platform = std::make_shared<host::Platform>();
    platform->setIdentityService(std::make_shared<ReturningIdentity>(act));
    const host::ScopedPlatform installed(platform);
    EXPECT_DEATH(static_cast<void>(BVSystemInfo::shared()), "service comes back");
  }
}
#endif

TEST_F(BVSystemInfoTest, OsVersionIsReadAndSetWhole) {
  const std::jthread writer([this](const std::stop_token& stop) {
    for (std::int64_t i = 0; !stop.stop_requested(); ++i) info.setOsVersion({i, i, i});
  });
  OsVersion last;
  for (int changes = 0; changes < 300;) {
    const OsVersion version = info.osVersion();
    ASSERT_TRUE(version.majorVersion == version.minorVersion &&
                version.minorVersion == version.patchVersion);
    changes += version != last;
    last = version;
  }
}

TEST(BVSystemInfo, FolderIsFoundOrMadeAndNothingElseIsTouched) {
  namespace fs = std::filesystem;
  const testing::TemporaryFolder folder;
  testing::writeFile(folder / "file", "content");
  fs::create_directory_symlink(folder.path(), folder / "link");
  fs::create_symlink("nowhere", folder / "dangling");
  for (const bool create : {false, true}) {
    for (const std::string& there : {folder.path(), folder / "link", folder / "link/.."}) {
      EXPECT_TRUE(BVSystemInfo::folderExists(there, create)) << there;
    }
    for (const std::string& other :
         {folder / "file", folder / "file/below", folder / "link/file", folder / "dangling",
          folder / std::string("cut\0off", 7), std::string()}) {
      EXPECT_FALSE(BVSystemInfo::folderExists(other, create)) << other;
    }
    EXPECT_FALSE(BVSystemInfo::folderExists(nullptr, create));
    EXPECT_EQ(BVSystemInfo::folderExists(folder / "one/two/three", create), create);
    EXPECT_EQ(BVSystemInfo::folderExists(folder / "link/four/", create), create);
    EXPECT_EQ(fs::is_directory(folder / "one/two/three") && fs::is_directory(folder / "four"),
              create);
    EXPECT_EQ(fs::exists(folder / "one") || fs::exists(folder / "four"), create);
  }
  EXPECT_EQ(testing::contentOf(folder / "file"), "content");
  EXPECT_TRUE(fs::is_symlink(folder / "dangling"));
  EXPECT_FALSE(fs::exists(folder / "nowhere") || fs::exists(folder / "cut"));
}

}  // namespace
}  // namespace brisvane
