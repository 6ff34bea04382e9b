// Brisvane, the class of operations that belong to no object.
// The class keeps no state; its operations may be called from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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

  // Appends the text to the file at `toFile`, which is made when it is not there. True when the
  // whole text was written. False, with nothing of it written, when it is not ASCII (a missing file
  // has then been made, empty), and when the file cannot be opened, made or written; nothing is logged.
  // A file that exists and cannot be opened is never replaced. Blocks for as long as the file system does.
  static bool appendString(Text text, Text toFile) noexcept;

  // Runs the program at `launchPath` (which is not looked for in PATH) with these arguments in
  // `currentDir`, or in the caller's directory when that is absent; a relative path of the
  // program starts there. True when it was started and ran to its end, however it ended:
  // `outputMessage` then holds all that it wrote to standard output and standard error, in
  // the order in which it came, nullopt when that is not UTF-8. False when it could not be started:
  // `outputMessage` then says for which path, and why, and so does the default logger.
  //
  // Blocks until the program has ended and until nobody has the output open any more: a
  // program that leaves a child behind which keeps it open is waited for together with
  // that child. The output is kept in memory. Standard input is the caller's.
  static bool runCommandWithLaunchPath(Text launchPath, const std::vector<std::string>& arguments, Text currentDir,
                                       std::optional<std::string>& outputMessage) noexcept;

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
