// The files in which the kernel and the firmware describe a machine: SMBIOS, the device tree,
// efivarfs, the system on a chip, network interfaces, os-release, and the administrator's file.
//
// Each part of the input is a file: its name in the folder of LinuxMachine, then its content.
#include <algorithm>
#include <memory>

#include "brisvane/host/formats/json.h"
#include "brisvane/host/platform.h"
#include "brisvane/platform/BVSystemInfo.h"
#include "brisvane/platform/profile_sources.h"
#include "brisvane/types/unicode.h"
#include "fuzz/support/fuzzing.h"
#include "tests/support/linux_machine.h"

namespace brisvane::fuzz {
namespace {

constexpr std::string_view kFolders[] = {"smbios/", "tree/", "tree/chosen/", "soc/", "variables/"};

// Whether the name is one of those that the machine looks at, and stays within the machine's
// folder.
bool isFileOfMachine(std::string_view name) {
  constexpr std::size_t kLongest = 200;
  if (name == "os-release" || name == "vendor-os-release" || name == "machine.json" ||
      name == "net/lo/uevent")
    return true;
  const std::size_t slash = name.rfind('/') + 1;
  const std::string_view last = name.substr(slash);
  return std::ranges::find(kFolders, name.substr(0, slash)) != std::end(kFolders) &&
         !last.empty() && last.size() < kLongest && last != "." && last != ".." &&
         last != "chosen" && last.find('\0') == std::string_view::npos;
}

// Asks for every property of a node, and for one that it need not have.
void readNode(const host::Registry& registry, ProfileService service, std::string_view other) {
  const host::OpenNode node(registry, openNode(registry, service));
  if (!node) return;
  std::vector<std::string> names = registry.propertyNames(node.handle());
  require(std::ranges::is_sorted(names), "the names of properties are sorted");
  names.emplace_back(other);
  for (const std::string& name : names) {
    const auto value = registry.property(node.handle(), name);
    require(value.has_value() == registry.origin(node.handle(), name).ok(),
            "a property has an origin when it has a value");
    if (value) static_cast<void>(value->description());
  }
}

// Writes a variable and takes it away again.
void changeVariable(const host::Registry& registry, std::string_view name, std::string_view value) {
  const host::OpenNode node(registry, registry.nodeAtPath(host::Registry::kOptionsPath));
  if (!node || !registry.setProperty(node.handle(), name, value).ok()) return;
  const auto read = registry.property(node.handle(), name);
  require(read && read->ifData() != nullptr && asCharacters(*read->ifData()) == value,
          "a variable that was written reads back");
  require(registry.setProperty(node.handle(), "HwNVRAM-DELETE-PROPERTY", name).ok(),
          "a variable that was written can be deleted");
  require(!registry.property(node.handle(), name), "a deleted variable is gone");
}

}  // namespace

void run(std::string_view input) {
  const testing::LinuxMachine files;
  std::string_view asked;
  std::string_view value;
  for (const std::string_view part : partsOf(input)) {
    const auto [name, content] = firstLineAndRest(part);
    if (isFileOfMachine(name)) {
      files.write(std::string(name), std::string(content));
    } else {
      asked = name;
      value = content;
    }
  }
  const auto platform = files.platform();
  const host::ScopedPlatform installed(platform);
  for (const ProfileService service : {ProfileService::kRootNode, ProfileService::kChosenNode,
                                       ProfileService::kPlatformNode, ProfileService::kRomNode})
    readNode(platform->registry(), service, asked);
  const BVSystemInfo machine;
  const Object profile(machine.profile());
  const auto text = host::jsonText(profile);
  require(text && host::parseJson(*text).ok(), "a profile can be written as JSON");
  static_cast<void>(platform->networkInterfaces().interfaces());
  changeVariable(platform->registry(), asked, value);
}

}  // namespace brisvane::fuzz
