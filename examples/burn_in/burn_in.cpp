// A burn-in: holds a unit under load, and watches its temperature and its supply.
//
//   burn_in FIXTURE ROUNDS SECONDS     a look at the unit every so many seconds
//
// Ctrl-C ends the run after the round, as failed. The load is switched off in any case. burn_in.log
// has every round and all that the fixture said. The exit status is 0 when the unit passes, 1 when
// it fails, and 2 when the run cannot begin.
#include <brisvane/all.h>
#include <brisvane/host/simulated/simulated_machine.h>

#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>

namespace bv = brisvane;
using namespace std::chrono_literals;

namespace {

volatile std::sig_atomic_t interrupted = 0;

// The number at the beginning of a text.
template <typename Number>
std::optional<Number> numberAt(std::string_view text) {
  Number number{};
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  return read.ec == std::errc() ? std::optional(number) : std::nullopt;
}

// A number in the unit's report, and the limits that it must keep.
struct Quantity {
  std::string_view name, key;
  double low, high;

  [[nodiscard]] bool holds(std::string_view report) const {
    const auto number = numberAt<double>(report.substr(report.find(key) + key.size()));
    return number && low <= *number && *number <= high;
  }
};
constexpr Quantity kQuantities[] = {{"temperature in °C", "temp=", 10, 70},
                                    {"supply in V", "volt=", 4.75, 5.25}};

// The unit's load. It is on as long as this lives.
class Load {
 public:
  explicit Load(bv::BVSerialPort& port) : port_(port), on_(acknowledged("load on")) {}
  Load(const Load&) = delete;
  ~Load() {
    if (!acknowledged("load off")) bv::BVLog::Default::error("the load may still be on");
  }
  [[nodiscard]] bool on() const { return on_; }

 private:
  bool acknowledged(const char* command) {
    std::string reply;
    return port_.sendStringCommand(command, reply, "OK\\r\\n", 2s);
  }

  bv::BVSerialPort& port_;
  bool on_;
};

// The unit's report, such as "temp=23.5 volt=5.01". An answer may get lost now and then.
bv::Result<std::string> askForReport(bv::BVSerialPort& port) {
  constexpr char kReport[] = "temp=[0-9.]+ volt=[0-9.]+(?= OK\\r\\n)";
  std::string report;
  for (int attempt = 1; !port.sendStringCommand("status", report, kReport, 2s); ++attempt) {
    if (attempt == 3) return bv::Error::because("the unit does not answer", port.path());
    port.drainPort();  // what is left of a garbled answer
  }
  return report;
}

bv::Result<> burnIn(bv::BVSerialPort& port, int rounds, std::chrono::duration<double> pause) {
  const Load load(port);
  if (!load.on()) return bv::Error::because("the load does not go on", port.path());
  for (int round = 1; round <= rounds; ++round) {
    if (interrupted != 0) return bv::Error::because("interrupted", port.path());
    if (round > 1) std::this_thread::sleep_for(pause);
    const bv::Result<std::string> report = askForReport(port);
    if (!report.ok()) return report.error();
    const std::string line = "round " + std::to_string(round) + ": " + report.value();
    std::puts(line.c_str());
    bv::BVLog::Default::info(line);
    for (const Quantity& quantity : kQuantities)
      if (!quantity.holds(report.value())) return bv::Error::because(line, quantity.name);
  }
  return {};
}

}  // namespace

int main(int count, char** arguments) {
  // BRISVANE_MACHINE=station.json runs this program on a simulated machine.
  if (const auto used = bv::host::simulated::useIfAsked(); !used.ok())
    return std::puts(used.error().text().c_str()), 2;
  const auto rounds = count == 4 ? numberAt<int>(arguments[2]) : std::nullopt;
  const auto pause = count == 4 ? numberAt<double>(arguments[3]) : std::nullopt;
  if (!pause || rounds < 1) return std::puts("usage: burn_in FIXTURE ROUNDS SECONDS"), 2;
  (void)std::signal(SIGINT, [](int) { interrupted = 1; });
  bv::BVLog::configureDefault(bv::SystemLogHandle::waylineLog(), "burn_in.log", std::nullopt);

  const auto port = bv::BVSerialPort::createPortWithSerial(arguments[1]);
  if (!port) return std::printf("no fixture %s\n", arguments[1]), 2;
  if (const auto opened = port->openPortOrError(115200); !opened.ok())
    return std::puts(opened.error().text().c_str()), 2;
  port->drainPort();  // what the fixture says at start

  const auto result = burnIn(*port, *rounds, std::chrono::duration<double>(*pause));
  const std::string verdict = result.ok() ? "PASS" : "FAIL: " + result.error().text();
  std::puts(verdict.c_str());
  bv::BVLog::Default::info(verdict);
  port->closePort();
  return result.ok() ? 0 : 1;
}
