// Finding, opening and closing a port, and its properties.
#include <cerrno>
#include <utility>

#include "brisvane/host/terminal/terminal.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/serial/BVSerialPort.h"
#include "brisvane/serial/handle_use.h"
#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

namespace terminal = host::terminal;

constexpr std::string_view kNodePrefix = "cu.usbserial-";
constexpr std::size_t kDrainSize = 256;

std::unique_ptr<BVSerialPort> firstPortOf(const host::DeviceNodes& devices, Text serial) {
  const auto names = devices.list();
  if (!names.ok()) return nullptr;
  const std::string prefix = join({kNodePrefix, serial.orEmpty()});
  for (const std::string& name : names.value()) {
    if (!name.starts_with(prefix)) continue;
    return std::make_unique<BVSerialPort>(join({host::DeviceNodes::kDirectory, name}));
  }
  return nullptr;
}

}  // namespace

std::unique_ptr<BVSerialPort> BVSerialPort::createPortWithSerial(Text serial) {
  const auto platform = host::platform();
  return memoryPermitting(nullptr, [&] { return firstPortOf(platform->deviceNodes(), serial); });
}

BVSerialPort::BVSerialPort(Text path) : path_(path.orEmpty()), platform_(host::platform()) {}

BVSerialPort::~BVSerialPort() { replaceHandle(HandleUse(*this), {}, WhoseHandle::kOpenPorts); }

std::int32_t BVSerialPort::openPort(std::int32_t speed) noexcept {
  const auto opened = openOwnDevice({.speed = static_cast<std::uint32_t>(speed)});
  return opened.ok() ? opened.value().handle : -1;
}

Result<> BVSerialPort::openPortOrError(std::int32_t speed) noexcept {
  return openPortOrError(LineOptions{.speed = static_cast<std::uint32_t>(speed)});
}

Result<> BVSerialPort::openPortOrError(const LineOptions& options) noexcept {
  const auto opened = openOwnDevice(options);
  return opened.ok() ? Result<>() : opened.error();
}

std::int32_t BVSerialPort::openSerialPortWithPath(const char* path,
                                                  std::uint32_t baudrate) const noexcept {
  if (path == nullptr) return -1;
  const auto opened = memoryPermitting(
      Error(ENOMEM), [&] { return openDevice(path, LineOptions{.speed = baudrate}); });
  if (!opened.ok()) return -1;
  const std::scoped_lock lock(propertyMutex_);
  if (opened.value().isMarked) markedForCaller_ = opened.value().handle;
  return opened.value().handle;
}

// Opens path() and puts it in the place of the present handle, which is closed even if that fails.
Result<BVSerialPort::Opened> BVSerialPort::openOwnDevice(const LineOptions& options) noexcept {
  auto opened = memoryPermitting(Error(ENOMEM), [&]() -> Result<Opened> {
    if (!isAscii(path_)) return Error(EINVAL, path_, "a device path is ASCII");
    return openDevice(path_, options);
  });
  const Opened next = opened.ok() ? opened.value() : Opened{};
  while (!replaceHandle(HandleUse(*this), next, WhoseHandle::kOpenPorts)) {
  }
  unlessOutOfMemory([&] {
    BVLog::Default::debug(join({"Serial Port handle: ", std::to_string(next.handle)}));
  });
  return opened;
}

// The caller closes the descriptor, and ends its exclusive use.
Result<BVSerialPort::Opened> BVSerialPort::openDevice(std::string_view path,
                                                      const LineOptions& options) const {
  auto line = terminal::Line::open(platform_->deviceNodes().location(path), options);
  if (!line.ok()) return line.error().of(shownPath(path));
  const bool isMarked = line.value().mark() == terminal::Mark::kOwn;
  return Opened{line.value().giveUp(), isMarked};
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
  while (readOnce(scratch).optional().value_or(0) > 0) {
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
  return {serialReadBuffer_.begin() + static_cast<std::ptrdiff_t>(handedOut_),
          serialReadBuffer_.end()};
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

void BVSerialPort::setBusyState(Text state) noexcept {
  unlessOutOfMemory([&] {
    std::string text(state.orEmpty());
    const std::scoped_lock lock(propertyMutex_);
    busyState_.swap(text);
  });
}

}  // namespace brisvane
