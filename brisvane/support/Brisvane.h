// Brisvane, the class of operations that belong to no object.
// The class keeps no state. Its operations may be called from any thread.
#pragma once

#include <cstddef>
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

  // The argument itself, identity included; the null marker when it is absent. Use it to store a
  // value that may be missing in a dictionary or an array.
  [[nodiscard]] static Object objectOrNull(const std::optional<Object>& object) noexcept;

  // Appends the text to the file at `toFile`. A missing file is made. A file that exists and cannot
  // be opened is never replaced.
  // True when the whole text was written. False, with none of it written, when
  //  - the text is not ASCII; a missing file has then been made, empty;
  //  - the file cannot be opened, made or written.
  // Logs nothing. Blocks for as long as the file system does.
  static bool appendString(Text text, Text toFile) noexcept;

  // Runs a program to its end. Its standard input is the caller's.
  //  - `launchPath` is not searched for in PATH. A relative path starts at the working directory of
  //    the program.
  //  - `currentDir` is that directory; the caller's when it is absent.
  // True when the program was started and ran to its end. Its exit status makes no difference.
  // `outputMessage` then holds all that it wrote to standard output and standard error, in one
  // sequence; nullopt when that is not UTF-8.
  // False when the program cannot be started. `outputMessage` then holds the path and the reason,
  // and the default logger gets them at error level. When memory runs out, `outputMessage` may be
  // unchanged.
  // `outputLimit` is the most bytes that the program may write, with its children; nullopt for as
  // many as memory holds. A program that writes more is ended by SIGKILL, and the result is false
  // as for one that cannot be started: "/opt/probe: wrote more than 1048576 bytes".
  // Blocks until the program has ended and no process holds the other end of the output. So a child
  // that the program leaves behind is waited for while it keeps the output open.
  static bool runCommandWithLaunchPath(
      Text launchPath, const std::vector<std::string>& arguments, Text currentDir,
      std::optional<std::string>& outputMessage,
      std::optional<std::size_t> outputLimit = std::nullopt) noexcept;

  // The wired, virtual-LAN and wireless interfaces that are up with an IPv4 address, in the order
  // of the machine's addresses. Each element is a dictionary of four texts:
  //  - "NetworkInterfaceName";
  //  - "NetworkInterfaceType": "Ethernet", "VLAN" or "IEEE80211";
  //  - "IPAddress": in dotted decimal;
  //  - "MacAddress": the hardware address, or the first IPv4 address when there is none.
  // An interface with several addresses is listed once for each. These elements are the same
  // Object, which has the last address.
  // nullopt when the machine cannot enumerate its interfaces, or when memory runs out. An empty
  // array when the addresses are unavailable.
  // Blocks for as long as the kernel takes to answer.
  [[nodiscard]] static std::optional<Array> findEthernetInterfaces() noexcept;

  // The number of UTF-16 code units that must be inserted, deleted or replaced to make one text of
  // the other: 2 for "flaw" and "lawn".
  //  - Upper and lower case differ, and nothing is normalised.
  //  - A byte that is not UTF-8 is taken as U+FFFD, and an absent text as an empty one.
  // -1 when memory runs out. The time is in proportion to the product of the lengths, and the
  // memory to the length of `second`.
  [[nodiscard]] static std::int64_t levenshteinDistanceBetween(Text first, Text second) noexcept;
};

}  // namespace brisvane
