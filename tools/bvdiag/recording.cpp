#include "recording.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <brisvane/all.h>
#include <brisvane/host/identity_service.h>
#include <brisvane/host/machine_description.h>
#include <brisvane/host/network_interfaces.h>
#include <brisvane/host/platform.h>
#include <brisvane/host/system_version.h>
#include <brisvane/types/hex.h>

#include "registry.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using bv::host::IdentityService;

char masked(char character) {
  if (character >= '0' && character <= '9') return '0';
  const bool isLetter = (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
  return isLetter ? 'X' : character;
}

std::string lowerCase(std::string text) {
  for (char& character : text) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
  }
  return text;
}

// Hides what tells one machine from its siblings.
class Mask {
 public:
  explicit Mask(bool isOff) : isOff_(isOff) {}

  // Whether what has this name is to be hidden.
  [[nodiscard]] bool hides(const std::string& name) const {
    if (isOff_) return false;
    const std::string lower = lowerCase(name);
    for (const std::string_view word : {"serial", "uuid", "seed", "mac-address", "deviceid", "chipid"}) {
      if (lower.find(word) != std::string::npos) return true;
    }
    return false;
  }

  // A value that is to be hidden, and from now on its text wherever it occurs.
  bv::Object hide(const bv::Object& value) {
    if (const std::string* const text = value.ifText()) {
      learn(*text);
      return maskedText(*text);
    }
    if (const bv::Data* const bytes = value.ifData()) {
      const std::string text(bytes->begin(), bytes->end());
      if (!isPrintable(text)) return bv::Data(bytes->size(), 0);
      learn(text.substr(0, text.find('\0')));
      const std::string hidden = maskedText(text);
      return bv::Data(hidden.begin(), hidden.end());
    }
    return bv::Object(0);
  }

  // A value of a name that gives nothing away, with the hidden texts in it hidden.
  [[nodiscard]] bv::Object clean(const bv::Object& value) const {
    if (const std::string* const text = value.ifText()) return cleanText(*text);
    if (const bv::Data* const bytes = value.ifData()) {
      const std::string text = cleanText({bytes->begin(), bytes->end()});
      return bv::Data(text.begin(), text.end());
    }
    return value;
  }

 private:
  static std::string maskedText(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), masked);
    return text;
  }

  static bool isPrintable(const std::string& text) {
    return bv::isAscii(text) && std::none_of(text.begin(), text.end(), [](char character) {
             return character != '\0' && bv::isControl(static_cast<unsigned char>(character));
           });
  }

  // Too short a text would be found anywhere.
  void learn(const std::string& text) {
    constexpr std::size_t kShortest = 4;
    if (text.size() >= kShortest) hidden_.push_back(text);
  }

  [[nodiscard]] std::string cleanText(std::string text) const {
    for (const std::string& hidden : hidden_) {
      for (std::size_t at = text.find(hidden); at != std::string::npos; at = text.find(hidden, at + hidden.size())) {
        text.replace(at, hidden.size(), maskedText(hidden));
      }
    }
    return text;
  }

  bool isOff_;
  std::vector<std::string> hidden_;
};

bv::Dictionary valuesOf(const bv::host::Registry& registry, bv::host::NodeHandle node) {
  bv::Dictionary values;
  for (const std::string& name : registry.propertyNames(node)) {
    if (auto value = registry.property(node, name)) values.emplace(name, std::move(*value));
  }
  return values;
}

using Nodes = std::vector<std::pair<std::string, bv::Dictionary>>;

Nodes registryNodes() {
  const auto platform = bv::host::platform();
  Nodes nodes;
  for (const KnownNode& known : kKnownNodes) {
    if (known.name == kOptionsNode) continue;
    const bv::host::OpenNode node(platform->registry(), known.open(platform->registry()));
    if (node) nodes.emplace_back(known.name, valuesOf(platform->registry(), node.handle()));
  }
  return nodes;
}

