#include "brisvane/serial/BVSerialPort.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <thread>
#include <vector>

#include "brisvane/host/terminal/terminal.h"
#include "brisvane/host/terminal/termios2.h"
#include "tests/support/open_port.h"

namespace brisvane {
namespace {

using host::real::LineSpeed;
using ::testing::AllOf;
using testing::bytes;
using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::IsEmpty;
using ::testing::Lt;
using testing::OpenPortTest;
using testing::SimulatedTest;
using testing::textOf;

class PortSearchTest : public SimulatedTest {
 protected:
  PortSearchTest()
      : SimulatedTest(R"({"devices": [{"name": "tty.usbserial-A1"}, {"name": "cu.usbserial-B7"},
                                      {"name": "cu.usbserial-A1B2"}, {"name": "cu.usbserial-A1"}]})") {
  }
};

TEST_F(PortSearchTest, TakesTheFirstCallUpNodeThatBeginsWithTheSerial) {
  EXPECT_EQ(BVSerialPort::createPortWithSerial("A1")->path(), "/dev/cu.usbserial-A1B2");
  EXPECT_EQ(BVSerialPort::createPortWithSerial("")->path(), "/dev/cu.usbserial-B7");
  EXPECT_EQ(BVSerialPort::createPortWithSerial(nullptr)->path(), "/dev/cu.usbserial-B7");
  EXPECT_EQ(BVSerialPort::createPortWithSerial("C"), nullptr);
  const host::ScopedPlatform nothing(std::make_shared<host::Platform>());
  EXPECT_EQ(BVSerialPort::createPortWithSerial("A1"), nullptr);
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(PortSearchTest, NewPortIsClosedAndItsOperationsSaySoWithoutTouchingADescriptor) {
  BVSerialPort port("/dev/cu.usbserial-A1");
  EXPECT_EQ(port.spHandle(), -1);
  EXPECT_FALSE(port.isPortOpen());
  EXPECT_FALSE(port.busy());
  EXPECT_THAT(port.serialReadBuffer(), IsEmpty());
  EXPECT_EQ(port.busyState(), "");
  port.setSpLock(nullptr);
  EXPECT_NE(port.spLock(), nullptr);

  std::uint8_t byte = 7;
  EXPECT_FALSE(port.readData());
  EXPECT_FALSE(port.readSerialWithTimeout(1'000'000));
  EXPECT_EQ(port.receiveByte(byte, 1'000'000), -1);
  EXPECT_EQ(byte, 7);
  EXPECT_FALSE(port.sendLargeData(bytes("x")));
  EXPECT_FALSE(port.sendLargeData({}));
  port.drainPort();
  port.closePort();
  EXPECT_EQ(port.spHandle(), -1);
  EXPECT_THAT(logged(), IsEmpty());

  port.setSpHandle(0);
  EXPECT_FALSE(port.isPortOpen());
  port.setSpHandle(3);
  EXPECT_TRUE(port.isPortOpen());
}

// How many descriptors this process has open, on a file or at all.
std::size_t openDescriptors(const std::string& file = "") {
  std::size_t count = 0;
  for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const auto target = std::filesystem::read_symlink(descriptor, gone);
    if (file.empty() || target == file) ++count;
  }
  return count;
}

TEST_F(PortSearchTest, OpeningThatFailsGivesMinusOneAndLeavesNothingOpen) {
  const std::size_t before = openDescriptors();
  const std::string regular = folder / "regular";
  testing::writeFile(regular, "kept");
  for (const std::string& path :
       {folder / "missing", std::string("/dev/null"), std::string("/dev/nöde"), regular,
        std::string("/dev/cu.usbserial-A1"), std::string("/dev/nul\0l", 9)}) {
    BVSerialPort port{Text(path)};
    EXPECT_EQ(port.openPort(115200), -1) << path;
    EXPECT_EQ(port.spHandle(), -1);
    EXPECT_THAT(logged(), ElementsAre("debug %{public}@|Serial Port handle: -1"));
  }
  EXPECT_EQ(BVSerialPort("").openSerialPortWithPath(nullptr, 115200), -1);
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_EQ(testing::contentOf(regular), "kept");
}

