// `bvdiag log`: lines through the library's logger, and what it collects of errors.
#include <memory>
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

// The usage line of the command, whose only positional takes a number that means any.
class Help final : public CLI::Formatter {
 public:
  std::string make_option_usage(const CLI::Option* option) const override {
    return option->get_name() == "MESSAGE" ? "MESSAGE..." : CLI::Formatter::make_option_usage(option);
  }
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
    output.printResult(bv::Dictionary{{"level", options.level},
                                      {"messages", options.messages.size()},
                                      {"file", options.file.empty() ? bv::Object() : bv::Object(options.file)},
                                      {"aggregatedError", errors}});
  } else {
    output.print("aggregated errors:" + (errors.empty() ? " none\n" : "\n" + escapedLines(errors)));
  }
  return isWritten ? kSuccess : kFailure;
}

}  // namespace

void addLog(CLI::App& program, Chosen& chosen) {
  CLI::App* const command =
      program.add_subcommand("log", "Writes lines through the library's logger, then shows the aggregated errors");
  const auto options = std::make_shared<LogOptions>();
  // Expecting more than there will ever be, instead of any number, takes a message in
  // brackets as it is: of an option of any number it would be a list in one argument.
  constexpr int kMostMessages = 1'000'000;
  command
      ->add_option("MESSAGE", options->messages, "One line each; after -- it may begin with a dash, or be \"backup\"")
      ->expected(kMostMessages)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command->add_option("--file", options->file, "The log file; default: the system log alone")->type_name("FILE");
  command->add_option("--level", options->level, "debug, info, error or fault; a debug message reaches no file")
      ->capture_default_str()
      ->check(CLI::IsMember({"debug", "info", "error", "fault"}))
      ->type_name("LEVEL");
  command->formatter(std::make_shared<Help>());
  command->footer(exitStatusText("written", "the log file cannot be written"));
  addLogBackup(*command, chosen);
  command->callback([&chosen, options, command] {
    const bool backsUp = !command->get_subcommands().empty();
    if (backsUp && !options->messages.empty()) {
      throw CLI::ValidationError("MESSAGE", "a message \"backup\" stands after --, as one that begins with a dash");
    }
    for (const char* const option : {"--file", "--level"}) {
      if (backsUp && command->count(option) > 0) {
        throw CLI::ValidationError(option, "is of messages; backup names its log file itself");
      }
    }
    if (backsUp) return;
    if (options->messages.empty()) throw CLI::RequiredError("MESSAGE");
    chosen.run = [options](Session& session) { return run(*options, session); };
  });
}

}  // namespace bvdiag
