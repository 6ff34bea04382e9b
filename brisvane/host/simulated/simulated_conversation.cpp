#include "brisvane/host/simulated/simulated_conversation.h"

#include <algorithm>
#include <utility>

namespace brisvane::host::simulated {
namespace {

using std::chrono::duration;
using std::chrono::duration_cast;

// What is longer is no command: it is thrown away.
constexpr std::size_t kLongestCommand = std::size_t{64} << 10U;

Conversation::Clock::duration seconds(double number) {
  return duration_cast<Conversation::Clock::duration>(duration<double>(number));
}

// No reply is later than this, so that adding to it cannot overflow.
Conversation::Time farthest(Conversation::Time now) { return now + std::chrono::hours(24 * 365); }

// A reply to a pattern, with $1 to $9 standing for its groups and $$ for a dollar sign.
Data withGroups(const Data& reply, std::string_view line, const Pattern::Match& match) {
  std::string text;
  const std::string_view source = asCharacters(reply);
  for (std::size_t i = 0; i < source.size(); ++i) {
    const char next = source[i] == '$' && i + 1 < source.size() ? source[i + 1] : '\0';
    const auto group = static_cast<std::size_t>(next - '0');
    if (next == '$') {
      text += '$';
      ++i;
    } else if (next >= '1' && next <= '9') {
      if (group < match.size()) text += match[group].of(line);
      ++i;
    } else {
      text += source[i];
    }
  }
  return {text.begin(), text.end()};
}

// The chunks that a reply is sent in.
std::vector<Data> chunksOf(const FixtureScript::Reply& reply, const Data& bytes) {
  std::vector<Data> chunks;
  auto at = bytes.begin();
  for (std::size_t i = 0; at != bytes.end(); ++i) {
    const auto left = static_cast<std::size_t>(bytes.end() - at);
    const std::size_t index = reply.splitsEvenly ? 0 : i;
    const std::size_t asked =
        index < reply.split.size() ? std::max(reply.split[index], std::size_t{1}) : left;
    const std::size_t size = std::min(asked, left);
    chunks.emplace_back(at, at + static_cast<std::ptrdiff_t>(size));
    at += static_cast<std::ptrdiff_t>(size);
  }
  return chunks;
}

}  // namespace

void Conversation::begin(Time now) {
  end();
  say(script_.greeting, now);
}

void Conversation::end() {
  received_.clear();
  searched_ = 0;
  outgoing_.clear();
  lastDue_ = {};
}

void Conversation::receive(ByteView bytes, Time now) {
  lastReceived_ = now;
  received_ += asCharacters(bytes);
  if (script_.echo) schedule(Data(bytes.begin(), bytes.end()), now);
  while (takeBytesCommand() || (!mayBecomeBytesCommand() && takeLine(now))) {
  }
  if (received_.size() > kLongestCommand) {
    received_.clear();
    searched_ = 0;
  }
}

void Conversation::advance(Time now) {
  if (received_.empty() || now < lastReceived_ + seconds(script_.commandGap)) return;
  const auto isWhole = [this](const FixtureScript::Command& command) {
    return command.text == received_;
  };
  const auto found = std::find_if(script_.commands.begin(), script_.commands.end(), isWhole);
  if (found != script_.commands.end()) {
    received_.clear();
    searched_ = 0;
    answer(*found, {}, nullptr, now);
  }
  while (takeLine(now)) {  // what might have become a command of bytes, and did not
  }
}

bool Conversation::takeBytesCommand() {
  for (const FixtureScript::Command& command : script_.commands) {
    if (!command.bytes || !received_.starts_with(asCharacters(*command.bytes))) continue;
    received_.erase(0, command.bytes->size());
    searched_ = 0;
    answer(command, {}, nullptr, lastReceived_);
    return true;
  }
  return false;
}

// Whether what has come so far begins a command of bytes, in which a line end is a
// byte as any other.
bool Conversation::mayBecomeBytesCommand() const {
  return !received_.empty() &&
         std::any_of(script_.commands.begin(), script_.commands.end(),
                     [this](const FixtureScript::Command& command) {
                       return command.bytes && asCharacters(*command.bytes).starts_with(received_);
                     });
}

bool Conversation::takeLine(Time now) {
  const std::size_t end = received_.find_first_of("\r\n", searched_);
  searched_ = end == std::string::npos ? received_.size() : 0;
  if (end == std::string::npos) return false;
  const std::string line = received_.substr(0, end);
  received_.erase(0, end + 1);
  if (!line.empty()) answer(line, now);  // the empty one is the second half of CR LF
  return true;
}

void Conversation::answer(std::string_view line, Time now) {
  for (const FixtureScript::Command& command : script_.commands) {
    if (command.text == line) return answer(command, line, nullptr, now);
    if (!command.pattern) continue;
    const auto match = command.pattern->firstMatch(line);
    if (match.ok() && match.value()) return answer(command, line, &*match.value(), now);
  }
  say(script_.unknown, now);
}

void Conversation::answer(const FixtureScript::Command& command, std::string_view line,
                          const Pattern::Match* match, Time now) {
  for (const FixtureScript::Reply& reply : command.replies) {
    say(reply,
        match != nullptr && reply.isText ? withGroups(reply.bytes, line, *match) : reply.bytes,
        now);
  }
  if (command.hangsUp) enqueue({std::max(now, lastDue_), {}, true});
}

void Conversation::say(const FixtureScript::Replies& replies, Time now) {
  for (const FixtureScript::Reply& reply : replies) say(reply, reply.bytes, now);
}

void Conversation::say(const FixtureScript::Reply& reply, Data bytes, Time now) {
  for (std::size_t i = 0; i < reply.noise; ++i)
    bytes.push_back(static_cast<std::uint8_t>(noise_() >> 8U));
  Time due = std::min(std::max(now, lastDue_) + seconds(reply.delay), farthest(now));
  lastDue_ = due;
  for (Data& chunk : chunksOf(reply, bytes)) {
    schedule(std::move(chunk), due);
    due = std::min(due + seconds(reply.gap), farthest(now));
  }
}

void Conversation::schedule(Data bytes, Time due) {
  lastDue_ = std::max(lastDue_, due);
  enqueue({due, std::move(bytes), false});
}

// An echo goes ahead of replies that are still to come.
void Conversation::enqueue(Outgoing outgoing) {
  const auto isLater = [](const Time& due, const Outgoing& other) { return due < other.due; };
  const auto at = std::upper_bound(outgoing_.begin(), outgoing_.end(), outgoing.due, isLater);
  outgoing_.insert(at, std::move(outgoing));
}

Data Conversation::takeDue(Time now) {
  Data due;
  while (!outgoing_.empty() && outgoing_.front().due <= now && !hangUp_) {
    const Outgoing& next = outgoing_.front();
    due.insert(due.end(), next.bytes.begin(), next.bytes.end());
    hangUp_ = next.hangUp;
    outgoing_.pop_front();
  }
  return due;
}

std::optional<Conversation::Time> Conversation::nextDue(Time now) const {
  std::optional<Time> next;
  if (!outgoing_.empty() && !hangUp_) next = outgoing_.front().due;
  const Time quiet = lastReceived_ + seconds(script_.commandGap);
  if (!received_.empty() && quiet > now) next = std::min(next.value_or(quiet), quiet);
  return next;
}

}  // namespace brisvane::host::simulated
