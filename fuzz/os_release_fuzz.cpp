// The file os-release.
#include "brisvane/host/machine/os_release.h"

#include "fuzz/support/fuzzing.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::fuzz {

void run(std::string_view input) {
  static const testing::TemporaryFolder folder;
  testing::writeFile(folder / "os-release", std::string(input));
  const host::real::OsRelease release(folder / "os-release", folder / "none",
                                      host::real::AdministratorFile(folder / "machine.json"));
  const auto entries = release.entries();
  require(entries.has_value(), "a file has entries, if none that are known");
  for (const auto& [name, value] : *entries) {
    require(value.ifText() != nullptr, "an entry is a text");
    require(release.origin(name).ok(), "an entry has an origin");
  }
  require(!release.running() || entries->contains(host::SystemVersion::kUserVisibleVersion),
          "only a version that stands in the file runs");
}

}  // namespace brisvane::fuzz
