// BVSerialPort, one serial device: a test fixture behind a USB serial adapter.
//
// Threads. These may run at the same time on one port, each waiting for the line as
// it needs: readSerialWithTimeout, receiveByte, sendLargeData and the three exchanges;
// clearReadBuffer and every property accessor with any of them. closePort may be
// called during any of them: a system call under way ends as it would have, and the
// operation's next one finds the port closed. Until then the descriptor's number stays taken,
// so that no byte goes into another file; the device can be opened again at once.
// openPort, closePort and drainPort take no lock; two of them at the same time, or one
// of them during an exchange, have the outcome of the system calls as they happen to
// fall. Different ports are independent. spLock is not recursive: who holds it must not
// call an operation that takes it.
#pragma once

#include <atomic>
#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "brisvane/host/platform.h"
#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/result.h"
#include "brisvane/types/text.h"

namespace brisvane {

// A time limit, in seconds.
using Seconds = double;
// A number of polls of up to about 11 ms each; not a time.
using PollCount = std::int64_t;

// Opens a device raw and exclusively, polls it, and holds command/reply exchanges with
// it. Failures are told by the results; messages go to the default logger.
//
// The device is blocking with VMIN 0 and VTIME 1: a read of a line without data waiting
// takes about 0.1 s, which is the step of every time limit below.
//
// When the device goes away (unplugged, hung up) or the port is closed, writes fail, and the
// text exchanges fail instead of taking the dead line for a silent one. A polled read goes on
// through its polls, which are quiet then and take 1 ms each; a byte exchange that lacks bytes
// goes on to its time limit: a huge number of polls, or an endless limit, keeps them going.
// Locks are free and busy() is false when an operation has ended.
//
//   auto port = bv::BVSerialPort::createPortWithSerial("BV0001");
//   if (port && port->openPort(115200) != -1) {
//     port->drainPort();  // whatever the fixture said before
//     std::string reply;
//     if (port->sendStringCommand("version", reply, "FW .*\\r\\n", 2.0)) use(reply);
//   }
class BRISVANE_EXPORT BVSerialPort final {
 public:
  // A port on the first node, in the order "/dev/" lists them, whose path begins with
  // "/dev/cu.usbserial-" and `serial`. The port is not opened. Null when "/dev/"
  // cannot be listed or no node matches. A serial that begins another matches both, and
  // an empty or absent one matches every adapter.
  [[nodiscard]] static std::unique_ptr<BVSerialPort> createPortWithSerial(Text serial);

  // A closed port on a device node. Nothing is opened or validated. The port keeps the
  // platform in force now to its end.
  explicit BVSerialPort(Text path);
  BVSerialPort(const BVSerialPort&) = delete;
  BVSerialPort& operator=(const BVSerialPort&) = delete;
  // Closes the descriptor if openPort opened it and it still stands in spHandle. Does
  // not wait for queued output: call closePort for that.
  ~BVSerialPort();

  // --- Connection ---

  // Opens path() at `speed` bits per second and gives the descriptor, which then stands
  // in spHandle(), or -1. Asserts DTR, which resets some fixtures. Input that waits in
  // the device is kept: see drainPort. A port that is open already keeps its device
  // exclusively, so that opening it again gives -1; the earlier descriptor is closed.
  std::int32_t openPort(std::int32_t speed) noexcept;

  // The same, with the reason when it fails. The error's what() is path(), unless memory runs out.
  [[nodiscard]] Result<> openPortOrError(std::int32_t speed) noexcept;

  // The same on any path, without touching the object: a configured descriptor that
  // the caller closes, or -1 with nothing left open. Fails when another program holds
  // the device's advisory lock. From then on TIOCEXCL keeps other programs out but the
  // superuser's, the lock also those, as far as they ask for it. A speed that the
  // driver cannot come within 3 % of fails.
  [[nodiscard]] std::int32_t openSerialPortWithPath(const char* path, std::uint32_t baudrate) const noexcept;

  // Waits until queued output has been transmitted, closes spHandle() whoever opened
  // it, and sets it to -1. Harmless on a closed port. Blocks for as long as the
  // device's flow control holds the output back, and takes no lock meanwhile. The lock and
  // the mark of exclusive use that opening took are given back at once, the descriptor
  // itself when the last system call of another thread on it ends.
  void closePort() noexcept;

