// BVSerialPort, one serial device: a test fixture behind a USB serial adapter.
//
// Threads:
//  - readSerialWithTimeout, receiveByte, sendLargeData and the three exchanges may run at the same
//    time on one port. Each takes spLock as it needs.
//  - clearReadBuffer and the property accessors may run at the same time as any operation.
//  - closePort may be called during any operation. A system call under way ends as it would have.
//    Until it has ended, the descriptor's number stays taken, so that no byte goes into another
//    file. The operation's next system call finds the port closed. The device can be opened again
//    at once.
//  - openPort, closePort and drainPort take no lock. When two of them run at the same time, or one
//    of them during an exchange, the order of their system calls decides the outcome.
//  - Different ports are independent.
//  - spLock is not recursive. REQUIRES: its holder does not call an operation that takes it.
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
#include "brisvane/host/terminal/line_options.h"
#include "brisvane/types/bytes.h"
#include "brisvane/types/data.h"
#include "brisvane/types/export.h"
#include "brisvane/types/result.h"
#include "brisvane/types/text.h"

namespace brisvane {

// A time limit, in seconds.
using Seconds = double;
template <typename Rep, typename Period>
[[nodiscard]] constexpr Seconds inSeconds(std::chrono::duration<Rep, Period> time) noexcept {
  return std::chrono::duration<Seconds>(time).count();
}
// A number of polls of up to about 11 ms each; not a time.
using PollCount = std::int64_t;
// What is refused where a number of polls is due.
template <typename T>
concept TimeNotPolls = std::floating_point<T> || requires(const T& time) {
  inSeconds(time);
};

// Opens a device raw and exclusively, polls it, and exchanges commands and replies with it.
// The results report failures. Messages go to the default logger.
//
// A read of a quiet line blocks for about 0.1 s (VMIN 0, VTIME 1). That is the step of every time
// limit below.
//
// When the device is unplugged, the line hangs up or the port is closed:
//  - Writes fail.
//  - The text exchanges fail. They do not take the dead line for a silent one.
//  - A polled read goes on through its polls, which are quiet and take 1 ms each.
//  - A byte exchange that lacks bytes goes on to its time limit.
// So a huge number of polls, or an endless limit, keeps the last two going.
//
// When an operation has ended, its locks are free and busy() is false.
//
//   auto port = bv::BVSerialPort::createPortWithSerial("BV0001");
//   if (port && port->openPort(115200) != -1) {
//     port->drainPort();  // what the fixture said before
//     std::string reply;
//     if (port->sendStringCommand("version", reply, "FW .*\\r\\n", 2.0)) use(reply);
//   }
class BRISVANE_EXPORT BVSerialPort final {
 public:
  // A port on the first node of "/dev/", in the order of its listing, whose path begins with
  // "/dev/cu.usbserial-" and `serial`. An empty or absent `serial` matches every adapter, and one
  // that begins another matches both.
  // The port is not opened. Null when "/dev/" cannot be listed or no node matches.
  [[nodiscard]] static std::unique_ptr<BVSerialPort> createPortWithSerial(Text serial);

  // A closed port on a device node. Opens and checks nothing. The port uses the platform in force
  // now for its whole life.
  explicit BVSerialPort(Text path);
  BVSerialPort(const BVSerialPort&) = delete;
  BVSerialPort& operator=(const BVSerialPort&) = delete;
  // Closes the descriptor if openPort opened it and it is still in spHandle. Does not wait for
  // queued output: call closePort for that.
  ~BVSerialPort();

  // --- Connection ---

  // Opens path() at `speed` bits per second, asserts DTR, and puts the descriptor into spHandle().
  // The descriptor, or -1.
  // DTR resets some fixtures. Input that waits in the device is kept: see drainPort.
  // A port that is already open has its device exclusively. Opening it again fails, and closes the
  // earlier descriptor.
  std::int32_t openPort(std::int32_t speed) noexcept;

  // The same. The error has the reason, and path() as its what() unless memory runs out.
  //
  //   const bv::Result<> opened = port.openPortOrError(115200);
  //   if (!opened.ok()) std::puts(opened.error().text().c_str());
  [[nodiscard]] Result<> openPortOrError(std::int32_t speed) noexcept;

  // The same, with framing and flow control. Fails also when an option is out of its range, and
  // when the driver does not support it.
  //
  //   port.openPortOrError({.speed = 9600, .parity = bv::Parity::kEven, .dataBits = 7});
  [[nodiscard]] Result<> openPortOrError(const LineOptions& options) noexcept;

