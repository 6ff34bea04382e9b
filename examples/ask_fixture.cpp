// Asks a fixture for its version, with a log of what was said.
//
//   ask_fixture [FIXTURE]
//   BRISVANE_MACHINE=station.json ask_fixture     without hardware
#include <brisvane/all.h>
#include <brisvane/host/simulated/simulated_machine.h>

#include <cstdio>
#include <string>

namespace bv = brisvane;

int main(int count, char** arguments) {
  if (const auto used = bv::host::simulated::useIfAsked(); !used.ok())
    return std::puts(used.error().text().c_str()), 1;
  bv::BVLog::configureDefault(bv::SystemLogHandle::waylineLog(), "ask_fixture.log", std::nullopt);
  auto port = bv::BVSerialPort::createPortWithSerial(count > 1 ? arguments[1] : "");
  if (!port || port->openPort(115200) == -1) return std::puts("no fixture to talk to"), 1;
  port->drainPort();  // what the fixture said before
  std::string reply;
  const bool answered = port->sendStringCommand("version", reply, "FW .*\\r\\n", 2.0);
  port->closePort();
  return std::puts(answered ? reply.c_str() : "no answer"), answered ? 0 : 1;
}