bv::Dictionary identityAnswers() {
  const auto platform = bv::host::platform();
  bv::Dictionary answers;
  for (const auto key : {IdentityService::kSigningFuse, IdentityService::kFirmwareVersion,
                         IdentityService::kUniqueChipID, IdentityService::kUniqueDeviceID}) {
    if (auto answer = platform->identityService().answer(key)) answers.emplace(key, std::move(*answer));
  }
  return answers;
}

std::optional<bv::Dictionary> systemVersion() {
  const auto platform = bv::host::platform();
  auto version = platform->systemVersion().entries();
  const auto running = platform->systemVersion().running();
  if (!running) return version;
  if (!version) version.emplace();
  version->emplace("running", std::to_string(running->majorVersion) + "." + std::to_string(running->minorVersion) +
                                  "." + std::to_string(running->patchVersion));
  return version;
}

// nullopt when the machine has no variable store.
std::optional<bv::Dictionary> firmware(bool withValues) {
  const auto platform = bv::host::platform();
  const auto& registry = platform->registry();
  const bv::host::OpenNode store(registry, registry.nodeAtPath(bv::host::Registry::kOptionsPath));
  if (!store) return std::nullopt;
  bv::Dictionary variables;
  if (withValues) {
    for (const auto& [name, value] : valuesOf(registry, store.handle())) {
      if (value.ifData() != nullptr && !value.ifData()->empty())
        variables.emplace(name, bv::host::describeValue(value));
    }
  }
  return bv::Dictionary{{"variables", std::move(variables)}};
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

bv::Dictionary described(bv::Dictionary values) {
  for (auto& [name, value] : values) value = bv::host::describeValue(value);
  return values;
}

// What tells an adapter from its siblings, the digits after the maker's three octets, as 0.
std::string maskedHardwareAddress(std::string address) {
  constexpr int kMakersDigits = 6;
  int digits = 0;
  for (char& character : address) {
    if (bv::hexValue(character) && ++digits > kMakersDigits) character = '0';
  }
  return address;
}

// The entry of an interface; its addresses are of all entries of its name in the list.
bv::Dictionary describedInterface(const bv::host::NetworkInterface& interface,
                                  const std::vector<bv::host::InterfaceAddress>& entries, bool unmasked) {
  bv::Dictionary description{{"type", interface.type}};
  if (const auto& mac = interface.hardwareAddress) {
    description.emplace("mac", unmasked ? *mac : maskedHardwareAddress(*mac));
  }
  if (!interface.name) return description;
  description.emplace("name", *interface.name);
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

void addInterfaces(bv::Dictionary& machine, bool unmasked) {
  const auto platform = bv::host::platform();
  const auto interfaces = platform->networkInterfaces().interfaces();
  auto entries = platform->networkInterfaces().addresses();
  if (!interfaces || !entries) machine.emplace("interfaceFailure", interfaces ? "addresses" : "enumeration");
  if (!interfaces) return;
  if (!entries) entries.emplace();
  bv::Array descriptions;
  for (const auto& interface : *interfaces) {
    descriptions.emplace_back(describedInterface(interface, *entries, unmasked));
    // A further interface of this name, which takes its place, has no addresses to add.
    std::erase_if(*entries, [&interface](const auto& entry) { return interface.name == entry.name; });
  }
  machine.emplace("interfaces", std::move(descriptions));
}

}  // namespace

bv::Dictionary recordMachine(const RecordingOptions& options) {
  Nodes nodes = registryNodes();
  bv::Dictionary identity = identityAnswers();
  Mask mask(options.unmasked);
  std::vector<bv::Dictionary*> parts{&identity};
  for (auto& [name, values] : nodes) parts.push_back(&values);
  hideIn(mask, parts);

  bv::Dictionary registry;
  for (auto& [name, values] : nodes) registry.emplace(name, described(std::move(values)));
  bv::Dictionary machine{{"registry", std::move(registry)}, {"identity", described(std::move(identity))}};
  if (auto version = systemVersion()) machine.emplace("systemVersion", std::move(*version));
  if (auto store = firmware(options.variables)) machine.emplace("firmware", std::move(*store));
  addInterfaces(machine, options.unmasked);
  return machine;
}

}  // namespace bvdiag
