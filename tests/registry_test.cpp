#include "brisvane/host/machine/registry.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "brisvane/host/machine/described_node.h"
#include "tests/support/error_number.h"
#include "tests/support/linux_machine.h"

namespace brisvane::host {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

Object bytes(std::string_view text) { return Data(text.begin(), text.end()); }

// The registry of a machine in a folder.
class LinuxRegistry : public ::testing::Test {
 protected:
  [[nodiscard]] const Registry& registry() const { return platform->registry(); }
  [[nodiscard]] OpenNode chosen() const {
    return {registry(), registry().nodeAtPath(Registry::kChosenPath)};
  }
  [[nodiscard]] OpenNode hardware() const {
    return {registry(), registry().firstNodeOfClass(Registry::kPlatformClass)};
  }
  [[nodiscard]] OpenNode rom() const {
    return {registry(), registry().nodeAtPath(Registry::kRomPath)};
  }
  [[nodiscard]] OpenNode root() const { return {registry(), registry().root()}; }

  [[nodiscard]] std::optional<Object> get(const OpenNode& node, std::string_view name) const {
    return registry().property(node.handle(), name);
  }
  [[nodiscard]] std::vector<std::string> names(const OpenNode& node) const {
    return registry().propertyNames(node.handle());
  }
  // As "the file: the error's number".
  [[nodiscard]] std::string origin(const OpenNode& node, std::string_view name) const {
    const auto origin = registry().origin(node.handle(), name);
    const std::string place(origin.ok() ? origin.value() : origin.error().what());
    const std::string folder = machine / "";
    return place.substr(place.starts_with(folder) ? folder.size() : 0) + ": " +
           std::to_string(testing::errorNumber(origin));
  }

  testing::LinuxMachine machine;
  std::shared_ptr<const Platform> platform = machine.platform();
};

TEST_F(LinuxRegistry, OfAPcHasTheStringsOfItsFirmwareAsTexts) {
  machine.write("smbios/product_serial", "S 1 \n");
  machine.write("smbios/product_name", "\n");
  machine.write("smbios/board_name", "a\xFF\n");
  machine.write("smbios/bios_version", "1.2\n\n");
  std::filesystem::create_directory(machine / "smbios/product_uuid");  // cannot be read
  machine.write("smbios/sys_vendor", "none of ours\n");
  machine.write("tree/model", "hidden by the firmware's");
  EXPECT_EQ(get(hardware(), "HwPlatformSerialNumber"), Object("S 1 "));
  EXPECT_EQ(get(hardware(), "board-id"), bytes("a\xFF"));
  EXPECT_EQ(get(rom(), "version"), Object("1.2\n"));
  for (const char* const absent :
       {"model", "HwPlatformUUID", "sys_vendor", "product_serial", "", "../tree/model"}) {
    EXPECT_EQ(get(hardware(), absent), std::nullopt) << absent;
  }
  EXPECT_THAT(names(hardware()), ElementsAre("HwPlatformSerialNumber", "board-id"));
  EXPECT_EQ(origin(hardware(), "HwPlatformSerialNumber"), "smbios/product_serial: 0");
  EXPECT_EQ(origin(hardware(), "model"), "smbios/product_name: " + std::to_string(ENODATA));
  EXPECT_EQ(origin(hardware(), "HwPlatformUUID"), "smbios/product_uuid: " + std::to_string(EISDIR));
  EXPECT_TRUE(root());
  EXPECT_TRUE(chosen());
  EXPECT_THAT(names(chosen()), IsEmpty());
  EXPECT_EQ(testing::errorNumber(registry().setProperty(hardware().handle(), "model", "x")),
            ENOTSUP);
}

TEST_F(LinuxRegistry, OfADeviceTreeHasItsPropertiesAsBytes) {
  machine.write("tree/model", std::string("Board 1\0", 8));
  machine.write("tree/serial-number", std::string("S1\0", 3));
  machine.write("tree/chosen/chip-id", "\x34\x12");
  machine.write("tree/chosen/empty", "");
  machine.write("tree/chosen/node/name", "node");
  machine.write("tree/chosen/huge", std::string((std::size_t{1} << 20U) + 1, 'x'));
  EXPECT_EQ(get(hardware(), "HwPlatformSerialNumber"), bytes(std::string_view("S1\0", 3)));
  EXPECT_EQ(get(hardware(), "model"), bytes(std::string_view("Board 1\0", 8)));
  EXPECT_EQ(get(chosen(), "chip-id"), bytes("\x34\x12"));
  EXPECT_EQ(get(chosen(), "empty"), bytes(""));
  for (const auto& absent :
       {std::string("node"), std::string("node/name"), std::string("../model"), std::string(".."),
        std::string("."), std::string(), std::string("huge"), std::string("chip-id\0", 8)}) {
    EXPECT_EQ(get(chosen(), absent), std::nullopt) << absent;
  }
  EXPECT_EQ(origin(chosen(), "huge"), "tree/chosen/huge: " + std::to_string(EFBIG));
  EXPECT_THAT(names(hardware()), ElementsAre("HwPlatformSerialNumber", "model", "serial-number"));
  EXPECT_FALSE(rom());
}

TEST_F(LinuxRegistry, TakesWhatTheAdministratorSaysOverAllElse) {
  EXPECT_FALSE(hardware());
  machine.write("smbios/product_name", "Model 1\n");
  machine.write("smbios/board_name", "Board\n");
  machine.write("machine.json", R"({"registry": {"root": {"RookeryBuildVersion": "7 DEVELOPMENT"},
      "chosen": {"chip-id": {"hex": "3412"}, "count": 4}, "platform": {"model": "Model 2", "bridge-model": "Q9AP"}}})");
  EXPECT_EQ(get(root(), "RookeryBuildVersion"), Object("7 DEVELOPMENT"));
  EXPECT_EQ(get(chosen(), "chip-id"), bytes("\x34\x12"));
  EXPECT_EQ(get(chosen(), "count"), Object(4));
  EXPECT_EQ(get(hardware(), "model"), Object("Model 2"));
  EXPECT_THAT(names(hardware()), ElementsAre("board-id", "bridge-model", "model"));
  EXPECT_EQ(origin(hardware(), "model"), "machine.json: 0");
  EXPECT_EQ(origin(hardware(), "board-id"), "smbios/board_name: 0");
  EXPECT_EQ(origin(hardware(), "target-type"), "machine.json: " + std::to_string(ENODATA));

  std::filesystem::remove_all(machine / "smbios");
  machine.write("machine.json", R"({"registry": {"rom": {"version": "2"}, "platform": {}}})");
  EXPECT_EQ(get(rom(), "version"), Object("2"));
  EXPECT_TRUE(hardware());
  // A file that is wrong anywhere counts for nothing. The variables are never its matter.
  for (const char* const wrong : {R"({"registry": {"rom": {"version": "2"}}, "identty": {}})", "{",
                                  R"({"registry": {"rom": {"version": "2"}}, "firmware": {}})"}) {
    machine.write("machine.json", wrong);
    EXPECT_FALSE(rom()) << wrong;
  }
}