  // The same on any path, without a change to the object. The caller closes the descriptor.
  // -1, with nothing left open, also in these cases:
  //  - Another program holds the device's advisory lock.
  //  - The driver does not come within 3 % of the speed.
  // The mark TIOCEXCL keeps all other programs out except the superuser's. The lock keeps those
  // out, too, if they ask for it.
  [[nodiscard]] std::int32_t openSerialPortWithPath(const char* path,
                                                    std::uint32_t baudrate) const noexcept;

  // Waits until queued output has been transmitted, closes spHandle(), whoever opened it, and sets
  // it to -1. Does nothing on a closed port.
  // Blocks while the device's flow control holds the output back, and takes no lock meanwhile.
  // Exclusive use ends at once. The descriptor is closed when the last system call of another
  // thread on it ends.
  void closePort() noexcept;

  // Reads and discards input until the line has been quiet for 0.1 s. Does not change
  // serialReadBuffer(). A device that never stops sending keeps it going.
  void drainPort() noexcept;

  // True when spHandle() is neither -1 nor 0.
  [[nodiscard]] bool isPortOpen() const noexcept;

  // --- Raw input and output ---

  // One poll: waits at most 10 ms, then reads at most 1,024 bytes. Takes no lock.
  // nullopt when there are no bytes or the port is closed.
  [[nodiscard]] std::optional<Data> readData() const;

  // Polls at most `pollCount` times, 1 ms apart. All bytes that came.
  // Makes all its polls when no byte comes. After the first byte it ends as soon as chunks and
  // quiet polls together exceed 4.
  // nullopt when nothing came or the port is closed.
  [[nodiscard]] std::optional<Data> readSerialWithTimeout(PollCount pollCount);
  template <TimeNotPolls Time>
  std::optional<Data> readSerialWithTimeout(Time) = delete;  // a number of polls, not seconds

  // Takes the oldest byte from serialReadBuffer(). When that is empty, fills it by
  // readSerialWithTimeout first.
  // 0 when it has set `byte`; -1, with `byte` unchanged, when there is none.
  std::int32_t receiveByte(std::uint8_t& byte, std::uint32_t pollCount);
  template <TimeNotPolls Time>
  std::int32_t receiveByte(std::uint8_t& byte, Time) = delete;  // a number of polls, not seconds

  // Writes all bytes, of a buffer or a text, in as many writes as the device needs. Blocks while
  // the device takes nothing. False when the port is closed or a write fails. The rest is dropped
  // then.
  [[nodiscard]] bool sendLargeData(Bytes data);

  // Overwrites the bytes of serialReadBuffer() with 0, and empties it.
  void clearReadBuffer() noexcept;

  // Each byte as two upper-case digits and a space: "0A FF 10 ".
  [[nodiscard]] static std::string hexStringFromData(Bytes data);

  // --- Exchanges: a command, and its reply ---
  //
  // Each blocks until it has spLock, while the device does not take its write, and then for its
  // time limit. The limit is measured on the wall clock and on the steady clock; the larger
  // difference counts. The limit of the first two is one of silence: a device that keeps sending
  // keeps them going.
  // A limit is a number of seconds or a duration: 0.5, or 500ms.
  // Each sets `getResponse` only when it gives true. None uses serialReadBuffer().
  // A text command must be 7-bit ASCII. A received byte above 0x7F becomes U+FFFD.

  // Sends the bytes, of a buffer or a text. The reply is complete when it has `minimumLength` bytes
  // (a negative length counts as 0) and more than two reads have been quiet in all. Holds spLock to
  // its end. False when the command is not written whole, or the line is quiet for longer than
  // `timeout`.
  [[nodiscard]] bool sendDataCommand(Bytes command, Data& getResponse, std::int32_t minimumLength,
                                     Seconds timeout);
  template <typename Rep, typename Period>
  [[nodiscard]] bool sendDataCommand(Bytes command, Data& getResponse, std::int32_t minimumLength,
                                     std::chrono::duration<Rep, Period> timeout) {
    return sendDataCommand(command, getResponse, minimumLength, inSeconds(timeout));
  }
  template <std::floating_point Length, typename Time>
  bool sendDataCommand(Bytes, Data&, Length, Time) = delete;  // the length comes before the time

  // Sends the text as it is. The reply is all that comes until the line has been quiet for
  // `withTimeout`, without blanks and tabs at its ends. Takes that long even if the reply is
  // complete. Holds spLock to its end.
  // False when the command is not written whole, or a read fails.
  [[nodiscard]] bool sendStringCommand(Text command, std::string& getResponse, Seconds withTimeout);
  template <typename Rep, typename Period>
  [[nodiscard]] bool sendStringCommand(Text command, std::string& getResponse,
                                       std::chrono::duration<Rep, Period> withTimeout) {
    return sendStringCommand(command, getResponse, inSeconds(withTimeout));
  }

