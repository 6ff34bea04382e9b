// The commands of bvdiag: each adds itself to the command line, with its options, and
// gives what it does when it is chosen there.
#pragma once

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "session.h"

namespace bvdiag {

// The command that the command line has chosen.
struct Chosen {
  std::function<int(Session&)> run;           // gives the exit status
  bool needsMachine = false;                  // the example machine when no other is given
  bool endsAsAProgram = false;                // the exit status is that of another program, also after a signal
  std::vector<std::string> programArguments;  // of the program that `exec` or `launch` starts
};

void addDemo(CLI::App& program, Chosen& chosen);
void addPorts(CLI::App& program, Chosen& chosen);
void addSend(CLI::App& program, Chosen& chosen);
void addMonitor(CLI::App& program, Chosen& chosen);
void addFixture(CLI::App& program, Chosen& chosen);
void addLog(CLI::App& program, Chosen& chosen);
void addExec(CLI::App& program, Chosen& chosen);
void addLaunch(CLI::App& program, Chosen& chosen);
void addProfile(CLI::App& program, Chosen& chosen);
void addNvram(CLI::App& program, Chosen& chosen);
void addRegistry(CLI::App& program, Chosen& chosen);
void addInterfaces(CLI::App& program, Chosen& chosen);
void addMachine(CLI::App& program, Chosen& chosen);
void addDigest(CLI::App& program, Chosen& chosen);
void addHmac(CLI::App& program, Chosen& chosen);
void addCrc32(CLI::App& program, Chosen& chosen);
void addHex(CLI::App& program, Chosen& chosen);
void addBase64(CLI::App& program, Chosen& chosen);
void addEncrypt(CLI::App& program, Chosen& chosen);
void addDecrypt(CLI::App& program, Chosen& chosen);
void addRandom(CLI::App& program, Chosen& chosen);
void addPlist(CLI::App& program, Chosen& chosen);

inline constexpr const char* kGlobalOptionsHint =
    "`bvdiag --help` tells of the options that every command takes: --machine, --simulated, --json, --color.";

// What the help of a command ends with.
inline std::string exitStatusText(const std::string& success, const std::string& failure) {
  return "Exit status: 0 " + success + "; 1 " + failure + "; 2 wrong usage; 130 Ctrl-C.\n" + kGlobalOptionsHint;
}

// The arguments of a program that a command starts, for the help alone: they never reach the parser, which would
// take what begins with a dash for options (takeProgramArguments).
inline void addProgramArguments(CLI::App& command, std::vector<std::string>& arguments) {
  command.add_option("ARGUMENT", arguments, "Its arguments: all that follows, whatever it looks like");
}

// The longest run, in seconds: as good as without end.
inline constexpr double kLongestDuration = 1e9;

// Accepts a number of seconds from 0 to `most`.
inline CLI::Validator secondsUpTo(double most) {
  const auto check = [most](const std::string& text) {
    double seconds = 0;
    const bool valid = CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= most;
    return valid ? std::string() : "must be a number of seconds, from 0 to " + std::to_string(std::llround(most));
  };
  return CLI::Validator(check, "SECONDS");
}

}  // namespace bvdiag
