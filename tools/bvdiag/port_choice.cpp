#include "port_choice.h"

#include <array>
#include <cerrno>
#include <limits>

#include <brisvane/host/platform.h>
#include <brisvane/host/terminal/terminal.h>

#include "interrupt.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
namespace terminal = bv::host::terminal;

std::string adviceFor(int error) {
  switch (error) {
    case ENOENT:
      return "check the name; `bvdiag ports` lists the adapters";
    case EACCES:
    case EPERM:
      return "join the group dialout or install the device rules (61-brisvane.rules)";
    case EBUSY:
    case EWOULDBLOCK:
      return "another program holds it; end that program first";
    case ENOTTY:
      return "it is no serial device; `bvdiag ports` lists the adapters";
    case ERANGE:
      return "try --speed 115200";
    case ENOTSUP:
      return "try another --framing or --flow, or none";
    case ENXIO:
    case ENODEV:
    case EIO:
      return "check that the adapter is plugged in";
    default:
      return "check the device";
  }
}

std::string explainAbsence(const std::string& serial) {
  if (!bv::host::platform()->deviceNodes().list().ok()) {
    return std::string(bv::host::DeviceNodes::kDirectory) +
           ": the devices cannot be listed; name one with --port";
  }
  return std::string(bv::host::DeviceNodes::kDirectory) + std::string(kAdapterPrefix) + serial +
         "*: there is no such adapter; " + std::string(kNoAdapterHint);
}

}  // namespace

void addPortOptions(AnyCommand& command, PortOptions& options) {
  const Option path =
      command.option("--port", &options.path, "PATH", "The device, as in /dev/ttyUSB0");
  command
      .option("--serial", &options.serial, "S",
              "The adapter whose serial number begins with S; default: the first one")
      .excludes(path);
  command.option("--speed", &options.speed, "N", "Bits per second")
      .showsDefault()
      .between(1, std::numeric_limits<std::int32_t>::max());
  addLineOptions(command, options.line);
}

OpenedPort openPort(const PortOptions& options) {
  OpenedPort opened;
  auto port = options.path ? std::make_unique<bv::BVSerialPort>(*options.path)
                           : bv::BVSerialPort::createPortWithSerial(options.serial);
  if (port == nullptr) {
    opened.error = explainAbsence(options.serial);
    opened.isAbsent = true;
    return opened;
  }
  opened.path = port->path();
  if (const auto result = port->openPortOrError(lineOptions(options.line, options.speed));
      !result.ok()) {
    const int reason = result.error().number();
    opened.error = result.error().text() + "; " + adviceFor(reason);
    opened.isAbsent = reason == ENOENT || reason == ENXIO || reason == ENODEV;
  } else {
    opened.port = std::move(port);
  }
  return opened;
}

void discardInput(const bv::BVSerialPort& port) {
  // Not drainPort, which a device that never stops sending would keep from an interrupt.
  std::array<std::uint8_t, 1024> scratch;
  while (!interrupted() && terminal::read(port.spHandle(), scratch).optional().value_or(0) > 0) {
  }
}

std::optional<std::string> lineFailure(const bv::BVSerialPort& port) {
  std::array<std::uint8_t, 64> scratch;
  const auto count = terminal::read(port.spHandle(), scratch);
  if (count.ok()) return std::nullopt;
  return port.path() + ": the line has hung up (" + count.error().reason() + "); " + adviceFor(EIO);
}

}  // namespace bvdiag
