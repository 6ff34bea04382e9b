// `bvdiag ports`: the serial adapters that the machine has.
#include <brisvane/host/platform.h>

#include "commands.h"
#include "port_choice.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

int run(const NoOptions& /*options*/, Session& session) {
  Output& output = session.output();
  const auto names = bv::host::platform()->deviceNodes().list();
  const std::string directory(bv::host::DeviceNodes::kDirectory);
  if (!names.ok()) {
    output.complain(directory +
                    ": the devices cannot be listed; check that the folder can be read");
    return kFailure;
  }
  bv::Array adapters;
  for (const std::string& name : names.value()) {
    if (!name.starts_with(kAdapterPrefix)) continue;
    const std::string serial = name.substr(kAdapterPrefix.size());
    adapters.emplace_back(bv::Dictionary{{"path", directory + name}, {"serial", serial}});
    if (!output.json()) output.print(escaped(directory + name) + "  " + escaped(serial) + "\n");
  }
  if (adapters.empty()) output.remark("no serial adapter found; " + std::string(kNoAdapterHint));
  if (output.json()) output.printJson(std::move(adapters));
  return kSuccess;
}

}  // namespace

void addPorts(AnyCommand& program) {
  auto command = program.command("ports", "Lists the serial adapters: path and serial number");
  command.example("bvdiag ports");
  command.footer(
      exitStatusText("success, even without an adapter", "the devices cannot be listed"));
  command.runs(run);
}

}  // namespace bvdiag
