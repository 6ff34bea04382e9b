// The command line: commands, their options as members of a struct of the command's own, and what
// the chosen command runs. The parser's library is included by command_line.cpp alone, because each
// inclusion takes seconds to compile. All that is declared lives as long as the CommandLine.
// REQUIRES: one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace bvdiag {

class Session;

// Thrown by a command's check of its options.
class WrongUsage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What an option or argument sets. The value it has when it is declared is the default.
using Target = std::variant<std::string*, std::optional<std::string>*, double*,
                            std::optional<double>*, std::int32_t*, std::optional<std::int32_t>*,
                            std::int64_t*, std::vector<std::string>*>;

// What the help says of an option beside its own text.
struct OptionNotes {
  std::string value;   // how it calls the value, or what that may be; empty for not at all
  std::string limits;  // "1 or more"
  bool showsDefault = false;
  std::string unit;  // of the default
};

// A declared option, argument or flag, to say more of it.
class Option {
  friend class AnyCommand;

 public:
  Option(CLI::Option* option, OptionNotes* notes) : option_(option), notes_(notes) {}

  Option required() const;
  Option showsDefault() const;  // in its help
  Option oneOf(std::vector<std::string> values) const;
  Option between(std::int32_t least, std::int32_t most) const;
  Option secondsUpTo(double most) const;  // a number of seconds from 0 to `most`
  Option oneEach() const;  // of several values: may be given several times, with one value each
  // The rule gives what is wrong with a value; empty when nothing is.
  Option check(std::function<std::string(const std::string&)> rule) const;
  Option excludes(Option other) const;
  Option needs(Option other) const;

  // Whether the parsed command line has it.
  [[nodiscard]] bool isGiven() const;

 private:
  CLI::Option* option_;
  OptionNotes* notes_;
};

// What the caller of a command has to know.
struct Nature {
  bool needsMachine = false;    // the example machine when no other is given
  bool endsAsAProgram = false;  // the exit status is that of another program, also after a signal
};

// The command that the command line has chosen.
struct Chosen {
  std::function<int(Session&)> run;  // gives the exit status
  Nature nature;
};

template <typename Options>
class Command;

struct NoOptions {};

// A command, or the program itself, whatever its options are.
class AnyCommand {
 public:
  struct State;  // of the whole command line

  AnyCommand(CLI::App& app, State& state) : app_(&app), state_(&state) {}

  // `names` is as in "--drain,!--no-drain"; the latter clears the flag. `value` is how the help
  // calls the value.
  Option option(const std::string& names, const Target& target, const std::string& value,
                const std::string& help);
  Option argument(const std::string& name, const Target& target, const std::string& help);
  Option flag(const std::string& names, bool& target, const std::string& help);
  // One argument or more, each taken as it is, also in brackets.
  Option words(const std::string& name, std::vector<std::string>& target, const std::string& help);
  // All arguments that follow the first one, whatever they look like: those of a program that the
  // command starts.
  void programArguments(std::vector<std::string>& target);
  // Options of which exactly one has to be given, under a heading in the help.
  AnyCommand choice(const std::string& name, const std::string& help);

  // A command of this one.
  template <typename Options = NoOptions>
  Command<Options> command(const std::string& name, const std::string& help) {
    return Command<Options>(subcommand(name, help));
  }
  // Requires one of the commands of this one.
  void requireCommand();
  [[nodiscard]] bool hasChosenCommand() const;

  // The heading under which the commands that follow stand in the help.
  void group(const std::string& heading);
  // A line for the shell that shows a typical use. There may be several.
  void example(const std::string& line);
  // What the help ends with. Each line of it is a paragraph.
  void footer(const std::string& text);

 protected:
  // `choose` may throw WrongUsage, and else gives what to run unless a command of this one is
  // chosen.
  void onParsed(std::function<Chosen()> choose);

 private:
  AnyCommand subcommand(const std::string& name, const std::string& help);
  Option noted(CLI::Option* option);

  CLI::App* app_;
  State* state_;
};

// A command with its own options.
template <typename Options>
class Command : public AnyCommand {
 public:
  explicit Command(AnyCommand command) : AnyCommand(command) {}

  using AnyCommand::argument;
  using AnyCommand::flag;
  using AnyCommand::option;
  using AnyCommand::programArguments;
  using AnyCommand::words;

  template <typename Value>
  Option option(const std::string& names, Value Options::*member, const std::string& value,
                const std::string& help) {
    return option(names, Target(&(options().*member)), value, help);
  }
  template <typename Value>
  Option argument(const std::string& name, Value Options::*member, const std::string& help) {
    return argument(name, Target(&(options().*member)), help);
  }
  Option flag(const std::string& names, bool Options::*member, const std::string& help) {
    return flag(names, options().*member, help);
  }
  Option words(const std::string& name, std::vector<std::string> Options::*member,
               const std::string& help) {
    return words(name, options().*member, help);
  }
  void programArguments(std::vector<std::string> Options::*member) {
    programArguments(options().*member);
  }

  [[nodiscard]] Options& options() const { return *options_; }

  // What the command does, as in `int run(const Options&, Session&)`, which gives the exit status.
  // `check` throws WrongUsage for options that do not go together, and may complete the options.
  void runs(std::function<int(const Options&, Session&)> run, Nature nature = {},
            std::function<void(Options&)> check = {}) {
    onParsed([options = options_, run = std::move(run), nature, check = std::move(check)] {
      if (check) check(*options);
      return Chosen{[options, run](Session& session) { return run(*options, session); }, nature};
    });
  }

 private:
  std::shared_ptr<Options> options_ = std::make_shared<Options>();
};

// What is said instead of running a command.
struct Answer {
  bool isHelp = false;  // help or version, as asked for; otherwise what is wrong
  std::string text;
  std::string command;  // the words that name the command whose options are wrong: "bvdiag send"
};

class CommandLine {
 public:
  CommandLine(const std::string& name, const std::string& description);
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
  ~CommandLine();

  // Declares the program's own options and its commands.
  [[nodiscard]] AnyCommand program();
  // Adds --version, which prints `version`.
  void addVersion(const std::string& version);

  // Parses the words that follow the program's name. Gives the chosen command or, if none is to
  // run, the answer: for so many columns, if it is help.
  [[nodiscard]] std::variant<Chosen, Answer> parse(std::vector<std::string> words,
                                                   std::size_t columns);

 private:
  std::unique_ptr<AnyCommand::State> state_;
};

}  // namespace bvdiag