  // Reads and throws away what comes until the line has been quiet for 0.1 s. Does not
  // touch serialReadBuffer(). A device that never stops sending keeps it going.
  void drainPort() noexcept;

  // True when spHandle() is neither -1 nor 0.
  [[nodiscard]] bool isPortOpen() const noexcept;

  // --- Raw input and output ---

  // One poll: waits at most 10 ms, then reads at most 1,024 bytes. nullopt when there
  // are none or the port is closed. Takes no lock.
  [[nodiscard]] std::optional<Data> readData() const;

  // Polls at most `pollCount` times, with 1 ms of sleep ahead of each, and gives all
  // that came. Before the first byte it runs through all its polls; afterwards it ends
  // once chunks and quiet polls together exceed 4. nullopt when nothing came or the
  // port is closed. (The named time-out is this number of polls.)
  [[nodiscard]] std::optional<Data> readSerialWithTimeout(PollCount pollCount);
  template <std::floating_point Time>  // a time is no number of polls
  std::optional<Data> readSerialWithTimeout(Time) = delete;

  // Takes the oldest byte from serialReadBuffer(), polling the device by
  // readSerialWithTimeout first when that is empty. 0 when `byte` was stored; -1 when
  // none came, with `byte` untouched.
  std::int32_t receiveByte(std::uint8_t& byte, std::uint32_t pollCount);
  template <std::floating_point Time>
  std::int32_t receiveByte(std::uint8_t& byte, Time) = delete;

  // Writes all bytes, in as many writes as the device needs. False when the port is
  // closed or a write fails; the rest is dropped then. Blocks while the device takes
  // nothing.
  [[nodiscard]] bool sendLargeData(ByteView data);

  // Overwrites the bytes of serialReadBuffer() with 0 and empties it.
  void clearReadBuffer() noexcept;

  // Each byte as two upper-case digits and a space: "0A FF 10 ". Needs no open port.
  [[nodiscard]] static std::string hexStringFromData(ByteView data);

  // --- Exchanges: a command, and its reply ---
  //
  // Each blocks the calling thread: for spLock, for its write while the device takes
  // nothing, and for its time limit, measured as the larger of the wall clock's and the
  // steady clock's difference. The limit of the first two is one of silence: a device
  // that keeps sending keeps them going. `getResponse` is written only
  // when the result is true. serialReadBuffer() is neither used nor changed. A text
  // command must be 7-bit ASCII; a received byte above 0x7F becomes U+FFFD.

  // Sends the bytes; the reply is complete when it holds `minimumLength` bytes (a
  // negative one counts as 0) and more than two reads have been quiet, all in all. False when the
  // command could not be written whole, or when the line stayed quiet for longer than
  // `timeout`. Holds spLock to its end.
  [[nodiscard]] bool sendDataCommand(ByteView command, Data& getResponse, std::int32_t minimumLength, Seconds timeout);

  template <std::floating_point Length, typename Time>  // the last two swapped
  bool sendDataCommand(ByteView command, Data& getResponse, Length, Time) = delete;

  // Sends the text as it is; the reply is all that comes until the line has been quiet
  // for `withTimeout`, trimmed of blanks and tabs at both ends. Always takes that long.
  // False when the command could not be written whole, or a read failed. Holds spLock
  // to its end.
  [[nodiscard]] bool sendStringCommand(Text command, std::string& getResponse, Seconds withTimeout);

  // Sends the text and a line feed; succeeds as soon as the reply so far matches
  // `acceptPattern`, and hands out the matched part alone. The pattern has the syntax of
  // PCRE2 and is matched without regard to case; docs/serial.md says more of it. End it
  // with the reply's terminator: `FW .*` matches as soon as "FW " has come. With an absent pattern nothing is read, the
  // result is true and `getResponse` stays. False when the command could not be written
  // whole, the pattern does not compile (after sending), a read failed, or `withTimeout`
  // has passed since the start of reading. Holds spLock around each write and read only.
  // The whole reply is searched after every chunk and kept in memory. A search ends with
  // the limit, too, but has at least 0.1 s for what came in time.
  [[nodiscard]] bool sendStringCommand(Text command, std::string& getResponse, Text acceptPattern, Seconds withTimeout);
  // A pattern and a time limit are easily swapped in silence: 0 would be an absent pattern.
  bool sendStringCommand(Text command, std::string& getResponse, Seconds acceptPattern, Seconds withTimeout) = delete;