class BVSerialPortTest : public OpenPortTest {
 protected:
  BVSerialPortTest()
      : OpenPortTest(R"({"commands": [
    {"command": "five", "replies": ["hello"]},
    {"command": "drip", "replies": [{"text": "abcdefghijkl", "split": 1, "gap": 0.025}]},
    {"command": "big", "replies": [{"noise": 3000}]},
    {"command": "stop", "replies": ["last"], "hangUp": true}], "unknown": ["?"]})") {}

  // Reads until something has come; the simulated fixture may take its time.
  Data readSomething() {
    for (;;) {
      if (auto data = port.readSerialWithTimeout(10'000)) return *data;
    }
  }
};

TEST_F(BVSerialPortTest, OpenPortIsRawExclusiveBlockingAndAtItsSpeed) {
  const int handle = port.spHandle();
  ASSERT_GT(handle, 2);
  EXPECT_EQ(::fcntl(handle, F_GETFL) & O_NONBLOCK, 0);
  EXPECT_EQ(::fcntl(handle, F_GETFD), FD_CLOEXEC);
  termios settings{};
  ASSERT_EQ(::tcgetattr(handle, &settings), 0);
  EXPECT_EQ(settings.c_cc[VMIN], 0);
  EXPECT_EQ(settings.c_cc[VTIME], 1);
  EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG | IEXTEN), 0U);
  EXPECT_EQ(settings.c_iflag & (ICRNL | IXON | IXOFF | ISTRIP | INPCK), 0U);
  EXPECT_EQ(settings.c_oflag & OPOST, 0U);
  EXPECT_EQ(settings.c_cflag & (CSIZE | PARENB | CREAD), static_cast<tcflag_t>(CS8 | CREAD));
  EXPECT_EQ(host::real::lineSpeed(handle).value(), (LineSpeed{115200, 115200}));

  BVSerialPort other(port.path());
  EXPECT_EQ(other.openPort(115200), -1);
}

TEST_F(BVSerialPortTest, OpeningThatFailsGivesItsReasonToWhoAsks) {
  BVSerialPort other(port.path());
  EXPECT_EQ(other.openPortOrError(115200).error().text(),
            errorText(port.path(), ::geteuid() == 0 ? EAGAIN : EBUSY));
  EXPECT_FALSE(other.isPortOpen());
  port.closePort();
  EXPECT_EQ(other.openPortOrError(0).error().text(),
            port.path() + ": does not run at 0 bits per second");
  EXPECT_EQ(BVSerialPort("/dev/nöde").openPortOrError(9600).error().text(),
            "/dev/nöde: a device path is ASCII");
  EXPECT_EQ(BVSerialPort("").openPortOrError(9600).error().text(),
            "an empty path: No such file or directory");
  EXPECT_TRUE(other.openPortOrError(115200).ok());
  EXPECT_TRUE(other.isPortOpen());
}

// A pseudo-terminal takes every option but the parity and the number of data bits, which its driver
// puts back.
TEST_F(BVSerialPortTest, OpensWithOptionsAndSaysWhichOneTheDeviceDoesNotSupport) {
  const auto openedWith = [this](const LineOptions& options) {
    port.closePort();
    const auto opened = port.openPortOrError(options);
    return opened.ok() ? "" : opened.error().text();
  };
  const auto settings = [this] {
    termios now{};
    EXPECT_EQ(::tcgetattr(port.spHandle(), &now), 0);
    return now;
  };
  const std::string failed = port.path() + ": ";
  EXPECT_EQ(openedWith({.speed = 9600, .stopBits = 2, .flowControl = FlowControl::kSoftware}), "");
  EXPECT_EQ(settings().c_cflag & (CSTOPB | CRTSCTS), static_cast<tcflag_t>(CSTOPB));
  EXPECT_EQ(settings().c_iflag & (IXON | IXOFF), static_cast<tcflag_t>(IXON | IXOFF));
  EXPECT_EQ(host::real::lineSpeed(port.spHandle()).value(), (LineSpeed{9600, 9600}));
  EXPECT_EQ(openedWith({.flowControl = FlowControl::kHardware}), "");
  EXPECT_EQ(settings().c_cflag & (CSTOPB | CRTSCTS), static_cast<tcflag_t>(CSTOPB | CRTSCTS))
      << "what is unset stays as the device has it";
  EXPECT_EQ(settings().c_iflag & (IXON | IXOFF), 0U);
  EXPECT_EQ(openedWith({.parity = Parity::kNone,
                        .dataBits = 8,
                        .stopBits = 1,
                        .flowControl = FlowControl::kNone}),
            "");
  EXPECT_EQ(settings().c_cflag & (CSTOPB | CRTSCTS), 0U);

  EXPECT_EQ(openedWith({.parity = Parity::kMark}), failed + "does not support the parity");
  EXPECT_EQ(openedWith({.dataBits = 7}), failed + "does not support the number of data bits");
  EXPECT_EQ(openedWith({.dataBits = 9}), failed + "data bits are 5, 6, 7 or 8");
  EXPECT_EQ(openedWith({.stopBits = 0}), failed + "stop bits are 1 or 2");
  EXPECT_FALSE(port.isPortOpen());
}

