#include "command_line.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <tuple>

#include <CLI/CLI.hpp>

#include "help_page.h"

namespace bvdiag {
namespace {

// The command that was chosen last: the one within the others.
const CLI::App& chosenWithin(const CLI::App& app) {
  const auto chosen = app.get_subcommands();
  return chosen.empty() ? app : chosenWithin(*chosen.front());
}

// "bvdiag nvram get".
std::string fullName(const CLI::App& app) {
  const CLI::App* const parent = app.get_parent();
  if (parent == nullptr) return app.get_name();
  // A group of options has no name.
  return app.get_name().empty() ? fullName(*parent) : fullName(*parent) + " " + app.get_name();
}

// The commands of a command, or its groups of options.
std::vector<const CLI::App*> within(const CLI::App& app, bool isCommand) {
  return app.get_subcommands(
      [isCommand](const CLI::App* one) { return one->get_name().empty() != isCommand; });
}

std::vector<std::string> namesOfOptions(const CLI::App& app) {
  std::vector<std::string> names;
  const auto add = [&names](const CLI::App& one) {
    for (const CLI::Option* const option : one.get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  };
  for (const CLI::App* one = &app; one != nullptr; one = one->get_parent()) add(*one);
  for (const CLI::App* const group : within(app, false)) add(*group);
  return names;
}

std::string withNearest(const std::string& fault, const std::string& word,
                        const std::vector<std::string>& candidates) {
  const std::string nearest = nearestOf(word, candidates);
  return nearest.empty() ? fault : fault + "; did you mean " + nearest + "?";
}

// What is wrong with a word that the command does not know; empty when there is none. It is the
// fault even where something else is missing, which the word was to be.
std::string faultOfUnknownWord(const CLI::App& program, const CLI::App& command) {
  const std::vector<std::string> unknown = program.remaining(true);
  // It stays, though it only says that no option follows.
  const auto first = std::find_if(unknown.begin(), unknown.end(),
                                  [](const std::string& one) { return one != "--"; });
  if (first == unknown.end()) return {};
  const std::string& word = *first;
  const std::string quoted = '"' + word + '"';
  if (word.starts_with('-') && word != "-") {
    return withNearest("there is no option " + quoted, word.substr(0, word.find('=')),
                       namesOfOptions(command));
  }
  if (command.get_require_subcommand_min() == 0) return quoted + " is one argument too many";
  std::vector<std::string> names;
  for (const CLI::App* const one : within(command, true)) names.push_back(one->get_name());
  return withNearest("there is no command " + quoted, word, names);
}

std::string joined(const std::vector<std::string>& texts, const char* separator) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : separator) + text;
  return all;
}

// What the parser has found wrong, in words for those who do not know the parser.
std::string inWords(const CLI::Error& error) {
  std::string text = error.what();
  const std::string kind = error.get_name();
  if (kind == "ArgumentMismatch") return text.substr(0, text.find(':')) + ": its value is missing";
  for (const auto& [word, plain] :
       {std::pair(" excludes ", " does not go with "), std::pair(" requires ", " needs ")}) {
    if (const std::size_t at = text.find(word); at != std::string::npos)
      return text.replace(at, std::string_view(word).size(), plain);
  }
  return text;
}

std::string faultOf(const CLI::App& program, const CLI::App& command, const CLI::Error& error) {
  if (std::string unknown = faultOfUnknownWord(program, command); !unknown.empty()) return unknown;
  if (error.get_name() != "RequiredError") return inWords(error);
  if (command.get_require_subcommand_min() > 0 && command.get_subcommands().empty())
    return "a command is missing";
  for (const CLI::App* const group : within(command, false)) {
    if (std::string_view(error.what()).find('[') == std::string_view::npos) break;
    std::vector<std::string> names;
    for (const CLI::Option* const option : group->get_options()) {
      if (option != group->get_help_ptr()) names.push_back(option->get_name());
    }
    return "exactly one of " + joined(names, " and ") + " has to be given";
  }
  return inWords(error);
}

// --- What the help says of options ---

std::vector<std::string> namesOf(const std::set<CLI::Option*>& options) {
  std::vector<std::string> names;
  names.reserve(options.size());
  for (const CLI::Option* const option : options) names.push_back(option->get_name());
  std::sort(names.begin(), names.end());
  return names;
}

std::string nameOf(const CLI::Option& option, const OptionNotes& notes) {
  if (option.get_positional()) return option.get_name();
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  const std::string all = joined(names, ", ");
  return notes.value.empty() ? all : all + " " + notes.value;
}

// Its own text, then the rules that this does not name yet.
std::string textOf(const CLI::Option& option, const OptionNotes& notes) {
  std::string text = option.get_description();
  if (!notes.limits.empty()) text += "; " + notes.limits;
  if (notes.showsDefault) text += "; default: " + option.get_default_str() + notes.unit;
  if (const auto needed = namesOf(option.get_needs()); !needed.empty())
    text += "; needs " + joined(needed, " and ");
  if (const auto excluded = namesOf(option.get_excludes()); !excluded.empty())
    text += "; not with " + joined(excluded, " or ");
  return text;
}

}  // namespace

