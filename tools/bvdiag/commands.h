// The commands of bvdiag: each adds itself to the command line, with its options and what it does.
#pragma once

#include <string>

#include "command_line.h"
#include "session.h"

namespace bvdiag {

void addDemo(AnyCommand& program);
void addPorts(AnyCommand& program);
void addSend(AnyCommand& program);
void addRepeat(AnyCommand& program);
void addTerminal(AnyCommand& program);
void addRun(AnyCommand& program);
void addMonitor(AnyCommand& program);
void addFixture(AnyCommand& program);
void addLog(AnyCommand& program);
void addExec(AnyCommand& program);
void addLaunch(AnyCommand& program);
void addProfile(AnyCommand& program);
void addNvram(AnyCommand& program);
void addRegistry(AnyCommand& program);
void addInterfaces(AnyCommand& program);
void addMachine(AnyCommand& program);
void addDigest(AnyCommand& program);
void addHmac(AnyCommand& program);
void addCrc32(AnyCommand& program);
void addHex(AnyCommand& program);
void addBase64(AnyCommand& program);
void addEncrypt(AnyCommand& program);
void addDecrypt(AnyCommand& program);
void addRandom(AnyCommand& program);
void addPlist(AnyCommand& program);

inline constexpr const char* kGlobalOptionsHint =
    "`bvdiag --help` lists the options of every command: --machine, --simulated, --json, --color.";

// The end of a command's help.
inline std::string exitStatusText(const std::string& success, const std::string& failure) {
  return "Exit status: 0 " + success + "; 1 " + failure + "; 2 wrong usage; 130 Ctrl-C.\n" +
         kGlobalOptionsHint;
}

// The longest run, in seconds: practically without end.
inline constexpr double kLongestDuration = 1e9;

}  // namespace bvdiag
