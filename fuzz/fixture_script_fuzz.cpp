// Scripts of simulated fixtures.
#include "brisvane/host/simulated/simulated_fixture_script.h"
#include "fuzz/support/fuzzing.h"

namespace brisvane::fuzz {

void run(std::string_view input) {
  const auto script = host::simulated::FixtureScript::fromJson(input);
  if (!script.ok()) {
    require(!script.error().reason().empty(), "a refusal has its reason");
    return;
  }
  for (const auto& command : script.value().commands) {
    const int kinds = static_cast<int>(command.text.has_value()) +
                      static_cast<int>(command.pattern.has_value()) +
                      static_cast<int>(command.bytes.has_value());
    require(kinds == 1, "a command is a text, a pattern or bytes");
  }
}

}  // namespace brisvane::fuzz