TEST(NodeRegistry, KnowsAHandleUntilItIsReleasedAndNoOtherRegistrys) {
  const auto node = std::make_shared<const DescribedNode>(Dictionary{{"key", "value"}}, "here");
  const auto missing = std::make_shared<const DescribedNode>(std::nullopt, "here");
  const NodeRegistry registry(
      {.root = node, .chosen = node, .platform = missing, .rom = nullptr, .options = nullptr});
  const NodeRegistry other(
      {.root = node, .chosen = node, .platform = node, .rom = node, .options = node});
  EXPECT_EQ(registry.firstNodeOfClass(Registry::kPlatformClass), 0U);
  EXPECT_EQ(registry.nodeAtPath(Registry::kRomPath), 0U);
  EXPECT_EQ(registry.nodeAtPath("HwDeviceTree:/"), 0U);
  EXPECT_EQ(registry.firstNodeOfClass("HwPlatform"), 0U);
  const NodeHandle first = registry.root();
  const NodeHandle second = registry.root();
  EXPECT_NE(first, second);
  EXPECT_EQ(registry.openHandles(), 2U);
  registry.release(first);
  registry.release(first);
  const NodeHandle strange = other.root();
  for (const NodeHandle stale : {NodeHandle{0}, first, strange}) {
    EXPECT_EQ(registry.property(stale, "key"), std::nullopt);
    EXPECT_THAT(registry.propertyNames(stale), IsEmpty());
    EXPECT_EQ(testing::errorNumber(registry.setProperty(stale, "key", "x")), ENOENT);
    EXPECT_EQ(testing::errorNumber(registry.origin(stale, "key")), ENOENT);
    registry.release(stale);
  }
  EXPECT_EQ(registry.property(second, "key"), Object("value"));
  EXPECT_FALSE(registry.property(second, "key")->same(*registry.property(second, "key")));
  EXPECT_EQ(registry.openHandles(), 1U);
  EXPECT_EQ(other.openHandles(), 1U);
}

}  // namespace
}  // namespace brisvane::host
