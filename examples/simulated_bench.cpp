// The same conversation without hardware: on a machine described by a JSON text.
#include <brisvane/all.h>
#include <brisvane/host/simulated/simulated_machine.h>

#include <cstdio>
#include <string>

namespace bv = brisvane;

int main() {
  using bv::host::simulated::Machine;
  const auto machine = Machine::fromJson(Machine::exampleDescription());
  if (!machine.ok()) return std::puts(machine.error().text().c_str()), 1;
  const bv::host::ScopedPlatform installed(machine.value()->platform());

  const auto port = bv::BVSerialPort::createPortWithSerial("BV0001");
  if (!port || port->openPort(115200) == -1) return std::puts("the fixture cannot be opened"), 1;
  port->drainPort();
  std::string reply;
  const bool answered = port->sendStringCommand("status", reply, "OK\\r\\n", 2.0);
  port->closePort();
  std::printf("%s\n", answered ? "status: OK" : "status: no answer");
  for (const auto& entry : machine.value()->systemLog())
    std::printf("  %s\n", entry.argument.c_str());
  return answered ? 0 : 1;
}
