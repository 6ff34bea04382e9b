// Desktop entries, as what is launched: the input is an entry, then arguments.
#include "brisvane/host/launching/desktop_entry.h"

#include "brisvane/host/launching/application.h"
#include "fuzz/support/fuzzing.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::fuzz {

void run(std::string_view input) {
  static const testing::TemporaryFolder folder;
  const auto parts = partsOf(input);
  const std::vector<std::string> arguments(parts.begin() + 1, parts.end());
  const std::string path = folder / "org.example.Helper.desktop";
  testing::writeFile(path, std::string(parts.front()));

  const host::real::DesktopEntry entry(parts.front());
  const auto application = host::real::applicationAt(path, arguments);
  if (!application.ok()) {
    require(!application.error().reason().empty(), "a refusal has its reason");
    return;
  }
  require(!entry.empty() && !entry.flag("Hidden") && !entry.flag("Terminal"),
          "what is launched may be launched");
  require(application.value().identifier == "org.example.Helper",
          "an application is named after its entry");
  require(application.value().isActivatedByBus || !application.value().command.front().empty(),
          "what is launched has a program");
}

}  // namespace brisvane::fuzz
