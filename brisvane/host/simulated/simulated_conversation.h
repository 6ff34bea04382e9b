// Conversation, the part of a fixture that listens and answers: bytes in, bytes out, at times that
// the caller gives, without a line.
// Private to the simulated machine. A Conversation belongs to one thread at a time.
#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <random>
#include <string_view>

#include "brisvane/host/simulated/simulated_fixture_script.h"
#include "brisvane/types/data.h"

namespace brisvane::host::simulated {

class Conversation {
 public:
  using Clock = std::chrono::steady_clock;
  using Time = Clock::time_point;

  explicit Conversation(FixtureScript script) : script_(std::move(script)), noise_(script_.seed) {}

  // A program has opened the line. Discards what was received and is to be sent, then greets.
  void begin(Time now);
  // A program has closed the line. Discards what was received and is to be sent.
  void end();

  void receive(ByteView bytes, Time now);
  // Answers a command without a line end once the line has been quiet for long enough.
  void advance(Time now);

  // The bytes that are due, in order.
  [[nodiscard]] Data takeDue(Time now);
  // When advance() or takeDue() has something to do next. nullopt when only further bytes give them
  // something.
  [[nodiscard]] std::optional<Time> nextDue(Time now) const;
  // After how many bytes sent the script hangs up.
  [[nodiscard]] std::optional<std::size_t> hangUpAfter() const { return script_.hangUpAfter; }
  // Whether the script hangs up after what has been taken.
  [[nodiscard]] bool wantsHangUp() const { return hangUp_; }

 private:
  struct Outgoing {
    Time due;
    Data bytes;
    bool hangUp = false;
  };

  bool takeBytesCommand();
  bool takeLine(Time now);
  [[nodiscard]] bool mayBecomeBytesCommand() const;
  void answer(std::string_view line, Time now);
  void answer(const FixtureScript::Command& command, std::string_view line,
              const Pattern::Match* match, Time now);
  void say(const FixtureScript::Replies& replies, Time now);
  void say(const FixtureScript::Reply& reply, Data bytes, Time now);
  void schedule(Data bytes, Time due);
  void enqueue(Outgoing outgoing);

  FixtureScript script_;
  std::minstd_rand noise_;
  std::string received_;      // not yet a command
  std::size_t searched_ = 0;  // of it, without finding a line end
  Time lastReceived_{};
  std::deque<Outgoing> outgoing_;
  Time lastDue_{};
  bool hangUp_ = false;
};

}  // namespace brisvane::host::simulated
