#include "log_backup.h"

#include <memory>
#include <string>

#include <brisvane/all.h>
#include <brisvane/host/platform.h>

#include "log_errors.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct BackupOptions {
  std::string file;
  std::string destination;
  CLI::Option* destinationOption = nullptr;  // an empty destination is one, too
};

int run(const BackupOptions& options, Session& session) {
  Output& output = session.output();
  bv::BVLog log(bv::SystemLogHandle::waylineLog(), options.file, 0);
  const std::string to = options.destinationOption->count() > 0
                             ? options.destination
                             : bv::BVLog::backupPath(options.file, bv::host::platform()->clock().wall());
  if (options.file.empty()) {
    output.complain("FILE: is empty; name the log file");
    return kFailure;
  }
  const std::string failure = errorsOf([&] { log.backupLogFileTo(to); });
  if (!failure.empty()) {
    output.complain(failure);
    return kFailure;
  }
  if (output.json()) {
    output.printResult(bv::Dictionary{{"file", options.file}, {"backup", to}});
  } else {
    output.print(escaped(to) + "\n");
  }
  return kSuccess;
}

}  // namespace

void addLogBackup(CLI::App& log, Chosen& chosen) {
  CLI::App* const command = log.add_subcommand("backup", "Moves a log file aside; the next line begins a new one");
  const auto options = std::make_shared<BackupOptions>();
  command->add_option("FILE", options->file, "The log file")->required();
  options->destinationOption =
      command->add_option("--to", options->destination, "Where to; default: a name with date and time, beside it")
          ->type_name("FILE");
  command->footer(exitStatusText("moved", "not moved"));
  command->callback(
      [&chosen, options] { chosen.run = [options](Session& session) { return run(*options, session); }; });
}

}  // namespace bvdiag
