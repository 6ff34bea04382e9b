// Descriptions of simulated machines. One that is read runs, and stops.
#include "brisvane/host/simulated/simulated_machine.h"
#include "brisvane/platform/BVSystemInfo.h"
#include "fuzz/support/fuzzing.h"

namespace brisvane::fuzz {

void run(std::string_view input) {
  const auto machine = host::simulated::Machine::fromJson(input);
  if (!machine.ok()) {
    require(!machine.error().reason().empty(), "a refusal has its reason");
    return;
  }
  const auto platform = machine.value()->platform();
  const host::ScopedPlatform installed(platform);
  const BVSystemInfo info;
  static_cast<void>(Object(info.profile()).description());
  require(platform->deviceNodes().list().ok(), "the devices of a simulated machine can be listed");
  static_cast<void>(platform->networkInterfaces().interfaces());
}

}  // namespace brisvane::fuzz
