// Commands and network interfaces.
#include <brisvane/support/Brisvane.h>
#include <glib.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

#include "bench/harness.h"

namespace brisvane::bench {
namespace {

constexpr const char* kTrue = "/usr/bin/true";

int spawned(const char* program) {
  const char* const arguments[] = {program, nullptr};
  pid_t child = 0;
  if (::posix_spawn(&child, program, nullptr, nullptr, const_cast<char**>(arguments), environ) != 0)
    return -1;
  int status = -1;
  ::waitpid(child, &status, 0);
  return status;
}

int spawnedByGlib() {
  const char* const arguments[] = {kTrue, nullptr};
  int status = -1;
  g_spawn_sync(nullptr, const_cast<char**>(arguments), nullptr, G_SPAWN_LEAVE_DESCRIPTORS_OPEN,
               nullptr, nullptr, nullptr, nullptr, &status, nullptr);
  return status;
}

Row commandRow(std::string size, std::size_t resident) {
  const auto memory = std::make_shared<Data>(resident, std::uint8_t{1});
  return {std::move(size),
          1.05,
          {giving(
               "posix_spawn, waitpid", [memory] { return spawned(kTrue); }, 0),
           giving(
               "runCommandWithLaunchPath",
               [] {
                 std::optional<std::string> output;
                 return Brisvane::runCommandWithLaunchPath(kTrue, {}, std::nullopt, output);
               },
               true),
           giving(
               "popen", [] { return ::pclose(::popen(kTrue, "re")); }, 0),  // NOLINT(cert-env33-c)
           giving("GLib", spawnedByGlib, 0)}};
}

constexpr std::size_t kMi = std::size_t{1} << 20U;

std::string zeros(std::size_t mebibytes) {
  return "head -c " + std::to_string(mebibytes) + "M /dev/zero";
}

// The output of a child read into memory that is there already.
std::size_t readThrough(std::vector<char>& space, const std::string& command) {
  std::FILE* const pipe = ::popen(command.c_str(), "re");  // NOLINT(cert-env33-c)
  std::size_t count = 0;
  for (ssize_t got = 0;
       (got = ::read(::fileno(pipe), space.data() + count, space.size() - count)) > 0;) {
    count += static_cast<std::size_t>(got);
  }
  ::pclose(pipe);
  return count;
}

std::size_t popenOutput(const std::string& command) {
  std::FILE* const pipe = ::popen(command.c_str(), "re");  // NOLINT(cert-env33-c)
  std::string output;
  std::array<char, 65536> part;
  for (std::size_t count = 0; (count = std::fread(part.data(), 1, part.size(), pipe)) != 0;)
    output.append(part.data(), count);
  ::pclose(pipe);
  return output.size();
}

// Its output ends at the first zero byte for the caller, who is not told its length.
bool glibOutput(const std::string& command) {
  const char* const arguments[] = {"/bin/sh", "-c", command.c_str(), nullptr};
  char* output = nullptr;
  int status = -1;
  g_spawn_sync(nullptr, const_cast<char**>(arguments), nullptr, G_SPAWN_LEAVE_DESCRIPTORS_OPEN,
               nullptr, nullptr, &output, nullptr, &status, nullptr);
  const bool isThere = output != nullptr;
  g_free(output);
  return isThere && status == 0;
}

Row outputRow(std::size_t mebibytes, const Goal& goal) {
  const auto space = std::make_shared<std::vector<char>>(mebibytes * kMi + 1);
  const std::string command = zeros(mebibytes);
  return {std::to_string(mebibytes) + " MiB of output",
          goal,
          {giving(
               "read into touched memory", [=] { return readThrough(*space, command); },
               mebibytes * kMi),
           giving(
               "runCommandWithLaunchPath",
               [=] {
                 std::optional<std::string> output;
                 const bool ran = Brisvane::runCommandWithLaunchPath("/bin/sh", {"-c", command},
                                                                     std::nullopt, output);
                 return ran && output ? output->size() : 0;
               },
               mebibytes * kMi),
           giving(
               "popen", [=] { return popenOutput(command); }, mebibytes * kMi),
           giving(
               "GLib", [=] { return glibOutput(command); }, true)}};
}

// How far what the process holds in memory grew beyond what it held before, at most.
template <typename Operation>
double growthOfMemory(Operation operation) {
  const auto kibibytes = [](std::string_view name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with(name)) return std::strtod(line.c_str() + name.size(), nullptr);
    }
    return 0.0;
  };
  ::malloc_trim(0);                             // what earlier rows have left would be used again
  std::ofstream("/proc/self/clear_refs") << 5;  // forgets the peak, see proc(5)
  const double before = kibibytes("VmRSS:");
  operation();
  return (kibibytes("VmHWM:") - before) / 1024;
}

