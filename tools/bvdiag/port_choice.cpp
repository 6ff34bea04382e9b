#include "port_choice.h"

#include <array>
#include <cerrno>
#include <limits>

#include <brisvane/host/platform.h>
#include <brisvane/host/terminal/terminal.h>
#include <brisvane/types/former_error.h>

#include "interrupt.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
namespace terminal = bv::host::terminal;

std::string adviceFor(int error) {
  switch (error) {
    case ENOENT:
      return "check the name: `bvdiag ports` lists the adapters";
    case EACCES:
    case EPERM:
      return "join the group dialout or install the device rules (61-brisvane.rules)";
    case EBUSY:
    case EWOULDBLOCK:
      return "another program holds it: end that program first";
    case ENOTTY:
      return "it is no serial device: `bvdiag ports` lists those that are";
    case ENXIO:
    case ENODEV:
    case EIO:
      return "check that the adapter is plugged in";
    default:
      return "check the device";
  }
}

// Takes the steps of opening again, one by one: the port tells no reason.
std::string explainFailure(const std::string& path, std::int32_t speed) {
  const auto reason = [&path](int error) { return bv::errorText(path, error) + "; " + adviceFor(error); };
  const int descriptor = terminal::open(bv::host::platform()->deviceNodes().location(path));
  if (descriptor == -1) return reason(errno);
  std::string text = path + ": could not be opened, but could be now; try again";
  const auto mark = terminal::claim(descriptor);
  if (!mark) {
    text = reason(errno);
  } else if (!terminal::makeRaw(descriptor, static_cast<std::uint32_t>(speed))) {
    text = path + ": does not run at " + std::to_string(speed) + " bits per second; try --speed 115200";
  }
  if (mark) terminal::release(descriptor, *mark);
  terminal::close(descriptor);
  return text;
}

std::string explainAbsence(const std::string& serial) {
  if (!bv::host::platform()->deviceNodes().list()) {
    return std::string(bv::host::DeviceNodes::kDirectory) + ": the devices cannot be listed; name one with --port";
  }
  return std::string(bv::host::DeviceNodes::kDirectory) + std::string(kAdapterPrefix) + serial +
         "*: there is no such adapter; " + std::string(kNoAdapterHint);
}

}  // namespace

void addPortOptions(AnyCommand& command, PortOptions& options) {
  const Option path = command.option("--port", &options.path, "PATH", "The device to open, as in /dev/ttyUSB0");
  command
      .option("--serial", &options.serial, "S", "The adapter whose serial number begins so; default: the first found")
      .excludes(path);
  command.option("--speed", &options.speed, "N", "Bits per second")
      .showsDefault()
      .between(1, std::numeric_limits<std::int32_t>::max());
}

OpenedPort openPort(const PortOptions& options) {
  OpenedPort opened;
  auto port = options.path ? std::make_unique<bv::BVSerialPort>(*options.path)
                           : bv::BVSerialPort::createPortWithSerial(options.serial);
  if (port == nullptr) {
    opened.error = explainAbsence(options.serial);
    return opened;
  }
  opened.path = port->path();
  if (port->openPort(options.speed) == -1) {
    opened.error = explainFailure(opened.path, options.speed);
  } else {
    opened.port = std::move(port);
  }
  return opened;
}

void discardInput(const bv::BVSerialPort& port) {
  // Not drainPort, which a device that never stops sending would keep from an interrupt.
  std::array<std::uint8_t, 1024> scratch;
  while (!interrupted() && terminal::read(port.spHandle(), scratch).value_or(0) > 0) {
  }
}

std::optional<std::string> lineFailure(const bv::BVSerialPort& port) {
  std::array<std::uint8_t, 64> scratch;
  if (terminal::read(port.spHandle(), scratch)) return std::nullopt;
  const int error = errno;
  return port.path() + ": the line has hung up (" + bv::errorText(error) + "); " + adviceFor(EIO);
}

}  // namespace bvdiag
