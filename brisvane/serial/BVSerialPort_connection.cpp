// Finding, opening and closing a port, and its properties.
#include <new>
#include <utility>

#include "brisvane/host/terminal/terminal.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/serial/BVSerialPort.h"
#include "brisvane/serial/handle_use.h"
#include "brisvane/types/join.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

namespace terminal = host::terminal;

constexpr std::string_view kNodePrefix = "cu.usbserial-";
constexpr std::size_t kDrainSize = 256;

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

BVSerialPort::~BVSerialPort() { replaceHandle(HandleUse(*this), {}, WhoseHandle::kOpenPorts); }

std::int32_t BVSerialPort::openPort(std::int32_t speed) noexcept {
  const bool hasName = isAscii(path_) && path_.find('\0') == std::string::npos;
  const Opened opened = hasName ? openDevice(path_.c_str(), static_cast<std::uint32_t>(speed)) : Opened{};
  while (!replaceHandle(HandleUse(*this), opened, WhoseHandle::kOpenPorts)) {
  }
  try {
    BVLog::Default::debug(join({"Serial Port handle: ", std::to_string(opened.handle)}));
  } catch (const std::bad_alloc&) {
    // The line is lost, the port is not.
  }
  return opened.handle;
}

std::int32_t BVSerialPort::openSerialPortWithPath(const char* path, std::uint32_t baudrate) const noexcept {
  const Opened opened = openDevice(path, baudrate);
  const std::scoped_lock lock(propertyMutex_);
  if (opened.isMarked) markedForCaller_ = opened.handle;
  return opened.handle;
}

// Exclusive use, raw mode, speed and DTR, in this order.
BVSerialPort::Opened BVSerialPort::openDevice(const char* path, std::uint32_t speed) const noexcept try {
  if (path == nullptr) return {};
  const int descriptor = terminal::open(platform_->deviceNodes().location(path));
  if (descriptor == -1) return {};
  const auto mark = terminal::claim(descriptor);
  if (mark && terminal::clearStatusFlags(descriptor) && terminal::makeRaw(descriptor, speed) &&
      terminal::assertDtr(descriptor)) {
    return {descriptor, *mark == terminal::Mark::kOwn};
  }
  if (mark) terminal::release(descriptor, *mark);
  terminal::close(descriptor);
  return {};
} catch (const std::bad_alloc&) {
  return {};
}

void BVSerialPort::closePort() noexcept {
  const HandleUse use(*this);
  terminal::drainOutput(use.handle());
  replaceHandle(use, {}, WhoseHandle::kAnyones);
}

// Puts what was opened in the place of the handle in `use`. Ends that handle's exclusive use, and
// has it closed when its last use ends, if it is one to close. False, and nothing is done, when
// another thread has replaced the handle meanwhile.
bool BVSerialPort::replaceHandle(const HandleUse& use, Opened next, WhoseHandle toClose) noexcept {
  const std::int32_t handle = use.handle();
  bool isMarked = false;
  {
    const std::scoped_lock lock(propertyMutex_);
    if (spHandle_ != handle) return false;
    spHandle_ = next.handle;
    const Opened earlier = std::exchange(opened_, next);
    const bool isOpenPorts = handle == earlier.handle;
    if (handle == -1 || (toClose == WhoseHandle::kOpenPorts && !isOpenPorts)) return true;
    isMarked = isOpenPorts ? earlier.isMarked : handle == markedForCaller_;
    if (handle == markedForCaller_) markedForCaller_ = -1;
    use.closeAfterLast();
  }
  terminal::release(handle, isMarked ? terminal::Mark::kOwn : terminal::Mark::kOthers);
  return true;
}

void BVSerialPort::drainPort() noexcept {
  std::uint8_t scratch[kDrainSize];
  while (readOnce(scratch).value_or(0) > 0) {
  }
}

void BVSerialPort::setSpHandle(std::int32_t handle) noexcept {
  const std::scoped_lock lock(propertyMutex_);
  if (spHandle_.exchange(handle) != handle) opened_ = {};
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
