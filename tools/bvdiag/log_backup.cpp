#include "log_backup.h"

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
};

// An empty destination is one, too.
int run(const BackupOptions& options, bool hasDestination, Session& session) {
  Output& output = session.output();
  bv::BVLog log(bv::SystemLogHandle::waylineLog(), options.file, 0);
  const std::string to =
      hasDestination ? options.destination : bv::BVLog::backupPath(options.file, bv::host::platform()->clock().wall());
  if (options.file.empty()) {
    output.complain("FILE: is empty; give the path of the log file");
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

void addLogBackup(AnyCommand& log) {
  auto command = log.command<BackupOptions>("backup", "Moves a log file aside; the next line begins a new one");
  command.argument("FILE", &BackupOptions::file, "The log file").required();
  const Option destination =
      command.option("--to", &BackupOptions::destination, "FILE",
                     "The new path; default: in the same folder, with date and time in the name");
  command.footer(exitStatusText("success", "the file cannot be moved"));
  command.runs([destination](const BackupOptions& options, Session& session) {
    return run(options, destination.isGiven(), session);
  });
}

}  // namespace bvdiag
