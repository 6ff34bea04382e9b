// The administrator's file, which describes a machine.
#include "brisvane/host/formats/json.h"
#include "brisvane/host/machine/machine_description.h"
#include "fuzz/support/fuzzing.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::fuzz {
namespace {

// A property of a description is one that it can be described by.
void requireDescribable(const std::optional<Dictionary>& node) {
  if (!node) return;
  for (const auto& [name, value] : *node) {
    const Object description = host::describeValue(value);
    require(!description.isNull(), "a property that was described can be described");
    require(host::describedValue(description, name) == value,
            "a property that is described again stays what it is");
  }
}

}  // namespace

void run(std::string_view input) {
  static const testing::TemporaryFolder folder;
  const std::string path = folder / "machine.json";
  testing::writeFile(path, std::string(input));
  const auto description = host::MachineDescription::fromFile(path);
  if (!description.ok()) {
    require(description.error().what() == path, "an error names its file");
    return;
  }
  require(host::parseJson(input).ok(), "a file that is read is JSON");
  requireDescribable(description.value().root);
  requireDescribable(description.value().chosen);
  requireDescribable(description.value().platform);
  requireDescribable(description.value().rom);
  static_cast<void>(host::parseVersion(input));
}

}  // namespace brisvane::fuzz