  // Sends the text and a line feed. Ends as soon as the reply so far matches `acceptPattern`, and
  // gives the matched part alone. Holds spLock around each write and each read only.
  // The pattern has the syntax of PCRE2 and ignores case; see docs/serial.md. End it with the
  // reply's terminator: `FW .*` matches as soon as "FW " has come.
  // With an absent pattern it reads nothing, gives true and leaves `getResponse` unchanged.
  // False when the command is not written whole, the pattern does not compile (the command has been
  // sent then), a read fails, or `withTimeout` has passed since the start of reading.
  // Keeps the whole reply in memory, and searches all of it after every chunk. A search ends with
  // the limit, too, but has at least 0.1 s for what came in time.
  [[nodiscard]] bool sendStringCommand(Text command, std::string& getResponse, Text acceptPattern,
                                       Seconds withTimeout);
  template <typename Rep, typename Period>
  [[nodiscard]] bool sendStringCommand(Text command, std::string& getResponse, Text acceptPattern,
                                       std::chrono::duration<Rep, Period> withTimeout) {
    return sendStringCommand(command, getResponse, acceptPattern, inSeconds(withTimeout));
  }
  bool sendStringCommand(Text, std::string&, Seconds, Seconds) = delete;  // the pattern is a text
  bool sendStringCommand(Text, std::string&, Seconds, Text) = delete;     // the pattern comes first

  // --- Properties ---

  [[nodiscard]] const std::string& path() const noexcept { return path_; }

  // The open descriptor; -1 when closed.
  // The caller closes a descriptor that it sets. It also closes the earlier one, which stays open.
  [[nodiscard]] std::int32_t spHandle() const noexcept { return spHandle_; }
  void setSpHandle(std::int32_t handle) noexcept;

  // The lock on the descriptor; never null. Setting null changes nothing. An operation under way
  // keeps the lock that it took, and unlocks that one.
  [[nodiscard]] std::shared_ptr<std::mutex> spLock() const noexcept;
  void setSpLock(std::shared_ptr<std::mutex> lock) noexcept;

  // A copy of the bytes that receiveByte has read and not yet given, oldest first. closePort keeps
  // them.
  [[nodiscard]] Data serialReadBuffer() const;
  void setSerialReadBuffer(Data buffer) noexcept;

  // A text for the caller. The library neither reads nor changes it: polled reads on one port run
  // one at a time, whatever it is. Setting it changes nothing when memory runs out.
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

  static constexpr std::chrono::microseconds kPollPause{1'000};  // ahead of each read of a poll

  Result<Opened> openDevice(std::string_view path, const LineOptions& options) const;
  Result<Opened> openOwnDevice(const LineOptions& options) noexcept;
  bool replaceHandle(const HandleUse& use, Opened next, WhoseHandle toClose) noexcept;
  bool waitForInput(std::chrono::microseconds time) const noexcept;
  Result<std::size_t> readInput(std::span<std::uint8_t> buffer) const noexcept;
  Result<std::size_t> readOnce(std::span<std::uint8_t> buffer) const noexcept;
  Result<std::size_t> writeOnce(ByteView bytes) const noexcept;
  bool writeCommand(ByteView command) const noexcept;
  std::optional<Data> pollRepeatedly(PollCount pollCount);
  void fillReadBuffer(PollCount pollCount);
  bool writeAll(ByteView data);
  bool exchangeBytes(ByteView command, Data& getResponse, std::int32_t minimumLength,
                     Seconds timeout);
  bool exchangeUntilSilence(Text command, std::string& getResponse, Seconds withTimeout);
  bool exchangeUntilMatch(Text command, std::string& getResponse, Text acceptPattern,
                          Seconds withTimeout);
  std::optional<std::uint8_t> takeBufferedByte();

  const std::string path_;
  const std::shared_ptr<const host::Platform> platform_;

  std::atomic<std::int32_t> spHandle_{-1};
  std::atomic<bool> busy_{false};

  // Taken in this order where two are: the read monitor, spLock. propertyMutex_ is never held
  // during a system call.
  std::recursive_mutex readMonitor_;
  mutable std::recursive_mutex bufferMonitor_;  // serialReadBuffer_
  mutable std::mutex propertyMutex_;            // the handle, its uses, spLock_ and busyState_

  Opened opened_;                              // by openPort, while it stands in spHandle_
  mutable std::int32_t markedForCaller_ = -1;  // the last that openSerialPortWithPath marked
  mutable HandleUse* uses_ = nullptr;
  std::shared_ptr<std::mutex> spLock_ = std::make_shared<std::mutex>();
  Data serialReadBuffer_;
  std::size_t handedOut_ = 0;  // bytes at its front that are gone
  std::string busyState_;
};

}  // namespace brisvane