TEST_F(BVSerialPortTest, SpeedNeedNotBeAStandardOne) {
  port.closePort();
  BVSerialPort other(port.path());
  // 13 and 4097 are glibc's codes for other speeds; 250000 has no code.
  for (const std::uint32_t speed : {250000U, 9600U, 13U, 4097U, 1000000U}) {
    ASSERT_GT(other.openPort(static_cast<std::int32_t>(speed)), 2) << speed;
    EXPECT_EQ(host::real::lineSpeed(other.spHandle()).value(), (LineSpeed{speed, speed}));
    other.closePort();
  }
  EXPECT_EQ(other.openPort(0), -1);
}

TEST_F(BVSerialPortTest, PortClosesTheDescriptorThatItOpenedAndNoOther) {
  // Of the node alone: the fixture's thread has files of its own.
  const std::string node = machine->fixture("cu.usbserial-A1")->node();
  const std::size_t before = openDescriptors(node);
  EXPECT_EQ(port.openPort(115200), -1) << "it has the device exclusively itself";
  EXPECT_EQ(port.spHandle(), -1);
  EXPECT_EQ(openDescriptors(node), before - 1);
  {
    BVSerialPort second(port.path());
    ASSERT_NE(second.openPort(115200), -1);
  }
  EXPECT_EQ(openDescriptors(node), before - 1);
  const int foreign = ::open("/dev/null", O_RDONLY);
  {
    BVSerialPort holder(port.path());
    holder.setSpHandle(foreign);
    EXPECT_NE(holder.openPort(115200), -1);
    const int own = holder.spHandle();
    holder.setSpHandle(foreign);
    EXPECT_EQ(::close(own), 0) << "no longer the port's to close";
  }
  EXPECT_EQ(::close(foreign), 0);
}

