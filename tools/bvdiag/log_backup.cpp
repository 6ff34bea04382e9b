#include "log_backup.h"

#include <cerrno>
#include <string>

#include <brisvane/all.h>
#include <brisvane/host/files/move_file.h>
#include <brisvane/host/platform.h>

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct BackupOptions {
  std::string file;
  std::string destination;
};

std::string explain(const bv::host::MoveOutcome& outcome) {
  std::string text = outcome.result.error().text();
  for (const std::string& path : outcome.remains) text += "; a part of the log is in " + path;
  if (outcome.hasLostLines) text += "; lines that were written meanwhile are lost";
  switch (outcome.result.error().number()) {
    case EEXIST:
      return text + "; name another file with --to";
    case ENOENT:
    case EACCES:
    case EPERM:
      return text + "; check both paths and their permissions";
    default:
      return text;
  }
}

// An empty destination is one, too.
int run(const BackupOptions& options, bool hasDestination, Session& session) {
  Output& output = session.output();
  const std::string to =
      hasDestination ? options.destination
                     : bv::BVLog::backupPath(options.file, bv::host::platform()->clock().wall());
  if (options.file.empty()) {
    output.complain("FILE: is empty; give the path of the log file");
    return kFailure;
  }
  const auto outcome = bv::host::moveFile(options.file, to);
  if (!outcome.result.ok()) {
    output.complain(explain(outcome));
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
  auto command = log.command<BackupOptions>(
      "backup", "Moves a log file aside; the next line begins a new one");
  command.argument("FILE", &BackupOptions::file, "The log file").required();
  const Option destination =
      command.option("--to", &BackupOptions::destination, "FILE",
                     "The new path; default: in the same folder, with date and time in the name");
  command.example("bvdiag log backup run.log");
  command.footer(exitStatusText("success", "the file cannot be moved"));
  command.runs([destination](const BackupOptions& options, Session& session) {
    return run(options, destination.isGiven(), session);
  });
}

}  // namespace bvdiag