  // --- Properties ---

  [[nodiscard]] const std::string& path() const noexcept { return path_; }

  // The open descriptor; -1 when closed. One set from outside is the caller's to close.
  // An earlier one stays open, and is the caller's from then on.
  [[nodiscard]] std::int32_t spHandle() const noexcept { return spHandle_; }
  void setSpHandle(std::int32_t handle) noexcept;

  // The lock on the descriptor; never null. Setting null is ignored. An operation
  // under way keeps and unlocks the lock it took.
  [[nodiscard]] std::shared_ptr<std::mutex> spLock() const noexcept;
  void setSpLock(std::shared_ptr<std::mutex> lock) noexcept;

  // A copy of the bytes received by receiveByte and not yet handed out, oldest first.
  // They outlive closePort.
  [[nodiscard]] Data serialReadBuffer() const;
  void setSerialReadBuffer(Data buffer) noexcept;

  // A text that nothing in the library changes. Polled reads on one port run one at a
  // time, whatever it says. Setting it changes nothing when memory runs out.
  [[nodiscard]] std::string busyState() const;
  void setBusyState(Text state) noexcept;

  // True while readSerialWithTimeout runs.
  [[nodiscard]] bool busy() const noexcept { return busy_; }
  void setBusy(bool busy) noexcept { busy_ = busy; }

 private:
  class HandleUse;  // keeps the handle's number from reuse during a system call
  struct Opened {
    std::int32_t handle = -1;
    bool isMarked = false;  // by ourselves, for exclusive use
  };
  enum class WhoseHandle : std::uint8_t { kOpenPorts, kAnyones };

  Result<Opened> openDevice(std::string_view path, std::uint32_t speed) const;
  Result<Opened> openOwnDevice(std::int32_t speed) noexcept;
  bool replaceHandle(const HandleUse& use, Opened next, WhoseHandle toClose) noexcept;
  bool waitForInput(std::chrono::microseconds time) const noexcept;
  Result<std::size_t> readInput(std::span<std::uint8_t> buffer) const noexcept;
  Result<std::size_t> readOnce(std::span<std::uint8_t> buffer) const noexcept;
  Result<std::size_t> writeOnce(ByteView bytes) const noexcept;
  bool writeCommand(ByteView command) const noexcept;
  std::optional<Data> pollRepeatedly(PollCount pollCount);
  void fillReadBuffer(PollCount pollCount);
  bool writeAll(ByteView data);
  bool exchangeBytes(ByteView command, Data& getResponse, std::int32_t minimumLength, Seconds timeout);
  bool exchangeUntilSilence(Text command, std::string& getResponse, Seconds withTimeout);
  bool exchangeUntilMatch(Text command, std::string& getResponse, Text acceptPattern, Seconds withTimeout);
  std::optional<std::uint8_t> takeBufferedByte();

  const std::string path_;
  const std::shared_ptr<const host::Platform> platform_;

  std::atomic<std::int32_t> spHandle_{-1};
  std::atomic<bool> busy_{false};

  // Taken in this order where two are: the read monitor, spLock. propertyMutex_ is never held
  // during a system call.
  std::recursive_mutex readMonitor_;
  mutable std::recursive_mutex bufferMonitor_;  // serialReadBuffer_
  mutable std::mutex propertyMutex_;            // the handle, its uses, spLock_ and busyState_ themselves

  Opened opened_;                              // by openPort, while it stands in spHandle_
  mutable std::int32_t markedForCaller_ = -1;  // the last that openSerialPortWithPath opened and marked
  mutable HandleUse* uses_ = nullptr;
  std::shared_ptr<std::mutex> spLock_ = std::make_shared<std::mutex>();
  Data serialReadBuffer_;
  std::size_t handedOut_ = 0;  // bytes at its front that are gone
  std::string busyState_;
};

}  // namespace brisvane
