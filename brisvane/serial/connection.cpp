// Finding, opening and closing a port, and its properties.
#include <new>
#include <utility>

#include "brisvane/host/terminal.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/serial/BVSerialPort.h"
#include "brisvane/types/join.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

namespace terminal = host::terminal;

constexpr std::string_view kNodePrefix = "cu.usbserial-";
constexpr std::size_t kDrainSize = 256;

// Exclusive use, raw mode, speed and DTR, in this order.
bool configure(int descriptor, std::uint32_t speed) noexcept {
  return terminal::claim(descriptor) && terminal::clearStatusFlags(descriptor) &&
         terminal::makeRaw(descriptor, speed) && terminal::assertDtr(descriptor);
}

}  // namespace

std::unique_ptr<BVSerialPort> BVSerialPort::createPortWithSerial(Text serial) try {
  const auto platform = host::platform();
  const auto names = platform->deviceNodes().list();
  if (!names) return nullptr;
  const std::string prefix = join({kNodePrefix, serial.orEmpty()});
  for (const std::string& name : *names) {
    if (!name.starts_with(prefix)) continue;
    return std::make_unique<BVSerialPort>(join({host::DeviceNodes::kDirectory, name}));
  }
  return nullptr;
} catch (const std::bad_alloc&) {
  return nullptr;
}

BVSerialPort::BVSerialPort(Text path) : path_(path.orEmpty()), platform_(host::platform()) {}

BVSerialPort::~BVSerialPort() {
  const std::int32_t opened = openedHandle_;
  if (opened != -1 && opened == spHandle_) terminal::close(opened);
}

std::int32_t BVSerialPort::openPort(std::int32_t speed) noexcept {
  const bool hasName = isAscii(path_) && path_.find('\0') == std::string::npos;
  const std::int32_t opened = hasName ? openSerialPortWithPath(path_.c_str(), static_cast<std::uint32_t>(speed)) : -1;
  const std::int32_t earlierOpened = openedHandle_.exchange(opened);
  const std::int32_t earlier = spHandle_.exchange(opened);
  if (earlier != -1 && earlier == earlierOpened) terminal::close(earlier);
  try {
    BVLog::Default::debug(join({"Serial Port handle: ", std::to_string(opened)}));
  } catch (const std::bad_alloc&) {
    // The line is lost, the port is not.
  }
  return opened;
}

std::int32_t BVSerialPort::openSerialPortWithPath(const char* path, std::uint32_t baudrate) const noexcept try {
  if (path == nullptr) return -1;
  const int descriptor = terminal::open(platform_->deviceNodes().location(path));
  if (descriptor == -1) return -1;
  if (configure(descriptor, baudrate)) return descriptor;
  terminal::close(descriptor);
  return -1;
} catch (const std::bad_alloc&) {
  return -1;
}

void BVSerialPort::closePort() noexcept {
  const std::int32_t handle = spHandle_;
  terminal::drainOutput(handle);
  // Of two threads that close, one closes: the number may be another file's by then.
  std::int32_t expected = handle;
  if (!spHandle_.compare_exchange_strong(expected, -1)) return;
  openedHandle_ = -1;
  if (handle != -1) terminal::close(handle);
}

void BVSerialPort::drainPort() noexcept {
  std::uint8_t scratch[kDrainSize];
  while (terminal::read(spHandle_, scratch).value_or(0) > 0) {
  }
}

bool BVSerialPort::isPortOpen() const noexcept {
  const std::int32_t handle = spHandle_;
  return handle != -1 && handle != 0;
}

std::shared_ptr<std::mutex> BVSerialPort::spLock() const noexcept {
  const std::scoped_lock lock(propertyMutex_);
  return spLock_;
}

void BVSerialPort::setSpLock(std::shared_ptr<std::mutex> lock) noexcept {
  if (lock == nullptr) return;
  const std::scoped_lock guard(propertyMutex_);
  spLock_.swap(lock);
}

Data BVSerialPort::serialReadBuffer() const {
  const std::scoped_lock lock(bufferMonitor_);
  return {serialReadBuffer_.begin() + static_cast<std::ptrdiff_t>(handedOut_), serialReadBuffer_.end()};
}

void BVSerialPort::setSerialReadBuffer(Data buffer) noexcept {
  const std::scoped_lock lock(bufferMonitor_);
  serialReadBuffer_.swap(buffer);
  handedOut_ = 0;
}

std::string BVSerialPort::busyState() const {
  const std::scoped_lock lock(propertyMutex_);
  return busyState_;
}

void BVSerialPort::setBusyState(Text state) noexcept try {
  std::string text(state.orEmpty());
  const std::scoped_lock lock(propertyMutex_);
  busyState_.swap(text);
} catch (const std::bad_alloc&) {
  // It stays as it was.
}

}  // namespace brisvane
