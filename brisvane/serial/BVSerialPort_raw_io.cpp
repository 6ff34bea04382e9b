// Polled reads, byte reception and block writes of a port.
#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

#include "brisvane/host/clock.h"
#include "brisvane/host/terminal/terminal.h"
#include "brisvane/logging/BVLog.h"
#include "brisvane/serial/BVSerialPort.h"
#include "brisvane/serial/handle_use.h"
#include "brisvane/types/hex.h"
#include "brisvane/types/join.h"
#include "brisvane/types/out_of_memory.h"

namespace brisvane {
namespace {

using std::chrono::microseconds;
namespace terminal = host::terminal;

constexpr std::size_t kPollSize = 1024;
constexpr microseconds kPollWait{10'000};
// A polled read ends when chunks and the quiet polls after the first exceed this.
constexpr int kEnoughPolls = 4;

constexpr std::string_view kReceiveByteName = "-[BVSerialPort receiveByte:timeout:]";

// Sets a flag for as long as it lives.
class Raised {
 public:
  explicit Raised(std::atomic<bool>& flag) noexcept : flag_(flag) { flag_ = true; }
  Raised(const Raised&) = delete;
  Raised& operator=(const Raised&) = delete;
  ~Raised() { lower(); }

  void lower() noexcept { flag_ = false; }

 private:
  std::atomic<bool>& flag_;
};

}  // namespace

// --- Single system calls ---
// Each has the handle that stands in the port when it begins: between the wait and the read another
// thread may close the port, and what comes then is for whoever opens the device next.

bool BVSerialPort::waitForInput(microseconds time) const noexcept {
  const HandleUse use(*this);
  return terminal::waitReadable(use.handle(), time);
}

Result<std::size_t> BVSerialPort::readInput(std::span<std::uint8_t> buffer) const noexcept {
  const HandleUse use(*this);
  return terminal::read(use.handle(), buffer, microseconds::zero());
}

// Waits as a quiet terminal does for the first byte. The number of bytes, 0 for a quiet line.
Result<std::size_t> BVSerialPort::readOnce(std::span<std::uint8_t> buffer) const noexcept {
  static_cast<void>(
      waitForInput(terminal::kQuietTime));  // the read distinguishes silence from failure
  return readInput(buffer);
}

Result<std::size_t> BVSerialPort::writeOnce(ByteView bytes) const noexcept {
  const HandleUse use(*this);
  return terminal::write(use.handle(), bytes);
}

// --- Operations ---

std::optional<Data> BVSerialPort::readData() const {
  return memoryPermitting(std::nullopt, [&]() -> std::optional<Data> {
    if (!isPortOpen()) return std::nullopt;
    const bool isReadable = waitForInput(kPollWait);
    if (!isReadable || !isPortOpen()) return std::nullopt;
    std::array<std::uint8_t, kPollSize> scratch;
    const std::size_t count = readInput(scratch).optional().value_or(0);
    if (count == 0) return std::nullopt;
    return Data(scratch.begin(), scratch.begin() + static_cast<std::ptrdiff_t>(count));
  });
}

std::optional<Data> BVSerialPort::readSerialWithTimeout(PollCount pollCount) {
  return memoryPermitting(std::nullopt, [&] { return pollRepeatedly(pollCount); });
}

std::optional<Data> BVSerialPort::pollRepeatedly(PollCount pollCount) {
  const std::scoped_lock monitor(readMonitor_);
  Raised busy(busy_);
  if (!isPortOpen()) return std::nullopt;
  Data received;
  {
    const auto line = spLock();
    const std::scoped_lock lock(*line);
    int counter = 0;  // chunks, and the quiet polls after the first
    for (PollCount poll = 0; poll < pollCount; ++poll) {
      host::pause(kPollPause);
      if (const auto chunk = readData()) {
        BVLog::Default::debug(
            join({"read data from port...got new data ", std::to_string(chunk->size()), " bytes"}));
        received.insert(received.end(), chunk->begin(), chunk->end());
        ++counter;
      } else {
        if (counter > 0) ++counter;
        if (counter > kEnoughPolls) break;
      }
    }
  }
  if (received.empty()) {
    BVLog::Default::debug("data return length 0 bytes");
    return std::nullopt;
  }
  busy.lower();
  BVLog::Default::debug(join({"data return:", describe(received)}));
  return received;
}

// The oldest byte of the read buffer, removed from it.
std::optional<std::uint8_t> BVSerialPort::takeBufferedByte() {
  const std::scoped_lock monitor(bufferMonitor_);
  if (serialReadBuffer_.empty()) return std::nullopt;
  const std::uint8_t byte = serialReadBuffer_[handedOut_];
  // Moving the rest to the front for each byte would be quadratic.
  if (++handedOut_ == serialReadBuffer_.size()) {
    serialReadBuffer_.clear();
    handedOut_ = 0;
  }
  return byte;
}

// Polls the device, and adds what came to the read buffer.
void BVSerialPort::fillReadBuffer(PollCount pollCount) {
  const auto received = readSerialWithTimeout(pollCount);
  if (!received) return;
  {
    const std::scoped_lock monitor(bufferMonitor_);
    serialReadBuffer_.insert(serialReadBuffer_.end(), received->begin(), received->end());
  }
  BVLog::Default::debug(join({kReceiveByteName, " Receive_Byte: ", describe(*received),
                              " len=", std::to_string(received->size())}));
  BVLog::Default::debug(join({kReceiveByteName, " Receive_Byte:", hexStringFromData(*received)}));
}

std::int32_t BVSerialPort::receiveByte(std::uint8_t& byte, std::uint32_t pollCount) {
  return memoryPermitting(-1, [&] {
    auto next = takeBufferedByte();
    if (!next) {
      fillReadBuffer(pollCount);
      next = takeBufferedByte();
    }
    if (!next) return -1;
    byte = *next;
    return 0;
  });
}

bool BVSerialPort::sendLargeData(Bytes data) {
  return memoryPermitting(false, [&] { return writeAll(data.orEmpty()); });
}

bool BVSerialPort::writeAll(ByteView data) {
  if (!isPortOpen()) return false;
  if (data.empty()) return true;
  const auto line = spLock();
  const std::scoped_lock lock(*line);
  // A copy, so that the caller's bytes may change while the line is slow.
  const Data block(data.begin(), data.end());
  for (ByteView pending = block; !pending.empty();) {
    const auto written = writeOnce(pending);
    if (!written.ok()) {
      BVLog::Default::error(
          join({"Error writing to serial port:", std::to_string(written.error().number())}));
      return false;
    }
    pending = pending.subspan(written.value());
  }
  return true;
}

void BVSerialPort::clearReadBuffer() noexcept {
  const std::scoped_lock monitor(bufferMonitor_);
  std::fill(serialReadBuffer_.begin(), serialReadBuffer_.end(), std::uint8_t{0});
  serialReadBuffer_.clear();
  handedOut_ = 0;
}

std::string BVSerialPort::hexStringFromData(Bytes data) { return spacedHexText(data.orEmpty()); }

}  // namespace brisvane
