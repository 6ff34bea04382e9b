#include "brisvane/host/network/network_interfaces.h"

#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

#include "brisvane/host/network/link_interfaces.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "brisvane/support/Brisvane.h"
#include "tests/support/linux_machine.h"

namespace brisvane::host {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Optional;
using ::testing::UnorderedElementsAre;

// The result of the operation, as "name type MAC address" in each line.
std::vector<std::string> linesOf(const std::optional<Array>& records) {
  std::vector<std::string> lines;
  for (const Object& record : records.value()) {
    std::string line;
    for (const char* const key :
         {"NetworkInterfaceName", "NetworkInterfaceType", "MacAddress", "IPAddress"}) {
      line += *record.ifDictionary()->at(key).ifText() + " ";
    }
    EXPECT_EQ(record.ifDictionary()->size(), 4U);
    lines.push_back(line.substr(0, line.size() - 1));
  }
  return lines;
}

std::optional<Array> foundOn(const std::string& description) {
  const auto machine = simulated::Machine::fromJson(description);
  if (!machine.ok()) throw std::runtime_error(machine.error().text());
  const ScopedPlatform installed(machine.value()->platform());
  return Brisvane::findEthernetInterfaces();
}

TEST(FindEthernetInterfaces, ListsTheThreeTypesThatAreUpWithAnIpv4Address) {
  EXPECT_THAT(linesOf(foundOn(R"({"interfaces": [
      {"name": "lo", "type": "Ethernet", "loopback": true, "addresses": ["127.0.0.1"]},
      {"name": "wlan0", "type": "IEEE80211", "mac": "02:00:5e:00:00:01", "addresses": ["192.0.2.1"]},
      {"name": "br0", "type": "bridge", "addresses": ["192.0.2.2"]},
      {"name": "wwan0", "type": "ethernet", "addresses": ["192.0.2.3"]},
      {"name": "down0", "type": "Ethernet", "up": false, "addresses": ["192.0.2.4"]},
      {"name": "ipv6only", "type": "Ethernet"},
      {"type": "Ethernet", "addresses": ["192.0.2.5"]},
      {"name": "eth0.5", "type": "VLAN", "mac": "any text", "addresses": ["0.10.200.255"]},
      {"name": "eth0", "type": "Ethernet", "mac": "02:00:5e:00:00:02", "addresses": ["192.0.2.6"]}]})")),
              ElementsAre("wlan0 IEEE80211 02:00:5e:00:00:01 192.0.2.1",
                          "eth0.5 VLAN any text 0.10.200.255",
                          "eth0 Ethernet 02:00:5e:00:00:02 192.0.2.6"));
}

TEST(FindEthernetInterfaces, SharesOneRecordAmongTheAddressesOfAnInterface) {
  const auto found = foundOn(R"({"interfaces": [
      {"name": "eth0", "type": "Ethernet", "addresses": ["192.0.2.1", "192.0.2.2", "192.0.2.3"]},
      {"name": "eth1", "type": "Ethernet", "mac": "02:00:5e:00:00:01", "addresses": ["192.0.2.1"]}]})");
  const std::string shared = "eth0 Ethernet 192.0.2.1 192.0.2.3";
  ASSERT_THAT(linesOf(found),
              ElementsAre(shared, shared, shared, "eth1 Ethernet 02:00:5e:00:00:01 192.0.2.1"));
  EXPECT_TRUE(found->at(0).same(found->at(1)) && found->at(0).same(found->at(2)));
  EXPECT_FALSE(found->at(0).same(found->at(3)));
}

TEST(FindEthernetInterfaces, LetsALaterInterfaceOfANameReplaceTheEarlier) {
  EXPECT_THAT(linesOf(foundOn(R"({"interfaces": [
      {"name": "eth0", "type": "Ethernet", "mac": "02:00:5e:00:00:01", "addresses": ["192.0.2.1"]},
      {"name": "eth0", "type": "VLAN"},
      {"name": "eth0", "type": "bridge"}]})")),
              ElementsAre("eth0 VLAN 192.0.2.1 192.0.2.1"));
}

TEST(FindEthernetInterfaces, TellsNoEnumerationFromNoAddresses) {
  const std::string interfaces =
      R"("interfaces": [{"name": "eth0", "type": "Ethernet", "addresses": ["192.0.2.1"]}])";
  EXPECT_EQ(foundOn("{" + interfaces + R"(, "interfaceFailure": "enumeration"})"), std::nullopt);
  EXPECT_THAT(foundOn("{" + interfaces + R"(, "interfaceFailure": "addresses"})"),
              Optional(IsEmpty()));
  EXPECT_THAT(foundOn("{}"), Optional(IsEmpty()));
  const ScopedPlatform nothing(std::make_shared<const Platform>());
  EXPECT_EQ(Brisvane::findEthernetInterfaces(), std::nullopt);
}

