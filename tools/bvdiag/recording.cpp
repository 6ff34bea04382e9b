#include "recording.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <brisvane/all.h>
#include <brisvane/host/machine/identity_service.h>
#include <brisvane/host/machine/machine_description.h>
#include <brisvane/host/machine/system_version.h>
#include <brisvane/host/network/network_interfaces.h>
#include <brisvane/host/platform.h>
#include <brisvane/platform/profile_sources.h>

#include "mask.h"
#include "registry_command.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::host::IdentityService;

using Nodes = std::vector<std::pair<std::string, bv::Dictionary>>;

Nodes registryNodes() {
  const auto platform = bv::host::platform();
  Nodes nodes;
  for (const KnownNode& known : kKnownNodes) {
    if (known.name == kOptionsNode) continue;
    const bv::host::OpenNode node(platform->registry(), known.open(platform->registry()));
    if (node) nodes.emplace_back(known.name, propertiesOf(platform->registry(), node.handle()));
  }
  return nodes;
}

// Whether the profile reads this property of the node.
bool isOfProfile(std::string_view node, std::string_view property) {
  const auto values = bv::profileValues();
  return std::any_of(values.begin(), values.end(), [&](const bv::ProfileValue& value) {
    return std::any_of(value.sources.begin(), value.sources.end(),
                       [&](const bv::ProfileSource& source) {
                         return nameOf(source.service) == node && source.name == property;
                       });
  });
}

bv::Dictionary identityAnswers() {
  const auto platform = bv::host::platform();
  bv::Dictionary answers;
  for (const auto key : {IdentityService::kSigningFuse, IdentityService::kFirmwareVersion,
                         IdentityService::kUniqueChipID, IdentityService::kUniqueDeviceID}) {
    if (auto answer = platform->identityService().answer(key))
      answers.emplace(key, std::move(*answer));
  }
  return answers;
}

std::optional<bv::Dictionary> systemVersion() {
  const auto platform = bv::host::platform();
  auto version = platform->systemVersion().entries();
  const auto running = platform->systemVersion().running();
  if (!running) return version;
  if (!version) version.emplace();
  version->emplace("running", std::to_string(running->majorVersion) + "." +
                                  std::to_string(running->minorVersion) + "." +
                                  std::to_string(running->patchVersion));
  return version;
}

// nullopt when the machine has no variable store.
std::optional<bv::Dictionary> firmware(bool withValues) {
  const auto platform = bv::host::platform();
  const auto& registry = platform->registry();
  const bv::host::OpenNode store(registry, registry.nodeAtPath(bv::host::Registry::kOptionsPath));
  if (!store) return std::nullopt;
  constexpr std::size_t kRoom = std::size_t{64}
                                << 10U;  // for what is written to the replayed store
  std::size_t capacity = kRoom;
  bv::Dictionary variables;
  if (withValues) {
    for (const auto& [name, value] : propertiesOf(registry, store.handle())) {
      if (value.ifData() == nullptr || value.ifData()->empty()) continue;
      capacity += value.ifData()->size();
      variables.emplace(name, bv::host::describeValue(value));
    }
  }
  return bv::Dictionary{{"variables", std::move(variables)}, {"capacity", capacity}};
}

// Hides in two rounds: what is hidden under one name must not show under another.
void hideIn(Mask& mask, const std::vector<bv::Dictionary*>& parts) {
  std::vector<bv::Object*> others;
  for (bv::Dictionary* const part : parts) {
    for (auto& [name, value] : *part) {
      if (mask.hides(name)) {
        value = mask.hide(value);
      } else {
        others.push_back(&value);
      }
    }
  }
  for (bv::Object* const value : others) *value = mask.clean(*value);
}

// The entry of an interface; its addresses are of all entries of its name in the list.
bv::Dictionary describedInterface(const bv::host::NetworkInterface& interface,
                                  const std::vector<bv::host::InterfaceAddress>& entries,
                                  Mask& mask) {
  bv::Dictionary description{{"type", interface.type}};
  if (const auto& mac = interface.hardwareAddress)
    description.emplace("mac", mask.hideHardwareAddress(*mac));
  if (!interface.name) return description;
  description.emplace("name", mask.cleanText(*interface.name));  // many have the address in it
  bv::Array addresses;
  for (const bv::host::InterfaceAddress& entry : entries) {
    if (entry.name != *interface.name) continue;
    description.insert_or_assign("up", entry.isUp);
    description.insert_or_assign("loopback", entry.isLoopback);
    if (entry.ipv4) addresses.emplace_back(bv::host::dottedText(*entry.ipv4));
  }
  description.emplace("addresses", std::move(addresses));
  return description;
}

void addInterfaces(bv::Dictionary& machine, Mask& mask) {
  const auto platform = bv::host::platform();
  const auto interfaces = platform->networkInterfaces().interfaces();
  auto addresses = platform->networkInterfaces().addresses();
  if (!interfaces.ok() || !addresses.ok()) {
    machine.emplace("interfaceFailure", interfaces.ok() ? "addresses" : "enumeration");
  }
  if (!interfaces.ok()) return;
  auto entries =
      std::move(addresses).optional().value_or(std::vector<bv::host::InterfaceAddress>());
  bv::Array descriptions;
  for (const auto& interface : interfaces.value()) {
    descriptions.emplace_back(describedInterface(interface, entries, mask));
    // A further interface of this name, which takes its place, has no addresses to add.
    std::erase_if(entries,
                  [&interface](const auto& entry) { return interface.name == entry.name; });
  }
  machine.emplace("interfaces", std::move(descriptions));
}

}  // namespace

bv::Dictionary recordMachine(const RecordingOptions& options) {
  Mask mask(options.unmasked);
  bv::Dictionary machine;
  addInterfaces(machine, mask);
  Nodes nodes = registryNodes();
  bv::Dictionary identity = identityAnswers();
  std::vector<bv::Dictionary*> parts{&identity};
  for (auto& [name, values] : nodes) parts.push_back(&values);
  hideIn(mask, parts);

  bv::Dictionary registry;
  for (auto& [name, values] : nodes) {
    // Not before the masking: a serial number among the others is masked in these, too.
    if (!options.everything) {
      std::erase_if(values, [&node = name](const auto& property) {
        return !isOfProfile(node, property.first);
      });
    }
    registry.emplace(name, described(values));
  }
  machine.emplace("registry", std::move(registry));
  machine.emplace("identity", described(identity));
  if (auto version = systemVersion()) machine.emplace("systemVersion", std::move(*version));
  if (auto store = firmware(options.variables)) machine.emplace("firmware", std::move(*store));
  return machine;
}

}  // namespace bvdiag
