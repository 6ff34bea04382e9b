#include <gmock/gmock.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>

#include <limits>
#include <thread>

#include "tests/support/open_port.h"

namespace brisvane {
namespace {

using testing::bytes;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::OpenPortTest;
using ::testing::StartsWith;
using testing::textOf;
using namespace std::chrono_literals;

class ExchangeTest : public OpenPortTest {
 protected:
  ExchangeTest()
      : OpenPortTest(R"({"commands": [
    {"command": "silence"},
    {"hex": "AA 0A 02", "replies": [{"hex": "01 02"}]},
    {"hex": "AA 0A 10", "replies": [{"hex": "00 01 02 03 04 05 06 07 FE FF"}]},
    {"hex": "AA 0A 03", "replies": [{"hex": "01 02 03 04", "split": 2, "gap": 0.3, "delay": 0.5}]},
    {"hex": "AA 0A 04", "replies": [{"hex": "41", "delay": 0.15}]},
    {"command": "status", "replies": ["\t  status: OK\r\n"]},
    {"command": "drip", "replies": [{"text": "  version 1.2.3 ok\r\n", "split": 3, "gap": 0.01}]},
    {"command": "odd", "replies": [{"hex": "61 80 62 C3 A9 00 7F"}]},
    {"pattern": "^talk", "replies": [{"text": "blah blah blah blah blah blah blah blah blah blah\r\n", "split": 1, "gap": 0.05}]},
    {"command": "runaway", "replies": ["aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa!"]},
    {"command": "late", "replies": [{"text": "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa!", "split": [50], "gap": 0.2}]},
    {"command": "dump", "replies": [")" +
                     std::string(32'768, 'e') + R"(\r\ncrc=12ab\r\n"]},
    {"command": "report", "replies": [")" +
                     report() + R"(result: PASS\r\n"]},
    {"command": "part", "replies": ["half a re"], "hangUp": true}
  ], "unknown": ["ERR\r\n"]})") {}

  // More than 64 KiB of lines, as they stand in JSON.
  static std::string report() {
    std::string lines;
    for (int line = 0; line < 1600; ++line)
      lines += R"(sensor 12: 23.5 degrees, fan at 1200 rpm\r\n)";
    return lines;
  }

  std::string text = "kept";
  Data data{9};
};

TEST_F(ExchangeTest, ByteReplyIsCompleteAtTheThirdQuietPollOnceItIsLongEnough) {
  EXPECT_TRUE(port.sendDataCommand(bytes("silence"), data, 0, 1.0));
  EXPECT_THAT(data, IsEmpty());
  EXPECT_TRUE(port.sendDataCommand(Data{0xAA, 0x0A, 0x10}, data, 4, 5.0));
  EXPECT_EQ(data, (Data{0, 1, 2, 3, 4, 5, 6, 7, 0xFE, 0xFF}));
  EXPECT_TRUE(port.sendDataCommand(Data{0xAA, 0x0A, 0x02}, data, -5, 5.0));
  EXPECT_EQ(data, (Data{1, 2}));
  EXPECT_THAT(logged(), IsEmpty());
}

template <typename Port, typename Polls>
concept PollsFor = requires(Port& port, std::uint8_t& byte, Polls polls) {
  port.readSerialWithTimeout(polls);
  port.receiveByte(byte, polls);
};

TEST_F(ExchangeTest, TakesATextWhereBytesAreDueAndADurationAsItsLimit) {
  EXPECT_TRUE(port.sendDataCommand("status", data, 1, 1'500ms));
  EXPECT_EQ(textOf(data), "\t  status: OK\r\n");
  EXPECT_TRUE(port.sendStringCommand("status", text, 200ms));
  EXPECT_EQ(text, "status: OK\r\n");
  EXPECT_TRUE(port.sendStringCommand("status", text, "o[a-z]", std::chrono::duration<float>(2)));
  EXPECT_EQ(text, "OK");
  clock->stepBy(100ms);
  EXPECT_FALSE(port.sendStringCommand("status", text, "never", 250ms));
  static_assert(PollsFor<BVSerialPort, int> && !PollsFor<BVSerialPort, double> &&
                !PollsFor<BVSerialPort, std::chrono::seconds>);
}

TEST_F(ExchangeTest, QuietPollsBeforeTheFirstByteCountForTheByteReply) {
  // Three have passed when the first half comes: it is handed out without the second.
  EXPECT_TRUE(port.sendDataCommand(Data{0xAA, 0x0A, 0x03}, data, 2, 5.0));
  EXPECT_EQ(data, (Data{1, 2}));
}

TEST_F(ExchangeTest, ByteExchangeFailsWhenTheLineStaysQuietForLongerThanItsLimit) {
  clock->stepBy(100ms);
  EXPECT_FALSE(port.sendDataCommand(Data{0xAA, 0x0A, 0x02}, data, 4, 0.3));
  EXPECT_FALSE(port.sendDataCommand(bytes("silence"), data, 0, 0.25))
      << "at the third poll the time-out wins";
  EXPECT_EQ(data, Data{9});
  EXPECT_THAT(logged(),
              ElementsAre("error ERROR %{public}@|Error: Reading serial port timed out.",
                          "error ERROR %{public}@|Error: Reading serial port timed out."));
  EXPECT_TRUE(isAtRest());
}

TEST_F(ExchangeTest, TextBySilenceIsAllThatCameTrimmedOfBlanksAlone) {
  clock->stepBy(100ms);
  EXPECT_TRUE(port.sendStringCommand("status\n", text, 0.0));
  EXPECT_EQ(text, "") << "with no time to wait nothing is read";
  port.drainPort();
  EXPECT_TRUE(port.sendStringCommand("status\n", text, 0.3));
  EXPECT_EQ(text, "status: OK\r\n");
  EXPECT_TRUE(port.sendStringCommand("drip\n", text, 0.3));
  EXPECT_EQ(text, "version 1.2.3 ok\r\n");
  EXPECT_TRUE(port.sendStringCommand("odd\n", text, 0.3));
  EXPECT_EQ(text, std::string("a\uFFFDb\uFFFD\uFFFD\0\x7F", 13));
  EXPECT_TRUE(port.sendStringCommand("status", text, 0.3)) << "the command is sent as it is";
  EXPECT_EQ(text, "status: OK\r\n");
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ExchangeTest, CommandThatIsNoAsciiIsNotSent) {
  EXPECT_FALSE(port.sendStringCommand("státus\n", text, 0.2));
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_FALSE(port.sendStringCommand("státus", text, "ok", 0.2));
  EXPECT_THAT(logged(), ElementsAre("info %{public}@|Serial port FWUP write error!\n",
                                    "info %{public}@|Try pressing 'Connect' again!\n"));
  EXPECT_EQ(text, "kept");
  EXPECT_FALSE(port.readSerialWithTimeout(20)) << "the fixture has heard something";
  EXPECT_TRUE(isAtRest());
}

TEST_F(ExchangeTest, AcceptPatternIsSearchedCaselessInEverythingReceivedSoFar) {
  EXPECT_TRUE(port.sendStringCommand(" \tunheard of ", text, "err", 5.0));
  EXPECT_EQ(text, "ERR");
  EXPECT_TRUE(port.sendStringCommand("status", text, " *ok", 5.0));
  EXPECT_EQ(text, " OK");
  EXPECT_TRUE(port.sendStringCommand("drip", text, "VERSION [\\d.]+ ok$", 5.0));
  EXPECT_EQ(text, "version 1.2.3 ok");
  EXPECT_THAT(logged(),
              ElementsAre("info %{public}@|unheard of → ERR\n", "info %{public}@|status → OK\n",
                          "info %{public}@|drip → version 1.2.3 ok\n"));
}

TEST_F(ExchangeTest, WithoutAPatternTheCommandIsSentAndLoggedAndNothingIsRead) {
  EXPECT_TRUE(port.sendStringCommand("status", text, nullptr, 5.0));
  EXPECT_EQ(text, "kept");
  EXPECT_THAT(logged(), ElementsAre("info %{public}@|status\n"));
  EXPECT_TRUE(port.sendStringCommand("", text, "OK\r\n", 5.0)) << "the reply was left on the line";
}

TEST_F(ExchangeTest, PatternThatDoesNotCompileFailsAfterTheCommandWasSent) {
  EXPECT_FALSE(port.sendStringCommand("status", text, "(", 5.0));
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_EQ(text, "kept");
  EXPECT_TRUE(port.sendStringCommand("", text, "status: OK", 5.0));
}

TEST_F(ExchangeTest, TimeLimitOfThePatternExchangeIsNotRenewedByATalkativeDevice) {
  clock->stepBy(10ms);
  EXPECT_FALSE(port.sendStringCommand("talk", text, "never", 0.5));
  const auto lines = logged();
  EXPECT_THAT(lines, ElementsAre(StartsWith("info %{public}@|talk ≠ bla")));
  EXPECT_LT(lines.at(0).size(), 70U) << "it did not hear it out";
  EXPECT_EQ(text, "kept");
  EXPECT_TRUE(isAtRest());
}

TEST_F(ExchangeTest, RunawayPatternCountsAsNoMatchAndTheLimitEndsTheExchange) {
  clock->stepBy(10ms);
  EXPECT_FALSE(port.sendStringCommand("runaway", text, "^(a+)+$", 0.3));
  EXPECT_THAT(logged(), ElementsAre("info %{public}@|runaway ≠ " + std::string(50, 'a') + "!\n"));
}

TEST_F(ExchangeTest, LongReplyThatMatchesIsFound) {
  EXPECT_TRUE(port.sendStringCommand("dump", text, "\\w+=[0-9a-f]+\r\n", 10.0));
  EXPECT_EQ(text, "crc=12ab\r\n");
  EXPECT_TRUE(port.sendStringCommand("report", text, "(?s)sensor.*result: (pass|fail)\r\n", 10.0));
  EXPECT_GT(text.size(), std::size_t{64} << 10U);
}

TEST_F(ExchangeTest, PatternThatRunsAwayOnAPartOfTheReplyIsFoundInTheWhole) {
  EXPECT_TRUE(port.sendStringCommand("late", text, "^(a+)+[!?]", 4.0));
  EXPECT_EQ(text, std::string(50, 'a').append(1, '!'));
}

TEST_F(ExchangeTest, WhatCameInTimeIsSearchedAfterTheLimit) {
  ASSERT_TRUE(port.sendLargeData(bytes("status\n")));
  pollfd line{port.spHandle(), POLLIN, 0};
  ASSERT_EQ(::poll(&line, 1, 30'000), 1);
  clock->stepBy(10ms);  // the limit is over when the first poll has read
  EXPECT_TRUE(port.sendStringCommand("silence", text, "status: OK", 0.015));
}

TEST_F(ExchangeTest, ClosedPortFailsAsAShortWrite) {
  port.closePort();
  EXPECT_FALSE(port.sendDataCommand({}, data, 0, 1.0));
  EXPECT_FALSE(port.sendStringCommand("status", text, 1.0));
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_FALSE(port.sendStringCommand("status", text, nullptr, 1.0));
  EXPECT_THAT(logged(), ElementsAre("info %{public}@|Serial port FWUP write error!\n",
                                    "info %{public}@|Try pressing 'Connect' again!\n"));
  EXPECT_TRUE(isAtRest());
}

TEST_F(ExchangeTest, PortClosedDuringAnExchangeEndsItAndCanBeOpenedAtOnceByAnother) {
  BVSerialPort second(port.path());
  std::thread exchange([&] { EXPECT_FALSE(port.sendStringCommand("silence\n", text, 3600.0)); });
  while (isAtRest()) std::this_thread::yield();
  std::this_thread::sleep_for(20ms);  // it waits for the line by now
  port.closePort();
  EXPECT_NE(second.openPort(115200), -1);
  std::string reply;  // is not read by the exchange, which still waits for the line
  EXPECT_TRUE(second.sendStringCommand("status", reply, "status: OK", 5.0));
  exchange.join();
  EXPECT_EQ(text, "kept");
  EXPECT_TRUE(isAtRest());
}

TEST_F(ExchangeTest, PlugPulledBeforeTheWriteFailsEachExchange) {
  hangUp();
  EXPECT_FALSE(port.sendDataCommand({}, data, 0, 1.0));
  EXPECT_FALSE(port.sendStringCommand("", text, 1.0));
  EXPECT_FALSE(port.sendStringCommand("", text, "ok", 1.0));
  EXPECT_EQ(logged().size(), 2U);
  EXPECT_TRUE(isAtRest());
}

TEST_F(ExchangeTest, PlugPulledAfterTheWriteLeavesEnoughBytesAReply) {
  EXPECT_TRUE(port.sendDataCommand(bytes("part\n"), data, 9, 30.0));
  EXPECT_EQ(textOf(data), "half a re");
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(ExchangeTest, PlugPulledAfterTheWriteTimesAShortByteReplyOut) {
  clock->stepBy(20ms);
  EXPECT_FALSE(port.sendDataCommand(bytes("part\n"), data, 100, 0.4));
  EXPECT_THAT(logged(),
              ElementsAre("error ERROR %{public}@|Error: Reading serial port timed out."));
  EXPECT_TRUE(isAtRest());
}

TEST_F(ExchangeTest, PlugPulledDoesNotPassForSilence) {
  EXPECT_FALSE(port.sendStringCommand("part\n", text, 30.0));
  EXPECT_EQ(text, "kept");
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_TRUE(isAtRest());
}

TEST_F(ExchangeTest, PlugPulledDuringThePatternExchangeIsTold) {
  EXPECT_FALSE(port.sendStringCommand("part", text, "whole", 30.0));
  EXPECT_THAT(logged(), ElementsAre("info %{public}@|Serial port read error!",
                                    "info %{public}@|part ≠ half a re\n"));
  EXPECT_EQ(text, "kept");
  EXPECT_TRUE(isAtRest());
}

TEST_F(ExchangeTest, WallClockSetForwardEndsAWaitAndSetBackDoesNotLengthenIt) {
  for (const std::chrono::hours by : {2h, -5h}) {
    std::thread exchange([&] { EXPECT_TRUE(port.sendStringCommand("silence\n", text, 3600.0)); });
    clock->awaitReadings(2);  // the wait has begun
    clock->moveWallBy(by);
    if (by < 0h) clock->stepBy(30min);
    exchange.join();
  }
}

TEST_F(ExchangeTest, TimeLimitThatIsNoNumberEndsEachExchange) {
  const Seconds nan = std::numeric_limits<Seconds>::quiet_NaN();
  EXPECT_FALSE(port.sendDataCommand(bytes("silence"), data, 1, nan));
  EXPECT_TRUE(port.sendStringCommand("silence", text, nan));
  EXPECT_FALSE(port.sendStringCommand("silence", text, "x", nan));
}

TEST_F(ExchangeTest, LockIsHeldThroughoutTheFirstTwoAndBetweenNoPollsOfTheThird) {
  clock->stepBy(100ms);
  std::thread silent([&] { EXPECT_TRUE(port.sendStringCommand("silence\n", text, 0.4)); });
  while (isAtRest()) std::this_thread::yield();
  {
    const auto lock = port.spLock();
    const std::scoped_lock held(*lock);
    EXPECT_EQ(text, "") << "the lock was free before the reply was handed out";
  }
  silent.join();

  // The command that brings the reply can only be sent while the exchange waits for it.
  std::thread accepting(
      [&] { EXPECT_TRUE(port.sendStringCommand("silence", text, "status: OK", 20.0)); });
  clock->awaitReadings(2);
  EXPECT_TRUE(port.sendLargeData(bytes("status\n")));
  accepting.join();
}

TEST_F(ExchangeTest, SignalsNeitherCountAsQuietPollsNorLengthenTheWait) {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction before {};
  ::sigaction(SIGUSR1, &action, &before);
  const pthread_t self = ::pthread_self();
  {
    const std::jthread storm([self](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        ::pthread_kill(self, SIGUSR1);
        std::this_thread::sleep_for(3ms);
      }
    });
    EXPECT_TRUE(port.sendDataCommand(Data{0xAA, 0x0A, 0x04}, data, 0, 5.0));
    EXPECT_EQ(data, Data{0x41}) << "quiet polls of 0.1 s leave time for a reply after 0.15 s";
    EXPECT_TRUE(port.sendStringCommand("silence\n", text, 0.3));
  }
  ::sigaction(SIGUSR1, &before, nullptr);
}

}  // namespace
}  // namespace brisvane
