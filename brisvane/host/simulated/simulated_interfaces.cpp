#include "brisvane/host/simulated/simulated_interfaces.h"

#include <cerrno>
#include <string_view>

namespace brisvane::host::simulated {
namespace {

constexpr std::string_view kEnumeration = "enumeration";
constexpr std::string_view kAddresses = "addresses";

std::string readText(DescriptionReader& reader, std::string_view key) {
  std::string text = reader.shortText(key);
  if (text.empty()) reader.fail(key, "must not be empty");
  return text;
}

std::optional<std::string> readOptionalText(DescriptionReader& reader, std::string_view key) {
  return reader.has(key) ? std::optional(readText(reader, key)) : std::nullopt;
}

Ipv4Address readAddress(const Object& value, const std::string& place) {
  const std::string* const text = value.ifText();
  const auto address = text != nullptr ? parseIpv4(*text) : std::nullopt;
  if (!address) throw DescriptionError{place, "must be an IPv4 address, as in \"192.0.2.1\""};
  return *address;
}

Error describedFailure() noexcept { return Error(EIO, "network interfaces"); }

}  // namespace

DescribedInterfaces::DescribedInterfaces(DescriptionReader& machine) {
  std::vector<InterfaceAddress> links;
  for (const auto& [description, place] : machine.elements("interfaces")) {
    DescriptionReader reader(description, place);
    interfaces_.push_back({readOptionalText(reader, "name"), readText(reader, "type"),
                           readOptionalText(reader, "mac")});
    InterfaceAddress entry{interfaces_.back().name.value_or(""), reader.boolean("up", true),
                           reader.boolean("loopback", false), std::nullopt};
    links.push_back(entry);
    for (const auto& [address, placeOfAddress] : reader.elements("addresses")) {
      entry.ipv4 = readAddress(address, placeOfAddress);
      addresses_.push_back(entry);
    }
    reader.finish();
  }
  addresses_.insert(addresses_.begin(), links.begin(), links.end());
  if (!machine.has("interfaceFailure")) return;
  failure_ = machine.text("interfaceFailure");
  if (failure_ != kEnumeration && failure_ != kAddresses) {
    machine.fail("interfaceFailure", "must be \"enumeration\" or \"addresses\"");
  }
}

Result<std::vector<NetworkInterface>> DescribedInterfaces::interfaces() const {
  if (failure_ == kEnumeration) return describedFailure();
  return interfaces_;
}

Result<std::vector<InterfaceAddress>> DescribedInterfaces::addresses() const {
  if (failure_ == kAddresses) return describedFailure();
  return addresses_;
}

}  // namespace brisvane::host::simulated