TEST(SimulatedMachine, SaysWhereItsInterfacesAreWronglyDescribed) {
  const std::vector<std::pair<const char*, const char*>> wrong{
      {R"("interfaces": {})", "interfaces: must be an array"},
      {R"("interfaces": [{"name": "eth0"}])", "interfaces[0].type: must be a text"},
      {R"("interfaces": [{"type": "VLAN", "mac": ""}])", "interfaces[0].mac: must not be empty"},
      {R"("interfaces": [{"type": "VLAN", "up": 1}])", "interfaces[0].up: must be true or false"},
      {R"("interfaces": [{"type": "VLAN"}, {"type": "VLAN", "ip": ""}])",
       "interfaces[1].ip: unknown field"},
      {R"("interfaces": [{"type": "VLAN", "addresses": ["192.0.2.1", "::1"]}])",
       "interfaces[0].addresses[1]: must be"},
      {R"("interfaceFailure": "both")", "interfaceFailure: must be"}};
  for (const auto& [section, complaint] : wrong) {
    const auto machine = simulated::Machine::fromJson("{" + std::string(section) + "}");
    ASSERT_FALSE(machine.ok()) << section;
    EXPECT_THAT(machine.error().text(), HasSubstr(complaint));
  }
}

TEST(Ipv4Address, IsFourNumbersAndNothingElse) {
  EXPECT_EQ(parseIpv4("192.0.2.255"), (Ipv4Address{192, 0, 2, 255}));
  for (const char* const wrong :
       {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.04", "1.2.3.-4", "1.2.3.4 ", "1..3.4"}) {
    EXPECT_EQ(parseIpv4(wrong), std::nullopt) << wrong;
  }
}

// Every machine has a "lo"; what kind of interface it is, a folder says.
TEST(LinuxInterfaces, HaveTheTypeThatTheKernelsFolderTells) {
  const testing::LinuxMachine machine;
  const auto type = [&machine] {
    const auto platform = machine.platform();
    const auto interfaces = platform->networkInterfaces().interfaces();
    for (const NetworkInterface& interface : interfaces.value()) {
      if (interface.name == "lo") return interface.type;
    }
    return std::string("no such interface");
  };
  EXPECT_EQ(type(), "other");
  const std::vector<std::pair<const char*, const char*>> types{
      {"INTERFACE=lo\nIFINDEX=1\n", "loopback"},
      {"DEVTYPE=wlan\nINTERFACE=lo\n", "IEEE80211"},
      {"INTERFACE=lo\nDEVTYPE=vlan", "VLAN"},
      {"DEVTYPE=wwan\n", "wwan"},
      {"XDEVTYPE=vlan\nDEVTYPE=\n\n", "loopback"}};
  for (const auto& [uevent, expected] : types) {
    machine.write("net/lo/uevent", uevent);
    EXPECT_EQ(type(), expected) << uevent;
  }
  for (const char* const sign : {"net/lo/phy80211", "net/lo/wireless"}) {
    machine.write("net/lo/uevent", "INTERFACE=lo\n");
    std::filesystem::create_directory(machine / sign);
    EXPECT_EQ(type(), "IEEE80211");
    machine.write("net/lo/uevent", "DEVTYPE=bridge\n");
    EXPECT_EQ(type(), "bridge");
    std::filesystem::remove(machine / sign);
  }
  machine.write("net/lo/uevent", std::string(5000, '\n'));
  EXPECT_EQ(type(), "other");
}

// Leaves this process's network for one of its own, of which `folder` then shows the kernel's
// objects. Gives what the machine does not allow; empty for nothing.
std::string enterOwnNetwork(const std::string& folder) {
  const std::string user = "0 " + std::to_string(::geteuid()) + " 1";
  if (::unshare(CLONE_NEWNET | CLONE_NEWNS) != 0) {
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWNS) != 0)
      return "no network namespace is allowed";
    testing::writeFile("/proc/self/uid_map", user);
  }
  std::filesystem::create_directory(folder);
  const bool isMounted = ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         ::mount("sysfs", folder.c_str(), "sysfs", 0, nullptr) == 0;
  return isMounted ? "" : "no mount of sysfs is allowed";
}

bool ip(const std::string& command) {
  return std::system(("PATH=$PATH:/usr/sbin:/sbin ip " + command + " 2>/dev/null").c_str()) == 0;
}

