// The files of preferences, and the numbers in them. The input is a key, then a file's content.
#include "brisvane/logging/preferences_store.h"

#include <cstdlib>
#include <memory>

#include "brisvane/host/platform.h"
#include "brisvane/host/records/config_files.h"
#include "fuzz/support/fuzzing.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::fuzz {
namespace {

std::shared_ptr<const host::Platform> withConfigFiles() {
  auto platform = std::make_shared<host::Platform>();
  platform->setPreferences(std::make_shared<host::real::ConfigFiles>());
  return platform;
}

}  // namespace

void run(std::string_view input) {
  static const testing::TemporaryFolder folder;
  ::setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
  ::setenv("XDG_CONFIG_DIRS", "/nowhere", 1);
  const auto [key, content] = firstLineAndRest(input);
  testing::writeFile(folder / "suite.conf", std::string(content));

  const host::ScopedPlatform installed(withConfigFiles());
  const PreferencesStore store("suite");
  const auto text = store.text(key);
  require(!text || content.find(*text) != std::string_view::npos, "a value stands in its file");
  require(!text || text->find('\n') == std::string::npos, "a value is a part of one line");
  const std::int64_t number = store.integer(key);
  require(text || number == 0, "what is missing counts as 0");
  static_cast<void>(PreferencesStore(key).text("suite"));
}

}  // namespace brisvane::fuzz
