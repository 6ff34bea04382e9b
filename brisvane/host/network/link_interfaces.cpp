#include "brisvane/host/network/link_interfaces.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "brisvane/host/files/directory.h"
#include "brisvane/host/files/files.h"
#include "brisvane/types/data.h"
#include "brisvane/types/hex.h"
#include "brisvane/types/join.h"
#include "brisvane/types/unicode.h"

namespace brisvane::host::real {
namespace {

constexpr std::string_view kLoopback = "loopback";
constexpr std::string_view kOther = "other";

struct FreeEntries {
  void operator()(ifaddrs* entries) const noexcept { ::freeifaddrs(entries); }
};
using Entries = std::unique_ptr<ifaddrs, FreeEntries>;

// An empty list is null.
Result<Entries> takeEntries() noexcept {
  ifaddrs* entries = nullptr;
  if (::getifaddrs(&entries) != 0) return Error::last("network interfaces");
  return Entries(entries);
}

// The address of an entry as that of its family; nullopt when it is of another one. An
// entry may have no address at all.
template <typename Address>
std::optional<Address> addressOf(const ifaddrs& entry, sa_family_t family) noexcept {
  if (entry.ifa_addr == nullptr || entry.ifa_addr->sa_family != family) return std::nullopt;
  Address address{};
  std::memcpy(&address, entry.ifa_addr, sizeof address);
  return address;
}

// Every interface has one entry of its link, without an address where the link has none, as
// that of a tunnel.
bool isLink(const ifaddrs& entry) noexcept {
  return entry.ifa_addr == nullptr || entry.ifa_addr->sa_family == AF_PACKET;
}

template <typename Visit>
void forEach(const Entries& entries, Visit visit) {
  for (const ifaddrs* entry = entries.get(); entry != nullptr; entry = entry->ifa_next)
    visit(*entry);
}

InterfaceAddress interfaceAddress(const ifaddrs& entry) {
  const std::string_view name = entry.ifa_name;
  InterfaceAddress found{std::string(name.substr(0, name.find(':'))),
                         (entry.ifa_flags & IFF_UP) != 0, (entry.ifa_flags & IFF_LOOPBACK) != 0,
                         std::nullopt};
  if (const auto address = addressOf<sockaddr_in>(entry, AF_INET))
    std::memcpy(found.ipv4.emplace().data(), &address->sin_addr, sizeof address->sin_addr);
  return found;
}

std::optional<std::string> hardwareAddress(const sockaddr_ll& link) {
  if (link.sll_halen > sizeof link.sll_addr) return std::nullopt;
  const ByteView bytes(link.sll_addr, link.sll_halen);
  if (std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; }))
    return std::nullopt;
  std::string text;
  for (const std::uint8_t byte : bytes) {
    if (!text.empty()) text += ':';
    appendLowerHex(text, byte);
  }
  return text;
}

// The value of DEVTYPE in a uevent file, which the kernel writes for all but plain interfaces.
std::string_view deviceType(std::string_view uevent) noexcept {
  constexpr std::string_view kKey = "DEVTYPE=";
  while (!uevent.empty()) {
    const std::string_view line = uevent.substr(0, uevent.find('\n'));
    if (line.starts_with(kKey)) return line.substr(kKey.size());
    uevent.remove_prefix(std::min(line.size() + 1, uevent.size()));
  }
  return {};
}

}  // namespace

std::string LinkInterfaces::typeOf(std::string_view name, unsigned hardware) const {
  constexpr std::size_t kLargest = 4096;
  if (!isFileName(name)) return std::string(kOther);
  const auto uevent = readFile(join({folder_, "/", name, "/uevent"}), kLargest);
  // Whether it is plain is unknown then, and a bridge must not pass for an adapter.
  if (!uevent.ok()) return std::string(kOther);
  const std::string_view type = deviceType(uevent.value());
  if (type == "wlan") return std::string(kWireless);
  if (type == "vlan") return std::string(kVlan);
  if (!type.empty()) return std::string(type);
  // Some wireless drivers set no type.
  for (const std::string_view sign : {"/phy80211", "/wireless"}) {
    if (fileKind(join({folder_, "/", name, sign})) == FileKind::kFolder)
      return std::string(kWireless);
  }
  if (hardware == ARPHRD_ETHER) return std::string(kEthernet);
  return std::string(hardware == ARPHRD_LOOPBACK ? kLoopback : kOther);
}

NetworkInterface LinkInterfaces::interfaceOf(const ifaddrs& link) const {
  const std::string_view name = link.ifa_name;
  const auto address = addressOf<sockaddr_ll>(link, AF_PACKET);
  NetworkInterface found;
  if (isUtf8(name)) found.name = name;
  found.type = typeOf(name, address ? address->sll_hatype : ARPHRD_VOID);
  if (address) found.hardwareAddress = hardwareAddress(*address);
  return found;
}

Result<std::vector<NetworkInterface>> LinkInterfaces::interfaces() const {
  const auto entries = takeEntries();
  if (!entries.ok()) return entries.error();
  std::vector<NetworkInterface> interfaces;
  forEach(entries.value(), [&](const ifaddrs& entry) {
    if (isLink(entry)) interfaces.push_back(interfaceOf(entry));
  });
  return interfaces;
}

Result<std::vector<InterfaceAddress>> LinkInterfaces::addresses() const {
  const auto entries = takeEntries();
  if (!entries.ok()) return entries.error();
  std::vector<InterfaceAddress> addresses;
  forEach(entries.value(),
          [&](const ifaddrs& entry) { addresses.push_back(interfaceAddress(entry)); });
  return addresses;
}

NetworkListing LinkInterfaces::inUse() const {
  const auto entries = takeEntries();
  if (!entries.ok()) return {entries.error(), entries.error()};
  std::vector<InterfaceAddress> addresses;
  forEach(entries.value(), [&](const ifaddrs& entry) {
    if (InterfaceAddress address = interfaceAddress(entry); isInUse(address))
      addresses.push_back(std::move(address));
  });
  std::vector<NetworkInterface> interfaces;
  forEach(entries.value(), [&](const ifaddrs& entry) {
    const auto isItsAddress = [&](const InterfaceAddress& one) {
      return one.name == entry.ifa_name;
    };
    if (isLink(entry) && std::any_of(addresses.begin(), addresses.end(), isItsAddress))
      interfaces.push_back(interfaceOf(entry));
  });
  return {std::move(interfaces), std::move(addresses)};
}

}  // namespace brisvane::host::real
