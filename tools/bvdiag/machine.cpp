// `bvdiag machine record`: this machine, as a description that can be replayed at a desk.
#include <memory>

#include <brisvane/host/files/files.h>
#include <brisvane/types/error.h>

#include "commands.h"
#include "recording.h"
#include "registry_command.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

constexpr std::string_view kStandardOutput = "-";

int record(const std::string& path, const RecordingOptions& options, Session& session) {
  Output& output = session.output();
  complainOfAdministratorFile(session);
  if (path != kStandardOutput && bv::host::fileKind(path) != bv::host::FileKind::kNone) {
    output.complain(path + ": there is something already; name a new file");
    return kFailure;
  }
  const bv::Object machine = recordMachine(options);
  const std::string text = jsonOf(machine, bv::host::JsonLayout::kIndented) + "\n";
  if (path == kStandardOutput) {
    output.json() ? output.printJson(machine) : output.print(text);
    return kSuccess;
  }
  if (const bv::host::Error failed = bv::host::createFile(path, text)) {
    output.complain(writingFailure(path, failed.number()));
    return kFailure;
  }
  if (output.json()) output.printResult(bv::Dictionary{{"file", path}, {"masked", !options.unmasked}});
  if (options.variables) output.remark("the values of the firmware variables are in it as they are");
  return kSuccess;
}

}  // namespace

void addMachine(CLI::App& program, Chosen& chosen) {
  CLI::App* const machine = program.add_subcommand("machine", "Records this machine");
  machine->require_subcommand(1);
  CLI::App* const recording =
      machine->add_subcommand("record", "Writes this machine as a description that --machine takes");
  const auto path = std::make_shared<std::string>();
  const auto options = std::make_shared<RecordingOptions>();
  recording->add_option("FILE", *path, "A new file, or - for standard output")->required();
  recording->add_flag("--variables", options->variables, "Adds the values of the firmware variables, unmasked");
  recording->add_flag("--unmasked", options->unmasked,
                      "Leaves serial numbers, UUIDs, seeds and hardware addresses as they are");
  recording->footer(exitStatusText("written", "not written"));
  recording->callback([&chosen, path, options] {
    chosen.run = [path, options](Session& session) { return record(*path, *options, session); };
  });
}

}  // namespace bvdiag
