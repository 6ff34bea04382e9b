#include <cerrno>
#include <new>

#include "brisvane/host/formats/json.h"
#include "brisvane/host/launching/command.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/support/Brisvane.h"
#include "brisvane/types/former_error.h"
#include "brisvane/types/join.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

// As in: "-l", "a b".
std::string textOf(const std::vector<std::string>& arguments) {
  std::string text;
  for (const std::string& argument : arguments) {
    if (!text.empty()) text += ", ";
    text += host::jsonText(argument).value_or("...");
  }
  return text;
}

bool fail(std::string error, std::optional<std::string>& outputMessage) {
  BVLog::Default::error(join({"Command exception: [", error, "]"}));
  outputMessage = std::move(error);
  return false;
}

}  // namespace

bool Brisvane::runCommandWithLaunchPath(Text launchPath, const std::vector<std::string>& arguments, Text currentDir,
                                        std::optional<std::string>& outputMessage) noexcept try {
  BVLog::Default::debug(join({"Executing command [", launchPath.orEmpty(), "] [", textOf(arguments), "]\n"}));
  if (currentDir.present() && currentDir.orEmpty().empty()) {
    return fail(errorText("an empty working directory", ENOENT), outputMessage);
  }
  std::string error;
  const auto output = host::runCommand(launchPath.orEmpty(), arguments, currentDir.orEmpty(), error);
  if (!output) return fail(std::move(error), outputMessage);
  std::string text(output->begin(), output->end());
  outputMessage = isUtf8(text) ? std::optional(std::move(text)) : std::nullopt;
  return true;
} catch (const std::bad_alloc&) {
  try {
    return fail("Cannot allocate memory", outputMessage);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace brisvane
