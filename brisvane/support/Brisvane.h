// Brisvane, the class of operations that belong to no object.
// The class keeps no state; its operations may be called from any thread.
#pragma once

#include <cstdint>
#include <optional>

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"
#include "brisvane/types/text.h"

namespace brisvane {

class BRISVANE_EXPORT Brisvane final {
 public:
  Brisvane() = delete;

  // The argument itself when present, identity included; the null marker when it is
  // absent. Lets a value that may be missing be stored in a dictionary or an array.
  [[nodiscard]] static Object objectOrNull(const std::optional<Object>& object) noexcept;

  // The wired, virtual-LAN and wireless interfaces that are up with an IPv4 address. Each
  // element is a dictionary of four texts: "NetworkInterfaceName", "NetworkInterfaceType"
  // ("Ethernet", "VLAN" or "IEEE80211"), "IPAddress" in dotted decimal, and "MacAddress",
  // which for an interface without a hardware address is its first IPv4 address.
  //
  // The order is that of the machine's addresses. An interface with several is listed once
  // for each: these elements are one and the same Object, with the last address. Blocks for
  // as long as the kernel takes to answer.
  //
  // nullopt when the machine cannot enumerate its interfaces, and when memory runs out; an
  // empty array when their addresses cannot be had.
  [[nodiscard]] static std::optional<Array> findEthernetInterfaces() noexcept;

  // How many code units of UTF-16 must be inserted, deleted or replaced to make one text of
  // the other: 2 for "flaw" and "lawn". Case counts, nothing is normalised, and a byte that is
  // not UTF-8 counts as U+FFFD. An absent text counts as empty. Takes time in proportion to
  // the product of the lengths, and memory to that of `second`. -1 when memory runs out.
  [[nodiscard]] static std::int64_t levenshteinDistanceBetween(Text first, Text second) noexcept;
};

}  // namespace brisvane