struct AnyCommand::State {
  CLI::App app;
  std::map<std::string, std::pair<CLI::App*, std::vector<std::string>*>>
      programStarters;  // by name, with the target
  Chosen chosen;
  std::map<const CLI::Option*, OptionNotes> notes;
  std::map<const CLI::App*, std::vector<std::string>> examples;
  std::map<const CLI::App*, std::vector<std::string>> groups;  // headings, in their order
  std::map<const CLI::App*, std::string> groupOf;              // of each command

  [[nodiscard]] HelpPage pageOf(const CLI::App& command) const;
  [[nodiscard]] HelpEntry entryOf(const CLI::Option& option) const;
  void addCommands(const CLI::App& command, HelpPage& page) const;

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

HelpEntry AnyCommand::State::entryOf(const CLI::Option& option) const {
  const auto found = notes.find(&option);
  const OptionNotes none;
  const OptionNotes& ofOption = found == notes.end() ? none : found->second;
  return {nameOf(option, ofOption), textOf(option, ofOption)};
}

void AnyCommand::State::addCommands(const CLI::App& command, HelpPage& page) const {
  const auto headings = groups.find(&command);
  if (headings != groups.end()) {
    for (const std::string& heading : headings->second) page.sections.push_back({heading, {}});
  } else if (!within(command, true).empty()) {
    page.sections.push_back({"Commands", {}});
  }
  for (const CLI::App* const one : within(command, true)) {
    const auto group = groupOf.find(one);
    for (HelpSection& section : page.sections) {
      if (group != groupOf.end() && section.title != group->second) continue;
      section.entries.push_back({one->get_name(), firstSentence(one->get_description())});
    }
  }
}

HelpPage AnyCommand::State::pageOf(const CLI::App& command) const {
  HelpPage page;
  const std::string name = fullName(command);
  page.description = command.get_description();
  page.footer = command.get_footer();
  if (const auto found = examples.find(&command); found != examples.end())
    page.examples = found->second;
  addCommands(command, page);
  HelpSection arguments{"Arguments", {}};
  HelpSection options{command.get_parent() == nullptr ? "Options of every command" : "Options", {}};
  std::string usage = name;
  for (const CLI::Option* const option : command.get_options()) {
    HelpSection& section = option->get_positional() ? arguments : options;
    section.entries.push_back(entryOf(*option));
    if (!option->get_positional()) continue;
    const std::string word = option->get_name() + (option->get_expected_max() > 1 ? "..." : "");
    usage +=
        option->get_required() || option->get_expected_min() > 1 ? " " + word : " [" + word + "]";
  }
  if (!arguments.entries.empty() || within(command, true).empty()) page.usages.push_back(usage);
  if (!within(command, true).empty()) page.usages.push_back(name + " COMMAND");
  if (!arguments.entries.empty()) page.sections.push_back(std::move(arguments));
  for (const CLI::App* const group : within(command, false)) {
    page.sections.push_back({group->get_description(), {}});
    for (const CLI::Option* const option : group->get_options()) {
      if (option != group->get_help_ptr()) page.sections.back().entries.push_back(entryOf(*option));
    }
  }
  page.sections.push_back(std::move(options));
  return page;
}

Option Option::required() const {
  option_->required();
  return *this;
}

Option Option::showsDefault() const {
  option_->capture_default_str();
  notes_->showsDefault = true;
  return *this;
}

Option Option::oneOf(std::vector<std::string> values) const {
  notes_->value = joined(values, "|");
  return check([values = std::move(values)](const std::string& text) {
    const bool isOne = std::find(values.begin(), values.end(), text) != values.end();
    return isOne ? std::string() : '"' + text + "\" is not one of " + joined(values, ", ");
  });
}

Option Option::between(std::int32_t least, std::int32_t most) const {
  notes_->limits = std::to_string(least) + (most == std::numeric_limits<std::int32_t>::max()
                                                ? " or more"
                                                : " to " + std::to_string(most));
  return check([least, most, limits = notes_->limits](const std::string& text) {
    std::int64_t number = 0;
    const bool isValid =
        CLI::detail::lexical_cast(text, number) && number >= least && number <= most;
    return isValid ? std::string() : "must be a whole number, " + limits;
  });
}

Option Option::secondsUpTo(double most) const {
  const auto rule = [most](const std::string& text) {
    double seconds = 0;
    const bool valid = CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= most;
    return valid ? std::string()
                 : "must be a number of seconds, from 0 to " + std::to_string(std::llround(most));
  };
  option_->check(CLI::Validator(rule, ""));
  notes_->value = "SECONDS";
  constexpr double kAny = 1e9;  // practically without end
  notes_->limits = most < kAny ? "0 to " + std::to_string(std::llround(most)) + " s" : "0 or more";
  notes_->unit = " s";
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
  const Option option = argument(names, target, help);
  option.notes_->value = value;
  return option;
}

Option AnyCommand::argument(const std::string& name, const Target& target,
                            const std::string& help) {
  return std::visit([&](auto* variable) { return noted(app_->add_option(name, *variable, help)); },
                    target);
}

Option AnyCommand::flag(const std::string& names, bool& target, const std::string& help) {
  return noted(app_->add_flag(names, target, help));
}

Option AnyCommand::words(const std::string& name, std::vector<std::string>& target,
                         const std::string& help) {
  // Expecting more than there will ever be, instead of any number, takes a word in brackets as it
  // is: of an option of any number it would be a list in one argument.
  constexpr int kMost = 1'000'000;
  CLI::Option* const added = app_->add_option(name, target, help);
  added->expected(kMost)->allow_extra_args(false)->multi_option_policy(
      CLI::MultiOptionPolicy::TakeAll);
  return noted(added);
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
  CLI::App* const added = app_->add_subcommand(name, help);
  const auto headings = state_->groups.find(app_);
  if (headings != state_->groups.end()) state_->groupOf.emplace(added, headings->second.back());
  return {*added, *state_};
}

Option AnyCommand::noted(CLI::Option* option) { return {option, &state_->notes[option]}; }

void AnyCommand::group(const std::string& heading) { state_->groups[app_].push_back(heading); }

void AnyCommand::example(const std::string& line) { state_->examples[app_].push_back(line); }

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
  state_->app.set_help_flag("-h,--help", "Shows this help");
  state_->app.fallthrough()->require_subcommand(1);
}

CommandLine::~CommandLine() = default;

AnyCommand CommandLine::program() { return {state_->app, *state_}; }

void CommandLine::addVersion(const std::string& version) {
  state_->app.set_version_flag("--version", version, "Prints the version");
}

std::variant<Chosen, Answer> CommandLine::parse(std::vector<std::string> words,
                                                std::size_t columns) {
  CLI::App& app = state_->app;
  state_->takeProgramArguments(words);
  try {
    std::reverse(words.begin(), words.end());  // as the parser wants them
    app.parse(std::move(words));
  } catch (const WrongUsage& error) {
    return Answer{false, error.what(), fullName(chosenWithin(app))};
  } catch (const CLI::CallForHelp&) {
    return Answer{true, bvdiag::textOf(state_->pageOf(chosenWithin(app)), columns), {}};
  } catch (const CLI::CallForVersion& version) {
    return Answer{true, version.what() + std::string("\n"), {}};
  } catch (const CLI::ParseError& error) {
    const CLI::App& command = chosenWithin(app);
    return Answer{false, faultOf(app, command, error), fullName(command)};
  }
  return state_->chosen;
}

}  // namespace bvdiag
