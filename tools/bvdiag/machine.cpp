// `bvdiag machine record`: this machine, as a description that can be replayed at a desk.
#include <string>
#include <string_view>

#include <brisvane/host/files/files.h>
#include <brisvane/types/error.h>

#include "commands.h"
#include "recording.h"
#include "registry_command.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

constexpr std::string_view kStandardOutput = "-";

struct RecordOptions {
  std::string path;
  RecordingOptions recording;
};

int record(const RecordOptions& options, Session& session) {
  const std::string& path = options.path;
  Output& output = session.output();
  complainOfAdministratorFile(session);
  if (path != kStandardOutput && bv::host::fileKind(path) != bv::host::FileKind::kNone) {
    output.complain(path + ": there is something already; name a new file");
    return kFailure;
  }
  const bv::Object machine = recordMachine(options.recording);
  const std::string text = jsonOf(machine, bv::host::JsonLayout::kIndented) + "\n";
  if (path == kStandardOutput) {
    output.json() ? output.printJson(machine) : output.print(text);
    return kSuccess;
  }
  if (const auto created = bv::host::createFile(path, text); !created.ok()) {
    output.complain(writingFailure(path, created.error().number()));
    return kFailure;
  }
  if (output.json())
    output.printResult(bv::Dictionary{{"file", path}, {"masked", !options.recording.unmasked}});
  if (options.recording.variables)
    output.remark("the values of the firmware variables are in it, unmasked");
  return kSuccess;
}

}  // namespace

void addMachine(AnyCommand& program) {
  auto machine = program.command("machine", "Records this machine");
  machine.requireCommand();
  machine.example("bvdiag machine record --everything field.json");
  auto command = machine.command<RecordOptions>(
      "record", "Writes a description of this machine, which --machine accepts");
  RecordingOptions& recording = command.options().recording;
  command.argument("FILE", &RecordOptions::path, "A new file; - is standard output").required();
  command.flag("--variables", recording.variables,
               "Adds the values of the firmware variables, unmasked");
  command.flag("--everything", recording.everything,
               "Adds the registry's properties that no profile is gathered from");
  command.flag("--unmasked", recording.unmasked,
               "Does not mask serial numbers, UUIDs, seeds and hardware addresses");
  command.example("bvdiag machine record bench.json");
  command.footer(exitStatusText("success", "the file cannot be written"));
  command.runs(record);
}

}  // namespace bvdiag
