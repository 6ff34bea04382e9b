// `bvdiag monitor`: what a fixture sends of its own accord.
#include <array>
#include <chrono>
#include <optional>
#include <string>

#include <brisvane/all.h>
#include <brisvane/host/terminal/terminal.h>

#include "commands.h"
#include "interrupt.h"
#include "lasting_port.h"
#include "traffic_view.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

struct MonitorOptions {
  PortOptions port;
  bool hex = false;
  bool timestamps = false;
  bool reconnect = false;
  std::optional<double> duration;
  std::string log;
};

int run(const MonitorOptions& options, Session& session) {
  Output& output = session.output();
  if (!options.log.empty() && !session.startLog(options.log)) return kFailure;
  ViewOptions viewOptions;
  viewOptions.hex = options.hex;
  viewOptions.timestamps = options.timestamps;
  TrafficView view(viewOptions, output);
  TrafficLog log(!options.log.empty());
  LastingPort port(options.port, options.reconnect, [&](const std::string& text) {
    view.finish();
    if (options.reconnect) output.remark(text);
  });
  std::array<std::uint8_t, 4096> buffer;
  bool isLost = !port.open();
  const RunTime time(options.duration);
  while (!time.isOver() && !output.isBroken() && !isLost) {
    if (port.port() == nullptr) {
      constexpr std::chrono::milliseconds kMoment{100};
      time.waitUntil(std::chrono::steady_clock::now() + kMoment);
      port.retry();
      continue;
    }
    // Not the port's own polls: to them a dead line is a silent one.
    const auto count = bv::host::terminal::read(port.port()->spHandle(), buffer);
    if (!count.ok()) {
      isLost = !port.lose();
    } else if (count.value() > 0) {
      const auto bytes = bv::ByteView(buffer).first(count.value());
      log.received(bytes);
      view.show(bytes);
    }
  }
  view.finish();
  log.flush();
  if (isLost) output.complain(port.error());
  return session.logIsComplete() && !isLost ? kSuccess : kFailure;
}

}  // namespace

void addMonitor(AnyCommand& program) {
  auto command = program.command<MonitorOptions>(
      "monitor", "Prints what arrives, until Ctrl-C or for a given time; sends nothing");
  addPortOptions(command, command.options().port);
  command.flag("--hex", &MonitorOptions::hex, "Prints the bytes as a hex dump");
  command.flag("--timestamps", &MonitorOptions::timestamps,
               "Prints the time of day ahead of each line");
  command.flag("--reconnect", &MonitorOptions::reconnect,
               "Waits for an adapter that is absent or pulled");
  command
      .option("--duration", &MonitorOptions::duration, "", "Ends after this time; default: never")
      .secondsUpTo(kLongestDuration);
  command.option("--log", &MonitorOptions::log, "FILE",
                 "Also logs each line to this file, and to the system log");
  command.example("bvdiag monitor --timestamps --reconnect");
  command.footer(
      exitStatusText("the duration is over",
                     "the port cannot be opened, the line hung up, or the log cannot be written"));
  command.runs(run);
}

}  // namespace bvdiag
