// An end-of-line tester: names a new unit, measures it, and writes a report on it.
//
//   end_of_line FIXTURE UNIT     UNIT is the serial number that the unit gets, such as SN0042
//
// The report is UNIT.plist, and UNIT.log has all that the fixture said. The exit status is 0 when
// the unit passes, 1 when it fails, and 2 when the test cannot begin.
#include <brisvane/all.h>
#include <brisvane/host/simulated/simulated_machine.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <string>

namespace bv = brisvane;
using namespace std::chrono_literals;

namespace {

// What is measured. A pattern matches a number alone, once all of the reply is there.
struct Measurement {
  const char* name;
  const char* command;
  const char* pattern;
  double low;
  double high;
};
constexpr Measurement kMeasurements[] = {
    {"5 V supply, V", "measure 5V", "[0-9.]+(?= V OK\\r\\n)", 4.75, 5.25},
    {"3.3 V supply, V", "measure 3V3", "[0-9.]+(?= V OK\\r\\n)", 3.135, 3.465},
    {"current, mA", "measure current", "[0-9]+(?= mA OK\\r\\n)", 250, 500},
};

// The steps of a test so far, as the report has them.
class Steps {
 public:
  void add(const std::string& name, bool passed, const bv::Object& value) {
    steps_.emplace_back(bv::Dictionary{{"name", name}, {"passed", passed}, {"value", value}});
    passed_ = passed_ && passed;
    std::printf("%s  %s\n", passed ? "pass" : "FAIL", name.c_str());
  }
  [[nodiscard]] bool passed() const { return passed_; }
  [[nodiscard]] const bv::Array& all() const { return steps_; }

 private:
  bv::Array steps_;
  bool passed_ = true;
};

void giveName(bv::BVSerialPort& port, const std::string& unit, Steps& steps) {
  std::string reply;
  const bool named = port.sendStringCommand("name " + unit, reply, unit + " OK\\r\\n", 2s);
  steps.add("serial number", named, unit);
}

void measure(bv::BVSerialPort& port, const Measurement& measurement, Steps& steps) {
  std::string digits;
  double number = 0;
  if (!port.sendStringCommand(measurement.command, digits, measurement.pattern, 2s))
    return steps.add(measurement.name, false, "no answer");
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  const bool within = measurement.low <= number && number <= measurement.high;
  steps.add(measurement.name, within, number);
}

bool writeReport(const std::string& unit, const Steps& steps) {
  const bv::Dictionary station = bv::BVSystemInfo::shared().profile();
  return bv::writeToPlist(
      {
          {"unit", unit},
          {"passed", steps.passed()},
          {"tested", std::chrono::system_clock::now()},
          {"steps", steps.all()},
          {"station", bv::BV::removeNullFromDictionary(station)},
          {"errors", bv::BVLog::aggregatedErrorDescription()},
      },
      unit + ".plist");
}

// The name goes into a pattern and into the names of files.
bool isSerialNumber(const std::string& text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  });
}

}  // namespace

int main(int count, char** arguments) {
  // BRISVANE_MACHINE=station.json runs this program on a simulated machine.
  if (const auto used = bv::host::simulated::useIfAsked(); !used.ok())
    return std::puts(used.error().text().c_str()), 2;
  const std::string unit = count == 3 ? arguments[2] : "";
  if (!isSerialNumber(unit)) return std::puts("usage: end_of_line FIXTURE UNIT"), 2;
  bv::BVLog::configureDefault(bv::SystemLogHandle::waylineLog(), unit + ".log", std::nullopt);

  const auto port = bv::BVSerialPort::createPortWithSerial(arguments[1]);
  if (!port) return std::printf("no fixture %s\n", arguments[1]), 2;
  if (const auto opened = port->openPortOrError(115200); !opened.ok())
    return std::puts(opened.error().text().c_str()), 2;
  port->drainPort();  // what the fixture says at start

  Steps steps;
  giveName(*port, unit, steps);
  for (const Measurement& measurement : kMeasurements) measure(*port, measurement, steps);
  port->closePort();
  if (!writeReport(unit, steps)) return std::puts("the report cannot be written"), 2;
  std::printf("%s %s\n", steps.passed() ? "PASS" : "FAIL", unit.c_str());
  return steps.passed() ? 0 : 1;
}
