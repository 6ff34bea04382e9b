// The steps of a plan that wait, or ask the person at the terminal.
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <iostream>
#include <optional>
#include <string_view>

#include <brisvane/types/unicode.h>

#include "interrupt.h"
#include "output.h"
#include "plan_steps.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

// The next line that is typed or scanned, without its end; nullopt after a signal and at the end
// of the input.
std::optional<std::string> readLine() {
  constexpr int kStep = 100;  // milliseconds
  std::string line;
  std::array<char, 1> byte{};
  while (!interrupted()) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (::poll(&input, 1, kStep) <= 0) continue;
    if (::read(STDIN_FILENO, byte.data(), 1) != 1) {
      if (interrupted()) break;
      return line.empty() ? std::nullopt : std::optional(line);
    }
    if (byte[0] == '\n') return line;
    line += byte[0];
  }
  return std::nullopt;
}

std::string trimmed(const std::string& line) {
  constexpr std::string_view kBlanks = " \t\r";
  const std::size_t first = line.find_first_not_of(kBlanks);
  if (first == std::string::npos) return {};
  return line.substr(first, line.find_last_not_of(kBlanks) + 1 - first);
}

std::optional<bool> yesOrNo(std::string answer) {
  std::transform(answer.begin(), answer.end(), answer.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  if (answer == "y" || answer == "yes") return true;
  if (answer == "n" || answer == "no") return false;
  return std::nullopt;
}

// What is wrong with the form of an answer; empty when nothing is.
std::string faultOf(AnswerKind kind, const std::string& answer) {
  constexpr std::size_t kLongestSerial = 64;
  if (kind == AnswerKind::kYesNo) return yesOrNo(answer) ? "" : "please answer yes or no";
  if (answer.empty()) return "please enter something";
  if (kind == AnswerKind::kText) return "";
  const bool isSerial =
      answer.size() <= kLongestSerial &&
      std::all_of(answer.begin(), answer.end(), [](char c) { return c > 0x20 && c < 0x7F; });
  return isSerial ? "" : "a serial number has 1 to 64 characters of ASCII and no blank";
}

std::string_view hintOf(AnswerKind kind) {
  switch (kind) {
    case AnswerKind::kYesNo:
      return " [yes/no] ";
    case AnswerKind::kText:
      return " ";
    case AnswerKind::kSerial:
      break;
  }
  return " [serial number] ";
}

// Asks until an answer has the form; nullopt when none comes.
std::optional<std::string> ask(const AskStep& step) {
  // What was typed or scanned before the question is no answer to it.
  ::tcflush(STDIN_FILENO, TCIFLUSH);
  for (;;) {
    std::cerr << escaped(step.question) << hintOf(step.kind) << std::flush;
    const auto line = readLine();
    if (!line) {
      std::cerr << '\n';
      return std::nullopt;
    }
    auto answer = answerFrom(step, *line);
    if (answer.ok()) return std::move(answer).value();
    std::cerr << answer.error().reason() << '\n';
  }
}

// The answer that was given beforehand, or what the person answers.
std::optional<std::string> answerTo(const AskStep& step, const std::string& id,
                                    const StepContext& context, Attempt& attempt) {
  const auto given = context.answers.find(id);
  if (given == context.answers.end() || id.empty()) {
    auto answer = ask(step);
    if (!answer) attempt.fail(interrupted() ? "interrupted" : "there was no answer");
    return answer;
  }
  return given->second;
}

}  // namespace

bv::Result<std::string> answerFrom(const AskStep& step, const std::string& text) {
  std::string answer = trimmed(text);
  const std::string fault = faultOf(step.kind, answer);
  if (!fault.empty()) return bv::Error::because(fault);
  return answer;
}

Outcome perform(const WaitStep& step) {
  Outcome outcome;
  const RunTime time(step.seconds);
  time.waitUntil(std::chrono::steady_clock::time_point::max());
  if (interrupted()) outcome.attempt.fail("interrupted");
  return outcome;
}

Outcome perform(const AskStep& step, const std::string& id, StepContext& context) {
  Outcome outcome;
  const auto answer = answerTo(step, id, context, outcome.attempt);
  if (!answer) return outcome;
  outcome.received.assign(answer->begin(), answer->end());
  if (step.kind == AnswerKind::kYesNo) {
    if (yesOrNo(*answer) != step.expectsYes) outcome.attempt.fail("the answer is " + *answer);
    return outcome;
  }
  if (step.kind == AnswerKind::kSerial) context.unit = *answer;
  check(step.expected, outcome);
  return outcome;
}

}  // namespace bvdiag
