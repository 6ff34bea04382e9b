// A port that is open on a simulated fixture, for the tests of what it does then.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "brisvane/serial/BVSerialPort.h"
#include "tests/support/simulated_test.h"

namespace brisvane::testing {

class OpenPortTest : public SimulatedTest {
 protected:
  explicit OpenPortTest(const std::string& fixture)
      : SimulatedTest(R"({"devices": [{"name": "cu.usbserial-A1", "fixture": )" + fixture + "}]}"),
        port("/dev/cu.usbserial-A1") {
    if (port.openPort(115200) == -1) throw std::runtime_error("cannot open the fixture");
    machine->clearSystemLog();
  }

  // Whether no operation has left the lock taken or the port busy.
  bool isAtRest() {
    const auto lock = port.spLock();
    const bool free = lock->try_lock();
    if (free) lock->unlock();
    return free && !port.busy();
  }

  void hangUp() { machine->fixture("cu.usbserial-A1")->hangUp(); }

  BVSerialPort port;
};

inline ByteView bytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline std::string textOf(const Data& data) { return {data.begin(), data.end()}; }

}  // namespace brisvane::testing