Row memoryRow(std::size_t mebibytes) {
  return {
      std::to_string(mebibytes) + " MiB of output, peak memory",
      1.3,
      {holding("the output",
               [=] { return growthOfMemory([=] { keep(std::string(mebibytes * kMi, 'x')); }); }),
       holding("runCommandWithLaunchPath", [=] {
         return growthOfMemory([=] {
           std::optional<std::string> output;
           Brisvane::runCommandWithLaunchPath("/bin/sh", {"-c", zeros(mebibytes)}, std::nullopt,
                                              output);
           keep(output);
         });
       })}};
}

// Programs of the benchmark's own.
Row startRow() {
  const auto starting = [](std::string name, const char* program) {
    return giving(
        std::move(name), [program] { return spawned(program); }, 0);
  };
  return {"a tool that logs one line",
          {2.3, 3.8, "what it links is 2.1 to 3.3 of it, most of that libcrypto and libsystemd"},
          {starting("a program that links nothing", BRISVANE_BENCH_STARTS_NOTHING),
           starting("a tool", BRISVANE_BENCH_STARTS_TOOL),
           starting("what it links, and no line", BRISVANE_BENCH_STARTS_LIBRARIES)}};
}

// The kernel's whole answers about links and addresses.
std::size_t netlinkAnswers() {
  const int socket = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  std::array<char, 32768> answer;
  std::size_t bytes = 0;
  for (const std::uint16_t type : {std::uint16_t{RTM_GETLINK}, std::uint16_t{RTM_GETADDR}}) {
    struct {
      nlmsghdr header;
      rtgenmsg message;
    } request{};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof request.message);
    request.header.nlmsg_type = type;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    ::send(socket, &request, request.header.nlmsg_len, 0);
    for (bool isDone = false; !isDone;) {
      auto left = static_cast<unsigned>(::recv(socket, answer.data(), answer.size(), 0));
      bytes += left;
      for (auto* one = reinterpret_cast<nlmsghdr*>(answer.data()); NLMSG_OK(one, left);
           one = NLMSG_NEXT(one, left)) {
        isDone = isDone || one->nlmsg_type == NLMSG_DONE || one->nlmsg_type == NLMSG_ERROR;
      }
    }
  }
  ::close(socket);
  return bytes;
}

}  // namespace

std::vector<Table> processTables() {
  return {{"runCommandWithLaunchPath",
           {commandRow("true", 0), commandRow("true, 1 GiB resident", 1024 * kMi),
            outputRow(64, 4.5), memoryRow(64)}},
          {"start", {startRow()}},
          {"Growth: command output", {outputRow(1, 0), outputRow(4, 0), outputRow(16, 0)}},
          {"findEthernetInterfaces",
           {{"",
             {1.4, 2.1, "getifaddrs alone is 1.5; then the type of the links in use"},
             {measured("one rtnetlink socket", netlinkAnswers,
                       [](std::size_t bytes) { return bytes != 0; }),
              measured(
                  "findEthernetInterfaces", [] { return Brisvane::findEthernetInterfaces(); },
                  [](const std::optional<Array>& found) { return found.has_value(); })}}}}};
}

}  // namespace brisvane::bench
