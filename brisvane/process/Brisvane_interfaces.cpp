#include "brisvane/host/network/network_interfaces.h"

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "brisvane/host/platform.h"
#include "brisvane/support/Brisvane.h"
#include "brisvane/types/out_of_memory.h"

namespace brisvane {
namespace {

using host::NetworkInterface;
using host::NetworkInterfaces;

// Filled while addresses are still found, and then made the one Object that every entry of
// the interface shares.
struct Record {
  Dictionary fields;
  Object object;
};
using Records = std::unordered_map<std::string, Record, TextHash, std::equal_to<>>;

bool isListed(const NetworkInterface& interface) noexcept {
  const bool isKnown = interface.type == NetworkInterfaces::kEthernet ||
                       interface.type == NetworkInterfaces::kVlan ||
                       interface.type == NetworkInterfaces::kWireless;
  return isKnown && interface.name;
}

Records recordsOf(const std::vector<NetworkInterface>& interfaces) {
  constexpr std::size_t kFields = 4;
  Records records;
  for (const NetworkInterface& interface : interfaces) {
    if (!isListed(interface)) continue;
    Record record;
    record.fields.reserve(kFields);
    record.fields.emplace("NetworkInterfaceName", *interface.name);
    record.fields.emplace("NetworkInterfaceType", interface.type);
    if (interface.hardwareAddress) record.fields.emplace("MacAddress", *interface.hardwareAddress);
    records.insert_or_assign(*interface.name, std::move(record));
  }
  return records;
}

void setAddress(Dictionary& fields, const host::Ipv4Address& address) {
  const std::string text = host::dottedText(address);
  fields.insert_or_assign("IPAddress", text);
  // Only where there is none: a second address does not replace the first.
  fields.try_emplace("MacAddress", text);
}

std::optional<Array> interfacesOf(const host::NetworkListing& found) {
  if (!found.interfaces.ok()) return std::nullopt;
  Records records = recordsOf(found.interfaces.value());
  std::vector<Record*> listed;
  if (found.addresses.ok()) {
    for (const host::InterfaceAddress& entry : found.addresses.value()) {
      if (!isInUse(entry)) continue;
      const auto record = records.find(entry.name);
      if (record == records.end()) continue;
      setAddress(record->second.fields, *entry.ipv4);
      listed.push_back(&record->second);
    }
  }
  Array result;
  for (Record* const record : listed) {
    if (record->object.isNull()) record->object = std::move(record->fields);
    result.push_back(record->object);
  }
  return result;
}

}  // namespace

std::optional<Array> Brisvane::findEthernetInterfaces() noexcept {
  const auto platform = host::platform();
  return memoryPermitting(std::nullopt,
                          [&] { return interfacesOf(platform->networkInterfaces().inUse()); });
}

}  // namespace brisvane