TEST_F(BVSerialPortTest, ProgramWithoutStandardStreamsDoesNotGetTheDeviceAsOne) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // the fixture is a thread
  port.closePort();
  EXPECT_EXIT(
      {
        ::close(0);
        ::close(2);
        std::_Exit(port.openPort(115200) > 2 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(BVSerialPortTest, PolledReadEndsSoonAfterTheLastByteAndTellsWhatCame) {
  EXPECT_FALSE(port.readSerialWithTimeout(0));
  EXPECT_FALSE(port.readSerialWithTimeout(-1));
  EXPECT_FALSE(port.readSerialWithTimeout(3));
  EXPECT_THAT(logged(), ElementsAre("debug %{public}@|data return length 0 bytes",
                                    "debug %{public}@|data return length 0 bytes",
                                    "debug %{public}@|data return length 0 bytes"));
  ASSERT_TRUE(port.sendLargeData(bytes("five\n")));
  EXPECT_EQ(textOf(readSomething()), "hello");
  EXPECT_THAT(logged(), ElementsAre("debug %{public}@|read data from port...got new data 5 bytes",
                                    "debug %{public}@|data return:5 bytes: 68656C6C 6F"));
  EXPECT_TRUE(isAtRest());
}

TEST_F(BVSerialPortTest, ChunksAndQuietPollsShareOneCounter) {
  // A quiet poll or two lie between two chunks: the counter is over 4 long before the twelfth.
  ASSERT_TRUE(port.sendLargeData(bytes("drip\n")));
  const std::string first = textOf(readSomething());
  EXPECT_THAT(first.size(), AllOf(Gt(0U), Lt(12U)));
  std::string all = first;
  while (all.size() < 12) all += textOf(readSomething());
  EXPECT_EQ(all, "abcdefghijkl");
}

TEST_F(BVSerialPortTest, OnePollTakesAtMost1024Bytes) {
  ASSERT_TRUE(port.sendLargeData(bytes("big\n")));
  std::size_t total = 0;
  std::size_t largest = 0;
  while (total < 3000) {
    const auto data = port.readData();
    if (!data) continue;
    total += data->size();
    largest = std::max(largest, data->size());
  }
  EXPECT_EQ(largest, 1024U);
}

TEST_F(BVSerialPortTest, BytesAreHandedOutOneByOneAndOutliveTheConnection) {
  std::uint8_t byte = 7;
  EXPECT_EQ(port.receiveByte(byte, 2), -1);
  EXPECT_EQ(byte, 7);
  logged();
  ASSERT_TRUE(port.sendLargeData(bytes("five\n")));
  ASSERT_EQ(port.receiveByte(byte, 10'000), 0);
  EXPECT_EQ(byte, 'h');
  EXPECT_THAT(
      logged(),
      ElementsAre(
          "debug %{public}@|read data from port...got new data 5 bytes",
          "debug %{public}@|data return:5 bytes: 68656C6C 6F",
          "debug %{public}@|-[BVSerialPort receiveByte:timeout:] Receive_Byte: 5 bytes: 68656C6C "
          "6F len=5",
          "debug %{public}@|-[BVSerialPort receiveByte:timeout:] Receive_Byte:68 65 6C 6C 6F "));
  port.closePort();
  for (const char next : std::string("ell")) {
    EXPECT_EQ(port.receiveByte(byte, 1), 0);
    EXPECT_EQ(byte, next);
  }
  EXPECT_EQ(textOf(port.serialReadBuffer()), "o");
  port.clearReadBuffer();
  EXPECT_EQ(port.receiveByte(byte, 1), -1);
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(BVSerialPortTest, DrainingThrowsAwayWhatHasComeAndLeavesTheReadBuffer) {
  port.setSerialReadBuffer({1, 2});
  ASSERT_TRUE(port.sendLargeData(bytes("five\n")));
  int waiting = 0;
  while (waiting < 5) ::ioctl(port.spHandle(), FIONREAD, &waiting);
  port.drainPort();
  EXPECT_FALSE(port.readData());
  EXPECT_EQ(port.serialReadBuffer(), (Data{1, 2}));
}

TEST_F(BVSerialPortTest, HexTextHasUpperCasePairsEachWithASpace) {
  EXPECT_EQ(BVSerialPort::hexStringFromData(Data{0x00, 0x7F, 0xA5}), "00 7F A5 ");
  EXPECT_EQ(BVSerialPort::hexStringFromData({}), "");
}

TEST_F(BVSerialPortTest, PulledPlugEndsEveryRawOperation) {
  ASSERT_TRUE(port.sendLargeData(bytes("stop\n")));
  EXPECT_EQ(textOf(readSomething()), "last");  // after a chunk: ends by its counter
  hangUp();
  logged();
  EXPECT_FALSE(port.readSerialWithTimeout(20));
  EXPECT_FALSE(port.sendLargeData(bytes("x")));
  EXPECT_TRUE(port.sendLargeData({}));
  EXPECT_THAT(logged(), ElementsAre("debug %{public}@|data return length 0 bytes",
                                    "error ERROR %{public}@|Error writing to serial port:5"));
  EXPECT_TRUE(isAtRest());
  port.drainPort();
  port.closePort();
  EXPECT_FALSE(port.isPortOpen());
  EXPECT_EQ(BVSerialPort::createPortWithSerial("A1"), nullptr);
}

// An open port on a pair whose device end is the test's own.
struct BarePair {
  BarePair() : device(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    EXPECT_EQ(::grantpt(device) + ::unlockpt(device), 0);
    const host::ScopedPlatform bare(std::make_shared<host::Platform>());
    port = std::make_unique<BVSerialPort>(::ptsname(device));
    EXPECT_NE(port->openPort(115200), -1);
  }

  int device;
  std::unique_ptr<BVSerialPort> port;
};

TEST_F(BVSerialPortTest, WriterThatWaitsForASlowDeviceIsEndedByThePulledPlug) {
  const BarePair pair;
  const auto lock = pair.port->spLock();
  std::thread writer([&] { EXPECT_FALSE(pair.port->sendLargeData(Data(1'000'000, 'x'))); });
  while (lock->try_lock()) {  // until the writer has it
    lock->unlock();
    std::this_thread::yield();
  }
  ::close(pair.device);
  writer.join();
  EXPECT_TRUE(lock->try_lock());
  lock->unlock();
}

TEST_F(BVSerialPortTest, BlockIsWrittenWhollyToADeviceThatTakesItInPieces) {
  const BarePair pair;
  Data block(200'000);
  for (std::size_t i = 0; i < block.size(); ++i)
    block[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
  Data received;
  std::thread reader([&] {
    Data chunk(777);
    while (received.size() < block.size()) {
      const ssize_t count = ::read(pair.device, chunk.data(), chunk.size());
      received.insert(received.end(), chunk.begin(), chunk.begin() + count);
    }
  });
  EXPECT_TRUE(pair.port->sendLargeData(block));
  reader.join();
  EXPECT_TRUE(received == block);
  pair.port->closePort();
  ::close(pair.device);
}

TEST_F(BVSerialPortTest, DescriptorBeyondTheReachOfSelectWorks) {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
  ::setrlimit(RLIMIT_NOFILE, &limit);
  const int high = ::fcntl(port.spHandle(), F_DUPFD_CLOEXEC, 1500);
  ASSERT_GE(high, 1500);
  port.closePort();
  port.setSpHandle(high);
  ASSERT_TRUE(port.sendLargeData(bytes("five\n")));
  EXPECT_EQ(textOf(readSomething()), "hello");
  port.closePort();
}

TEST_F(BVSerialPortTest, PortClosedByAnotherThreadIsNotReadAnyMore) {
  // Open, these polls would take 33 s.
  const auto start = std::chrono::steady_clock::now();
  std::thread reader([&] { EXPECT_FALSE(port.readSerialWithTimeout(3'000)); });
  while (!port.busy()) std::this_thread::yield();
  port.closePort();
  reader.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(25));
  EXPECT_TRUE(isAtRest());
}

TEST_F(BVSerialPortTest, PlugPulledDuringAnUploadEndsItAtOnce) {
  std::thread writer([&] { EXPECT_FALSE(port.sendLargeData(Data(50'000'000, 'x'))); });
  const auto lock = port.spLock();
  while (lock->try_lock()) {  // until the writer has it
    lock->unlock();
    std::this_thread::yield();
  }
  hangUp();
  writer.join();
  EXPECT_TRUE(isAtRest());
}

bool isExclusive(int terminal) {
  int exclusive = -1;
  EXPECT_EQ(::ioctl(terminal, TIOCGEXCL, &exclusive), 0);
  return exclusive != 0;
}

TEST_F(BVSerialPortTest, RefusedPortLeavesTheOtherProgramsTerminalAsItWas) {
  const BarePair pair;
  BVSerialPort& refused = *pair.port;
  refused.closePort();
  const int other = ::open(refused.path().c_str(), O_RDWR | O_NOCTTY);
  for (const bool isMarked : {false, true}) {
    ASSERT_EQ(::ioctl(other, isMarked ? TIOCEXCL : TIOCNXCL), 0);
    ASSERT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(refused.openPort(115200), -1) << "it is locked";
    EXPECT_EQ(isExclusive(other), isMarked);
    ASSERT_EQ(::flock(other, LOCK_UN), 0);
    EXPECT_EQ(refused.openPort(0), -1) << "there is no such speed";
    EXPECT_EQ(isExclusive(other), isMarked);
    // The mark alone keeps ordinary users out, not the superuser.
    if (refused.openPort(115200) == -1) continue;
    EXPECT_TRUE(isExclusive(other));
    refused.closePort();
    EXPECT_EQ(isExclusive(other), isMarked);
  }
  EXPECT_EQ(::ioctl(other, TIOCNXCL), 0);
  refused.setSpHandle(refused.openSerialPortWithPath(refused.path().c_str(), 9600));
  EXPECT_TRUE(isExclusive(other));
  refused.closePort();
  EXPECT_FALSE(isExclusive(other)) << "the mark was the port's";
  ::close(other);
  ::close(pair.device);
}

TEST_F(BVSerialPortTest, ReopensAtOnceWhileAChildOfAnotherThreadIsNotYetAProgramOfItsOwn) {
  const BarePair pair;
  const std::string arrival = folder / "arrival";
  const std::string departure = folder / "departure";
  ASSERT_EQ(::mkfifo(arrival.c_str(), 0600) + ::mkfifo(departure.c_str(), 0600), 0);
  std::thread command([&] {
    posix_spawn_file_actions_t
        actions;  // the child waits at each for the test to open the other end
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, 0, arrival.c_str(), O_WRONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, 0, departure.c_str(), O_RDONLY, 0);
    char name[] = "true";
    char* const arguments[] = {name, nullptr};
    pid_t child = -1;
    EXPECT_EQ(::posix_spawnp(&child, name, &actions, nullptr, arguments, environ), 0);
    ::posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(::waitpid(child, nullptr, 0), child);
  });
  const int arrived = ::open(arrival.c_str(), O_RDONLY | O_CLOEXEC);
  pair.port->closePort();
  EXPECT_NE(pair.port->openPort(115200), -1);
  ::close(::open(departure.c_str(), O_WRONLY | O_CLOEXEC));
  command.join();
  ::close(arrived);
  ::close(pair.device);
}

TEST_F(BVSerialPortTest, NumberIsNoOtherFilesBeforeTheLastCallOnItHasEnded) {
  for (const bool isSetFromOutside : {false, true}) {
    const BarePair pair;
    const int handle = pair.port->spHandle();
    if (isSetFromOutside) {
      pair.port->setSpHandle(-1);
      pair.port->setSpHandle(handle);
    }
    std::thread writer([&] { EXPECT_FALSE(pair.port->sendLargeData(Data(1'000'000, 'x'))); });
    int taken = 0;
    while (taken == 0) ::ioctl(pair.device, FIONREAD, &taken);
    pair.port->closePort();  // while the device takes no more of that one write
    EXPECT_FALSE(pair.port->isPortOpen());
    const int file = ::open((folder / "file").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    EXPECT_NE(file, handle);
    ::close(pair.device);
    writer.join();
    EXPECT_EQ(::fcntl(handle, F_GETFD), -1);
    EXPECT_EQ(testing::contentOf(folder / "file"), "");
    ::close(file);
  }
}

TEST_F(BVSerialPortTest, HandleSetFromOutsideIsNotClosedByTheDestructorThoughThePortOnceOpenedIt) {
  BarePair pair;
  const int handle = pair.port->spHandle();
  pair.port->setSpHandle(-1);  // from here on it is the caller's
  pair.port->setSpHandle(handle);
  pair.port.reset();
  EXPECT_EQ(::close(handle), 0);
  ::close(pair.device);
}

TEST_F(BVSerialPortTest, BytesNeverReachTheFileThatHasTheNumberOfAPortClosedMeanwhile) {
  const BarePair pair;
  BVSerialPort& line = *pair.port;
  const int otherEnd =
      ::open(line.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);  // or the device reads EIO
  std::vector<std::jthread> threads;
  const auto repeat = [&threads](auto operation) {
    threads.emplace_back([operation](const std::stop_token& stop) {
      while (!stop.stop_requested()) operation();
    });
  };
  repeat([&] { static_cast<void>(line.readData()); });
  for (int writer = 0; writer < 2; ++writer) {
    repeat([&] { static_cast<void>(line.sendLargeData(Data(100, 'x'))); });
  }
  repeat([&] {
    Data chunk(4096);
    pollfd device{pair.device, POLLIN, 0};
    if (::poll(&device, 1, 10) == 1)
      static_cast<void>(::read(pair.device, chunk.data(), chunk.size()));
  });
  for (int round = 0; round < 1000; ++round) {
    std::jthread rival([&] { line.closePort(); });
    line.closePort();
    std::array<int, 4> files;
    for (int& file : files)
      file = ::open((folder / "file").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    rival.join();
    std::this_thread::yield();
    struct stat status {};
    for (const int file : files) EXPECT_EQ(::fstat(file, &status) + ::close(file), 0);
    ASSERT_EQ(status.st_size, 0) << "in round " << round;
    ASSERT_NE(line.openPort(115200), -1) << "in round " << round;
  }
  threads.clear();
  ::close(otherEnd);
  ::close(pair.device);
}

}  // namespace
}  // namespace brisvane