// Runs `body` in a child with a network that commands of `ip` have made; it takes the folder of
// the interfaces. Gives why it could not run; empty when it did.
std::string inOwnNetwork(const std::vector<std::string>& commands,
                         const std::function<void(const std::string& folder)>& body) {
  const testing::TemporaryFolder folder;
  const pid_t child = ::fork();
  if (child == 0) {
    std::string obstacle = enterOwnNetwork(folder / "sys");
    for (const std::string& command : commands) {
      if (obstacle.empty() && !ip(command)) obstacle = "this does not work: ip " + command;
    }
    obstacle.empty() ? body(folder / "sys/class/net")
                     : testing::writeFile(folder / "obstacle", obstacle);
    static_cast<void>(std::fflush(nullptr));
    ::_exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  return testing::contentOf(folder / "obstacle");
}

// What the operation finds with the interfaces of the kernel.
std::optional<Array> foundIn(const std::string& folder) {
  auto platform = std::make_shared<Platform>();
  platform->setNetworkInterfaces(std::make_shared<const real::LinkInterfaces>(folder));
  const ScopedPlatform installed(std::move(platform));
  return Brisvane::findEthernetInterfaces();
}

TEST(LinuxInterfaces, OfANetworkOfTheirOwnAreThoseThatWereMade) {
  const std::vector<std::string> commands{"link set lo up",
                                          "link add p0 address 02:00:5e:00:00:AB type veth peer "
                                          "name 'caf\xE9' address 02:00:5e:00:00:02",
                                          "link add br0 address 02:00:5e:00:00:03 type bridge",
                                          "address add 192.0.2.1/24 dev p0",
                                          "address add 198.51.100.2/24 dev p0 label p0:second",
                                          "address add 203.0.113.1/24 dev 'caf\xE9'",
                                          "address add 10.0.0.1/24 dev br0",
                                          "link set p0 up",
                                          "link set 'caf\xE9' up",
                                          "link set br0 up"};
  const std::string obstacle = inOwnNetwork(commands, [](const std::string& folder) {
    const real::LinkInterfaces network(folder);
    EXPECT_THAT(
        network.interfaces().optional(),
        Optional(IsSupersetOf({NetworkInterface{"lo", "loopback", std::nullopt},
                               NetworkInterface{std::nullopt, "Ethernet", "02:00:5e:00:00:02"},
                               NetworkInterface{"p0", "Ethernet", "02:00:5e:00:00:ab"},
                               NetworkInterface{"br0", "bridge", "02:00:5e:00:00:03"}})));
    EXPECT_THAT(network.addresses().optional(),
                Optional(IsSupersetOf(
                    {InterfaceAddress{"lo", true, true, std::nullopt},
                     InterfaceAddress{"lo", true, true, Ipv4Address{127, 0, 0, 1}},
                     InterfaceAddress{"p0", true, false, Ipv4Address{192, 0, 2, 1}},
                     InterfaceAddress{"p0", true, false, Ipv4Address{198, 51, 100, 2}},
                     InterfaceAddress{"caf\xE9", true, false, Ipv4Address{203, 0, 113, 1}},
                     InterfaceAddress{"br0", true, false, Ipv4Address{10, 0, 0, 1}}})));
    const NetworkListing inUse = network.inUse();
    EXPECT_THAT(inUse.interfaces.optional(),
                Optional(UnorderedElementsAre(
                    NetworkInterface{std::nullopt, "Ethernet", "02:00:5e:00:00:02"},
                    NetworkInterface{"p0", "Ethernet", "02:00:5e:00:00:ab"},
                    NetworkInterface{"br0", "bridge", "02:00:5e:00:00:03"})));
    EXPECT_THAT(inUse.addresses.optional(),
                Optional(UnorderedElementsAre(
                    InterfaceAddress{"p0", true, false, Ipv4Address{192, 0, 2, 1}},
                    InterfaceAddress{"p0", true, false, Ipv4Address{198, 51, 100, 2}},
                    InterfaceAddress{"caf\xE9", true, false, Ipv4Address{203, 0, 113, 1}},
                    InterfaceAddress{"br0", true, false, Ipv4Address{10, 0, 0, 1}})));
    const std::string line = "p0 Ethernet 02:00:5e:00:00:ab 198.51.100.2";
    EXPECT_THAT(linesOf(foundIn(folder)), ElementsAre(line, line));
    EXPECT_TRUE(ip("link set p0 down"));
    EXPECT_THAT(foundIn(folder), Optional(IsEmpty()));
  });
  if (!obstacle.empty()) GTEST_SKIP() << obstacle;
}

TEST(LinuxInterfaces, WithATagAreVirtualLans) {
  const std::vector<std::string> commands{
      "link add p0 address 02:00:5e:00:00:01 type veth peer name p1",
      "link add link p0 name p0.5 type vlan id 5",
      "address add 192.0.2.1/24 dev p0.5",
      "link set p0 up",
      "link set p1 up",
      "link set p0.5 up"};
  const std::string obstacle = inOwnNetwork(commands, [](const std::string& folder) {
    EXPECT_THAT(linesOf(foundIn(folder)), ElementsAre("p0.5 VLAN 02:00:5e:00:00:01 192.0.2.1"));
  });
  if (!obstacle.empty()) GTEST_SKIP() << obstacle;
}

TEST(LinuxInterfaces, WithoutAHardwareAddressHaveNone) {
  const std::vector<std::string> commands{"tuntap add tun0 mode tun",
                                          "address add 192.0.2.1/24 dev tun0", "link set tun0 up"};
  const std::string obstacle = inOwnNetwork(commands, [](const std::string& folder) {
    const real::LinkInterfaces network(folder);
    EXPECT_THAT(network.interfaces().optional(),
                Optional(Contains(NetworkInterface{"tun0", "other", std::nullopt})));
    EXPECT_THAT(network.addresses().optional(),
                Optional(Contains(InterfaceAddress{"tun0", true, false, std::nullopt})));
    EXPECT_THAT(foundIn(folder), Optional(IsEmpty()));
  });
  if (!obstacle.empty()) GTEST_SKIP() << obstacle;
}

}  // namespace
}  // namespace brisvane::host
