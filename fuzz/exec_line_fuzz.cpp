// The command of a desktop entry: the input is an Exec value, then arguments.
#include "brisvane/host/launching/desktop_entry.h"
#include "fuzz/support/fuzzing.h"

namespace brisvane::fuzz {

void run(std::string_view input) {
  const auto parts = partsOf(input);
  const std::vector<std::string> arguments(parts.begin() + 1, parts.end());
  const auto words = host::real::commandWords(
      parts.front(), {arguments, "the name", "the-icon", "/the/file.desktop"});
  if (!words.ok()) {
    require(!words.error().reason().empty(), "a refusal has its reason");
    return;
  }
  require(!words.value().empty(), "a command has a program");
  // An argument stands as a word of its own or within one, and none is lost.
  for (const std::string& argument : arguments) {
    bool stands = false;
    for (const std::string& word : words.value())
      stands |= word.find(argument) != std::string::npos;
    require(stands, "an argument reaches the command");
  }
}

}  // namespace brisvane::fuzz
