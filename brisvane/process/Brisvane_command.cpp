#include <cerrno>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "brisvane/host/formats/json.h"
#include "brisvane/host/launching/command.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/support/Brisvane.h"
#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"
#include "brisvane/types/result.h"
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

// What a command prints; nullopt when that is no text.
Result<std::optional<std::string>> outputOf(Text launchPath,
                                            const std::vector<std::string>& arguments,
                                            Text currentDir,
                                            std::optional<std::size_t> outputLimit) {
  BVLog::Default::debug(
      join({"Executing command [", launchPath.orEmpty(), "] [", textOf(arguments), "]\n"}));
  if (currentDir.present() && currentDir.orEmpty().empty())
    return Error(ENOENT, "an empty working directory");
  auto output =
      host::runCommand(launchPath.orEmpty(), arguments, currentDir.orEmpty(), outputLimit);
  if (!output.ok()) return output.error();
  return isUtf8(output.value()) ? std::optional(std::move(output).value()) : std::nullopt;
}

}  // namespace

bool Brisvane::runCommandWithLaunchPath(Text launchPath, const std::vector<std::string>& arguments,
                                        Text currentDir, std::optional<std::string>& outputMessage,
                                        std::optional<std::size_t> outputLimit) noexcept {
  auto output = memoryPermitting(
      Error(ENOMEM), [&] { return outputOf(launchPath, arguments, currentDir, outputLimit); });
  if (output.ok()) {
    outputMessage = std::move(output.value());
    return true;
  }
  unlessOutOfMemory([&] {
    outputMessage = output.error().text();
    BVLog::Default::error(join({"Command exception: [", *outputMessage, "]"}));
  });
  return false;
}

}  // namespace brisvane
