// A serial port on a pseudo-terminal, whose other end answers each line at once.
#include <brisvane/host/platform.h>
#include <brisvane/serial/BVSerialPort.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <memory>
#include <thread>

#include "bench/harness.h"

namespace brisvane::bench {
namespace {

constexpr std::string_view kReply = "FW 1.2.3 OK\r\n";

class Device {
 public:
  Device()
      : end_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)),
        quiet_(std::make_shared<const host::Platform>()),
        port_(::grantpt(end_) == 0 && ::unlockpt(end_) == 0 ? ::ptsname(end_) : "") {
    port_.openPort(115200);
    answering_ = std::thread([this] { answer(); });
  }
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
  ~Device() {
    port_.closePort();  // hangs the other end up
    answering_.join();
    ::close(end_);
  }

  [[nodiscard]] BVSerialPort& port() noexcept { return port_; }

 private:
  void answer() {
    std::array<char, 65536> space;
    for (ssize_t count = 0; (count = ::read(end_, space.data(), space.size())) > 0;) {
      if (space[static_cast<std::size_t>(count) - 1] == '\n')
        keep(::write(end_, kReply.data(), kReply.size()));
    }
  }

  int end_;
  host::ScopedPlatform quiet_;  // a port keeps the platform of its creation, and so logs nothing
  BVSerialPort port_;
  std::thread answering_;
};

bool writtenBare(int port, ByteView bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(port, bytes.data(), bytes.size());
    if (count <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

bool exchangedBare(int port) {
  constexpr std::string_view kCommand = "version\n";
  std::array<char, 1024> space;
  keep(::write(port, kCommand.data(), kCommand.size()));
  ::usleep(1000);
  return ::read(port, space.data(), space.size()) == static_cast<ssize_t>(kReply.size());
}

bool exchanged(BVSerialPort& port) {
  std::string reply;
  return port.sendStringCommand("version", reply, "FW .*\\r\\n", 2.0) && reply == kReply;
}

// Each byte of a buffer of so many.
Case bytesTaken(const std::shared_ptr<Device>& device, std::size_t count) {
  return {std::to_string(count), [device, count](std::size_t times) {
            for (; times != 0; --times) {
              device->port().setSerialReadBuffer(Data(count, std::uint8_t{'x'}));
              std::uint8_t byte = 0;
              for (std::size_t i = 0; i < count; ++i) keep(device->port().receiveByte(byte, 0));
            }
          }};
}

}  // namespace

std::vector<Table> serialTables() {
  const auto device = std::make_shared<Device>();
  const Data bytes(std::size_t{1} << 20U, std::uint8_t{'x'});
  const int bare = device->port().spHandle();
  return {
      {"sendLargeData",
       {{"1 MiB",
         1.05,
         {giving(
              "write", [=] { return writtenBare(bare, bytes); }, true),
          giving(
              "sendLargeData", [=] { return device->port().sendLargeData(bytes); }, true)}}}},
      {"sendStringCommand",
       {{"an immediate reply",
         1.05,
         {giving(
              "write, 1 ms, read", [=] { return exchangedBare(bare); }, true),
          giving(
              "sendStringCommand", [=] { return exchanged(device->port()); }, true)}}}},
      {"Growth: receiveByte, each byte of a buffer",
       {{"bytes",
         0,
         {bytesTaken(device, 1000), bytesTaken(device, 10'000), bytesTaken(device, 100'000)}}}}};
}

}  // namespace brisvane::bench
