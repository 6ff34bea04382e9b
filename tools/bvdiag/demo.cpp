// `bvdiag demo`: the typical run of a diagnostic tool, step by step.
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>

#include <brisvane/all.h>
#include <brisvane/host/files/files.h>
#include <brisvane/host/platform.h>

#include "commands.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

constexpr std::string_view kSerial = "BV0001";
constexpr bv::Seconds kTimeout = 2;

struct Outcome {
  bool ok = false;
  std::string result;
};

std::string timeText(double seconds) {
  return std::to_string(std::llround(seconds * 1000)) + " ms";
}

bv::Data bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

class Demo {
 public:
  Demo(Session& session, std::string log) : session_(session), log_(std::move(log)) {}

  // Gives whether every step came out as it should.
  bool run();

 private:
  Outcome configureLog();
  Outcome gatherProfile();
  Outcome find();
  Outcome open();
  Outcome askWithPattern();
  Outcome askUntilSilence();
  Outcome askInBytes();
  Outcome readByteByByte();
  Outcome readGuardedVariable();
  Outcome launch();
  Outcome runCommand();
  Outcome unplug();
  Outcome close();
  Outcome moveLogAside();

  bool converse();  // the steps that need an open port, whatever comes of each
  bool take(std::string_view name, Outcome (Demo::*step)());
  void showLog();

  Session& session_;
  std::string log_;
  std::size_t logStart_ = 0;  // what the file held before
  std::string failedStep_;    // the first one, and why
  std::unique_ptr<bv::BVSerialPort> port_;
};

Outcome Demo::configureLog() {
  std::error_code absent;
  const auto size = std::filesystem::file_size(log_, absent);
  logStart_ = absent ? 0 : static_cast<std::size_t>(size);
  const bool started = session_.startLog(log_);
  bv::BVLog::Default::info("bvdiag demo");
  return {started, log_};
}

Outcome Demo::gatherProfile() {
  const bv::BVSystemInfo& machine = bv::BVSystemInfo::shared();
  if (!machine.modelID() || !machine.systemSerialNumber())
    return {false, "the machine has no model or no serial number"};
  return {true, *machine.modelID() + ", serial number " + *machine.systemSerialNumber()};
}

Outcome Demo::find() {
  port_ = bv::BVSerialPort::createPortWithSerial(kSerial);
  if (port_ == nullptr) return {false, "no adapter with the serial number " + std::string(kSerial)};
  return {true, port_->path()};
}

Outcome Demo::open() {
  if (port_->openPort(115200) == -1) return {false, "cannot be opened"};
  port_->drainPort();
  return {port_->isPortOpen(), "115200 bits per second"};
}

Outcome Demo::askWithPattern() {
  std::string reply;
  const bool answered = port_->sendStringCommand("version", reply, "FW .*\\r\\n", kTimeout);
  return {answered && reply.starts_with("FW "), reply};
}

Outcome Demo::askUntilSilence() {
  std::string reply;
  const bool answered = port_->sendStringCommand("status\n", reply, 0.5);
  return {answered && reply.ends_with("OK\r\n"), reply};
}

Outcome Demo::askInBytes() {
  const bv::Data command{0x02, 0x10, 0x03};
  bv::Data reply;
  const bool answered = port_->sendDataCommand(command, reply, 5, kTimeout);
  return {answered && reply.size() == 5, bv::BVSerialPort::hexStringFromData(reply)};
}

Outcome Demo::readByteByByte() {
  constexpr std::uint32_t kPolls = 100;
  if (!port_->sendLargeData(bytesOf("echo one by one\n"))) return {false, "cannot be written"};
  bv::Data reply;
  std::uint8_t byte = 0;
  while ((reply.empty() || reply.back() != '\n') && port_->receiveByte(byte, kPolls) == 0)
    reply.push_back(byte);
  return {reply == bytesOf("one by one\r\n"), std::string(reply.begin(), reply.end())};
}

Outcome Demo::readGuardedVariable() {
  const bv::Object refused;
  const auto value = bv::BVNvram::systemGUID_stringFromVariable("bench-mode", true, true, refused);
  if (!value || value->same(refused))
    return {false, "bench-mode does not exist, or this machine refuses it"};
  return {true, "bench-mode = " + value->text().value_or("")};
}

Outcome Demo::launch() {
  constexpr std::int32_t kLimit = 5;
  constexpr const char* kHelper = "org.brisvane.helper";
  const bool isUp =
      bv::BVProcess::runApp("/opt/brisvane/helper", {"--quiet"}, kHelper, kLimit) == 0;
  return {isUp, std::string(kHelper) + (isUp ? " is up" : " did not come up")};
}

Outcome Demo::runCommand() {
  std::optional<std::string> output;
  const bool ran =
      bv::Brisvane::runCommandWithLaunchPath("/bin/uname", {"-sm"}, std::nullopt, output);
  return {ran, output.value_or("")};
}

