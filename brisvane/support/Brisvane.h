// Brisvane, the class of operations that belong to no object.
// The class keeps no state; its operations may be called from any thread.
#pragma once

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
};

}  // namespace brisvane
