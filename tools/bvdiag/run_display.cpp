#include "run_display.h"

#include <unistd.h>

#include <array>
#include <string>
#include <string_view>

#include "latencies.h"
#include "terminal_columns.h"

namespace bvdiag {
namespace {

constexpr std::string_view kIndent = "      ";
constexpr std::size_t kLines = 5;
using Letter = std::array<std::string_view, kLines>;

constexpr Letter kP{"█████▄ ", "██  ██ ", "█████▀ ", "██     ", "██     "};
constexpr Letter kA{" ▄███▄ ", "██   ██", "███████", "██   ██", "██   ██"};
constexpr Letter kS{"▄█████ ", "██     ", "▀████▄ ", "    ██ ", "█████▀ "};
constexpr Letter kF{"██████ ", "██     ", "█████  ", "██     ", "██     "};
constexpr Letter kI{"██ ", "██ ", "██ ", "██ ", "██ "};
constexpr Letter kL{"██     ", "██     ", "██     ", "██     ", "██████ "};

std::string large(const std::array<Letter, 4>& word) {
  std::string text;
  for (std::size_t line = 0; line < kLines; ++line) {
    text += "  ";
    for (const Letter& letter : word) text.append(letter[line]).append(" ");
    text += '\n';
  }
  return text;
}

std::string markOf(Verdict verdict, const Output& output) {
  switch (verdict) {
    case Verdict::kPassed:
      return output.colored(Color::kGreen, "✓");
    case Verdict::kFailed:
      return output.colored(Color::kRed, "✗");
    case Verdict::kSkipped:
      break;
  }
  return output.colored(Color::kCyan, "-");
}

std::string lineOf(const ValueSeries& series, const Output& output) {
  std::string line = escaped(series.first.name) + " = " + escaped(valueText(series));
  if (const std::string limits = limitsText(series.first); !limits.empty()) {
    line += ", limits " + escaped(limits);
  } else if (series.first.expected && !series.isGood) {
    line += ", expected " + escaped(*series.first.expected);
  }
  return std::string(kIndent) + (series.isGood ? line : output.colored(Color::kRed, line)) + "\n";
}

StatusLine::Progress progressOf(const PlanStep& step, std::size_t repetition) {
  const auto* const send = std::get_if<SendStep>(&step.action);
  const auto* const pause = std::get_if<WaitStep>(&step.action);
  auto time = send != nullptr    ? timeLeft(send->exchange.timeout)
              : pause != nullptr ? timeLeft(pause->seconds)
                                 : timeSpent();
  if (step.repetition.times == 1) return time;
  return [time = std::move(time), repetition, times = step.repetition.times](double seconds) {
    return std::to_string(repetition) + " of " + std::to_string(times) + ", " + time(seconds);
  };
}

}  // namespace

void RunDisplay::begins(const PlanStep& step, std::size_t number, std::size_t repetition) {
  // The question stands where the progress would.
  if (std::holds_alternative<AskStep>(step.action)) return;
  progress_ = std::make_unique<StatusLine>(
      "step " + std::to_string(number) + " of " + std::to_string(total_) + ", " + step.name,
      progressOf(step, repetition));
}

void RunDisplay::ends() { progress_.reset(); }

void RunDisplay::has(const StepResult& result, std::size_t number) {
  if (output_.json()) return output_.printJson(described(result));
  std::string count = std::to_string(number);
  count.insert(0, std::to_string(total_).size() - count.size(), ' ');
  std::string text = markOf(result.verdict, output_) + " " + count + " " + escaped(result.name);
  if (result.attempts.size() > 1) text += ", " + std::to_string(result.attempts.size()) + " times";
  if (!result.attempts.empty()) text += "  (" + latencyText(result.seconds) + ")";
  text += '\n';
  if (!result.reason.empty()) text.append(kIndent).append(escaped(result.reason)).append("\n");
  for (const ValueSeries& series : seriesOf(result)) text += lineOf(series, output_);
  output_.print(text);
}

std::string bannerOf(bool passed, const Output& output) {
  constexpr std::size_t kColumns = 36;
  const Color color = passed ? Color::kGreen : Color::kRed;
  if (!isCapableTerminal(STDOUT_FILENO) || terminalColumns(STDOUT_FILENO) < kColumns)
    return "\n" + output.colored(color, passed ? "PASS" : "FAIL") + "\n";
  return "\n" + output.colored(color, passed ? large({kP, kA, kS, kS}) : large({kF, kA, kI, kL})) +
         "\n";
}

}  // namespace bvdiag