Outcome Demo::unplug() {
  std::string reply;
  const bool answered = port_->sendStringCommand("unplug", reply, "never said", kTimeout);
  const bool written = port_->sendLargeData(bytesOf("version\n"));
  if (answered || written) return {false, "the port does not report it"};
  return {!port_->busy(), "the exchange and the next write fail"};
}

Outcome Demo::close() {
  port_->closePort();
  return {!port_->isPortOpen(), "closed"};
}

Outcome Demo::moveLogAside() {
  const std::string moved = bv::BVLog::backupPath(log_, bv::host::platform()->clock().wall());
  bv::BVLog::Default::backupLogFileTo(moved);
  if (bv::host::fileKind(moved) == bv::host::FileKind::kNone)
    return {false, "not moved; see the aggregated errors"};
  log_ = moved;
  return {true, log_};
}

bool Demo::take(std::string_view name, Outcome (Demo::*step)()) {
  const auto start = std::chrono::steady_clock::now();
  const Outcome outcome = (this->*step)();
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  Output& output = session_.output();
  if (output.json()) {
    output.printResult(bv::Dictionary{
        {"step", name}, {outcome.ok ? "result" : "error", outcome.result}, {"seconds", seconds}});
  } else {
    constexpr std::size_t kColumn = 36;
    std::string line =
        outcome.ok ? output.colored(Color::kGreen, "✓") : output.colored(Color::kRed, "✗");
    line.append(" ").append(name).append(kColumn - name.size(), ' ');
    output.print(line + escaped(outcome.result) + "  (" + timeText(seconds) + ")\n");
  }
  if (!outcome.ok && failedStep_.empty()) failedStep_ = std::string(name) + ": " + outcome.result;
  return outcome.ok;
}

bool Demo::run() {
  if (!take("configure the log", &Demo::configureLog)) return false;
  const bool isKnown = take("identify the machine", &Demo::gatherProfile);
  const bool ok = take("find the port by its serial number", &Demo::find) &&
                  take("open the port, drain the greeting", &Demo::open) && converse();
  const bool isMoved = take("move the log aside", &Demo::moveLogAside);
  const bool isLogged = session_.logIsComplete();
  showLog();
  return isLogged && isKnown && ok && isMoved;
}

bool Demo::converse() {
  bool ok = take("text, until a pattern matches", &Demo::askWithPattern);
  ok &= take("text, until the line is silent", &Demo::askUntilSilence);
  ok &= take("bytes", &Demo::askInBytes);
  ok &= take("a block, then byte by byte", &Demo::readByteByByte);
  ok &= take("a guarded firmware variable", &Demo::readGuardedVariable);
  ok &= take("a helper application", &Demo::launch);
  ok &= take("a command", &Demo::runCommand);
  ok &= take("the fixture is unplugged", &Demo::unplug);
  ok &= take("close the port", &Demo::close);
  return ok;
}

void Demo::showLog() {
  constexpr std::size_t kLargest = std::size_t{64} << 20U;
  Output& output = session_.output();
  const std::string errors = bv::BVLog::aggregatedErrorDescription();
  const auto log = bv::host::readFile(log_, kLargest);
  const std::string content =
      log.ok() ? log.value().substr(std::min(logStart_, log.value().size())) : "";
  if (!log.ok()) output.complain("log file " + log.error().text());
  if (output.json()) {
    bv::Dictionary result{{"log", log_}, {"content", content}, {"aggregatedError", errors}};
    if (!failedStep_.empty()) result.emplace("error", failedStep_);
    return output.printResult(std::move(result));
  }
  output.print("\naggregated errors:" + (errors.empty() ? " none\n" : "\n" + escapedLines(errors)));
  output.print("\nlog file " + escaped(log_) + ":\n" + escapedLines(content));
}

// A file that no one else has.
std::string freshLog() {
  std::string path = (std::filesystem::temp_directory_path() / "bvdiag-demo-XXXXXX.log").string();
  constexpr int kSuffix = 4;
  const int descriptor = ::mkstemps(path.data(), kSuffix);
  if (descriptor != -1) ::close(descriptor);
  return path;
}

struct DemoOptions {
  std::string log;
};

int run(const DemoOptions& options, Session& session) {
  return Demo(session, options.log.empty() ? freshLog() : options.log).run() ? kSuccess : kFailure;
}

}  // namespace

void addDemo(AnyCommand& program) {
  auto command = program.command<DemoOptions>(
      "demo",
      "Runs the steps of a typical diagnostic tool on the built-in simulated machine, or on "
      "that of --machine, then prints the log");
  command.option("--log", &DemoOptions::log, "FILE",
                 "The log file; default: a new one in the folder for temporary files");
  command.example("bvdiag demo");
  command.footer(exitStatusText("every step succeeded", "a step failed"));
  command.runs(run, {.needsMachine = true});
}

}  // namespace bvdiag
