#include "log_backup.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <memory>

#include <brisvane/all.h>

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct BackupOptions {
  std::string file;
  std::string destination;
};

// A file, whatever its name becomes.
class Followed {
 public:
  explicit Followed(const std::string& path) : descriptor_(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)) {}
  Followed(const Followed&) = delete;
  Followed& operator=(const Followed&) = delete;
  ~Followed() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  // Where it is; empty when it has not been there.
  [[nodiscard]] std::string path() const {
    std::error_code absent;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor_), absent).string();
  }

 private:
  int descriptor_;
};

int run(const BackupOptions& options, Session& session) {
  Output& output = session.output();
  bv::BVLog log(bv::SystemLogHandle::waylineLog(), options.file, 0);
  bv::BVLog::initAggregatedError("");
  const auto moved = backUpLog(log, options.destination.empty() ? bv::Text() : bv::Text(options.destination));
  if (!moved) {
    const std::string reason = bv::BVLog::aggregatedErrorDescription();
    output.complain(reason.substr(0, reason.find('\n')) + "; nothing has been moved");
    return kFailure;
  }
  if (output.json()) {
    output.printJson(bv::Dictionary{{"file", options.file}, {"backup", *moved}});
  } else {
    output.print(escaped(*moved) + "\n");
  }
  return kSuccess;
}

}  // namespace

std::optional<std::string> backUpLog(bv::BVLog& log, bv::Text destination) {
  const Followed file(log.logFilePath().value_or(""));
  const std::string before = file.path();
  log.backupLogFileTo(destination);
  const std::string after = file.path();
  if (after == before) return std::nullopt;
  return destination.copy().value_or(after);
}

void addLogBackup(CLI::App& log, Chosen& chosen) {
  CLI::App* const command = log.add_subcommand("backup", "Moves a log file aside; the next line begins a new one");
  const auto options = std::make_shared<BackupOptions>();
  command->add_option("FILE", options->file, "The log file")->required();
  command->add_option("--to", options->destination, "Where to; default: a name with date and time, beside it")
      ->type_name("FILE");
  command->footer(exitStatusText("moved", "left where it is"));
  command->callback(
      [&chosen, options] { chosen.run = [options](Session& session) { return run(*options, session); }; });
}

}  // namespace bvdiag
