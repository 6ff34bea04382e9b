// `bvdiag log`: lines through the library's logger, and what it collects of errors.
#include <map>
#include <string>
#include <vector>

#include <brisvane/all.h>

#include "commands.h"
#include "log_backup.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct LogOptions {
  std::string file;
  std::string level = "info";
  std::vector<std::string> messages;
};

void write(const std::string& level, const std::string& message) {
  if (level == "debug") bv::BVLog::Default::debug(message);
  if (level == "info") bv::BVLog::Default::info(message);
  if (level == "error") bv::BVLog::Default::error(message);
  if (level == "fault") bv::BVLog::Default::fault(message);
}

int run(const LogOptions& options, Session& session) {
  Output& output = session.output();
  if (!options.file.empty() && !session.startLog(options.file)) return kFailure;
  for (const std::string& message : options.messages) write(options.level, message);
  const std::string errors = bv::BVLog::aggregatedErrorDescription();
  const bool isWritten = session.logIsComplete();
  if (output.json()) {
    output.printResult(
        bv::Dictionary{{"level", options.level},
                       {"messages", options.messages.size()},
                       {"file", options.file.empty() ? bv::Object() : bv::Object(options.file)},
                       {"aggregatedError", errors}});
  } else {
    output.print("aggregated errors:" + (errors.empty() ? " none\n" : "\n" + escapedLines(errors)));
  }
  return isWritten ? kSuccess : kFailure;
}

// Options of messages do not go with the command `backup`.
void check(const LogOptions& options, const AnyCommand& log,
           const std::map<std::string, Option>& ofMessages) {
  const bool backsUp = log.hasChosenCommand();
  if (backsUp && !options.messages.empty()) {
    throw WrongUsage(
        "MESSAGE: write the message \"backup\" after --, as one that begins with a dash");
  }
  for (const auto& [name, option] : ofMessages) {
    if (backsUp && option.isGiven())
      throw WrongUsage(name + ": is for messages only; backup takes its log file as FILE");
  }
  if (!backsUp && options.messages.empty()) throw WrongUsage("MESSAGE is required");
}

}  // namespace

void addLog(AnyCommand& program) {
  auto command = program.command<LogOptions>(
      "log", "Writes lines through the library's logger, then prints the aggregated errors");
  command.words("MESSAGE", &LogOptions::messages,
                "One line each; after -- it may begin with a dash or be \"backup\"");
  const Option file = command.option("--file", &LogOptions::file, "FILE",
                                     "Also logs to this file; default: the system log only");
  const Option level =
      command
          .option("--level", &LogOptions::level, "LEVEL",
                  "debug, info, error or fault; debug messages do not go to the file")
          .showsDefault()
          .oneOf({"debug", "info", "error", "fault"});
  command.example(R"(bvdiag log --file run.log --level error "no answer")");
  command.footer(exitStatusText("success", "the log file cannot be written"));
  addLogBackup(command);
  const std::map<std::string, Option> ofMessages{{"--file", file}, {"--level", level}};
  command.runs(run, {}, [command, ofMessages](const LogOptions& options) {
    check(options, command, ofMessages);
  });
}

}  // namespace bvdiag
