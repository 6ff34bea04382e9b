#include "command_line.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>
#include <tuple>

#include <CLI/CLI.hpp>

namespace bvdiag {
namespace {

// Words in the help's line of usage: they take a number that means any.
class WordsFormatter final : public CLI::Formatter {
 public:
  explicit WordsFormatter(std::string name) : name_(std::move(name)) {}
  std::string make_option_usage(const CLI::Option* option) const override {
    return option->get_name() == name_ ? name_ + "..." : CLI::Formatter::make_option_usage(option);
  }

 private:
  std::string name_;
};

std::string textOfWrongUsage(const CLI::App& program, const CLI::Error& error) {
  const auto unknown =
      program.get_subcommands().empty() ? program.remaining() : std::vector<std::string>();
  if (unknown.empty()) return error.what();
  const std::string& first = unknown.front();
  return (first.starts_with('-') ? "there is no option \"" : "there is no command \"") + first +
         '"';
}

}  // namespace

struct AnyCommand::State {
  CLI::App app;
  std::map<std::string, std::pair<CLI::App*, std::vector<std::string>*>>
      programStarters;  // by name, with the target
  Chosen chosen;

  // Takes the arguments of a program from the words: the parser would take those that begin with a
  // dash for options.
  void takeProgramArguments(std::vector<std::string>& words);
};

void AnyCommand::State::takeProgramArguments(std::vector<std::string>& words) {
  const CLI::App* command = nullptr;
  std::vector<std::string>* arguments = nullptr;
  const auto takesValue = [&](const std::string& word) {
    const CLI::Option* option = app.get_option_no_throw(word);
    if (option == nullptr && command != nullptr) option = command->get_option_no_throw(word);
    return option != nullptr && option->get_items_expected_max() > 0;
  };
  bool hasMark = false;  // after which nothing is an option
  for (auto word = words.begin(); word != words.end(); ++word) {
    if (!hasMark && *word == "--") {
      hasMark = true;
    } else if (!hasMark && word->starts_with('-')) {
      if (takesValue(*word) && word + 1 != words.end()) ++word;
    } else if (command == nullptr) {
      const auto found = programStarters.find(*word);
      if (found == programStarters.end()) return;
      std::tie(command, arguments) = found->second;
    } else {
      arguments->assign(word + 1, words.end());
      words.erase(word + 1, words.end());
      return;
    }
  }
}

Option Option::required() const {
  option_->required();
  return *this;
}

Option Option::valueName(const std::string& name) const {
  option_->type_name(name);
  return *this;
}

Option Option::showsDefault() const {
  option_->capture_default_str();
  return *this;
}

Option Option::oneOf(std::vector<std::string> values) const {
  option_->check(CLI::IsMember(std::move(values)));
  return *this;
}

Option Option::between(std::int32_t least, std::int32_t most) const {
  option_->check(CLI::Range(least, most).name(""));
  return *this;
}

Option Option::secondsUpTo(double most) const {
  const auto rule = [most](const std::string& text) {
    double seconds = 0;
    const bool valid = CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= most;
    return valid ? std::string()
                 : "must be a number of seconds, from 0 to " + std::to_string(std::llround(most));
  };
  option_->type_name("")->check(CLI::Validator(rule, "SECONDS"));
  return *this;
}

Option Option::oneEach() const {
  option_->allow_extra_args(false);
  return *this;
}

Option Option::check(std::function<std::string(const std::string&)> rule) const {
  option_->check(CLI::Validator(std::move(rule), ""));
  return *this;
}

Option Option::excludes(Option other) const {
  option_->excludes(other.option_);
  return *this;
}

Option Option::needs(Option other) const {
  option_->needs(other.option_);
  return *this;
}

bool Option::isGiven() const { return option_->count() > 0; }

Option AnyCommand::option(const std::string& names, const Target& target, const std::string& value,
                          const std::string& help) {
  return argument(names, target, help).valueName(value);
}

Option AnyCommand::argument(const std::string& name, const Target& target,
                            const std::string& help) {
  return std::visit([&](auto* variable) { return Option(app_->add_option(name, *variable, help)); },
                    target);
}

Option AnyCommand::flag(const std::string& names, bool& target, const std::string& help) {
  return Option(app_->add_flag(names, target, help));
}

Option AnyCommand::words(const std::string& name, std::vector<std::string>& target,
                         const std::string& help) {
  // Expecting more than there will ever be, instead of any number, takes a word in brackets as it
  // is: of an option of any number it would be a list in one argument.
  constexpr int kMost = 1'000'000;
  CLI::Option* const added = app_->add_option(name, target, help);
  added->expected(kMost)->allow_extra_args(false)->multi_option_policy(
      CLI::MultiOptionPolicy::TakeAll);
  app_->formatter(std::make_shared<WordsFormatter>(name));
  return Option(added);
}

void AnyCommand::programArguments(std::vector<std::string>& target) {
  // For the help alone: they never reach the parser.
  app_->add_option("ARGUMENT", target,
                   "The program's arguments: everything that follows, options included");
  state_->programStarters.emplace(app_->get_name(), std::pair(app_, &target));
}

AnyCommand AnyCommand::choice(const std::string& name, const std::string& help) {
  CLI::Option_group* const group = app_->add_option_group(name, help);
  group->require_option(1);
  return {*group, *state_};
}

AnyCommand AnyCommand::subcommand(const std::string& name, const std::string& help) {
  return {*app_->add_subcommand(name, help), *state_};
}

void AnyCommand::requireCommand() { app_->require_subcommand(1); }

bool AnyCommand::hasChosenCommand() const { return !app_->get_subcommands().empty(); }

void AnyCommand::footer(const std::string& text) { app_->footer(text); }

void AnyCommand::onParsed(std::function<Chosen()> choose) {
  app_->final_callback([choose = std::move(choose), command = *this] {
    Chosen chosen = choose();
    if (!command.hasChosenCommand()) command.state_->chosen = std::move(chosen);
  });
}

CommandLine::CommandLine(const std::string& name, const std::string& description)
    : state_(std::make_unique<AnyCommand::State>()) {
  state_->app.name(name);
  state_->app.description(description);
  state_->app.fallthrough()->require_subcommand(1);
}

CommandLine::~CommandLine() = default;

AnyCommand CommandLine::program() { return {state_->app, *state_}; }

void CommandLine::addVersion(const std::string& version) {
  state_->app.set_version_flag("--version", version, "Prints the version");
}

std::variant<Chosen, Answer> CommandLine::parse(std::vector<std::string> words) {
  CLI::App& app = state_->app;
  state_->takeProgramArguments(words);
  try {
    std::reverse(words.begin(), words.end());  // as the parser wants them
    app.parse(std::move(words));
  } catch (const WrongUsage& error) {
    return Answer{false, error.what()};
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) return Answer{false, textOfWrongUsage(app, error)};
    std::ostringstream text;
    app.exit(error, text, text);
    return Answer{true, text.str()};
  }
  return state_->chosen;
}

}  // namespace bvdiag
