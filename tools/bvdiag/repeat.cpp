// `bvdiag repeat`: one exchange many times, and what their times come to.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include <brisvane/all.h>

#include "commands.h"
#include "exchange.h"
#include "interrupt.h"
#include "latencies.h"
#include "port_choice.h"
#include "status_line.h"
#include "terminal_columns.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;
using std::chrono::steady_clock;

constexpr std::int32_t kUsualTimes = 100;

struct RepeatOptions {
  PortOptions port;
  ExchangeOptions exchange;
  std::optional<std::int32_t> times;
  std::optional<double> duration;
  double interval = 0;
  bool same = false;
  std::string log;
};

// How far the run is; the line that shows it reads this in a thread of its own.
struct Progress {
  std::atomic<std::int64_t> done{0};
  std::atomic<std::int64_t> failed{0};
};

// "8.5 s", "1 min 20 s" or "2 h 5 min".
std::string durationText(double seconds) {
  constexpr double kMinute = 60;
  if (seconds < kMinute) return tenths(seconds) + " s";
  const auto whole = static_cast<std::int64_t>(seconds);
  if (whole < 3600) return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
  return std::to_string(whole / 3600) + " h " + std::to_string(whole % 3600 / 60) + " min";
}

// The part of the run that is over, from 0 to 1: of the exchanges or of the time, whichever is
// more.
double partOf(const RepeatOptions& options, std::int64_t done, double seconds) {
  double part = 0;
  if (options.times) part = static_cast<double>(done) / static_cast<double>(*options.times);
  if (options.duration && *options.duration > 0) part = std::max(part, seconds / *options.duration);
  return std::min(part, 1.0);
}

// The seconds until the run is over, by what it has taken so far; nullopt for not to be told.
std::optional<double> timeLeft(const RepeatOptions& options, std::int64_t done, double seconds) {
  std::optional<double> left;
  if (options.times && done > 0) {
    const double each = std::max(options.interval, seconds / static_cast<double>(done));
    left = std::max(0.0, each * static_cast<double>(*options.times) - seconds);
  }
  if (options.duration) {
    const double rest = std::max(0.0, *options.duration - seconds);
    left = std::min(left.value_or(rest), rest);
  }
  return left;
}

// A bar, the counts and the time left. Without the room for them the bar goes first.
std::string progressText(const RepeatOptions& options, const Progress& progress, double seconds,
                         std::size_t columns) {
  const std::int64_t done = progress.done;
  std::string text = std::to_string(done);
  if (options.times) text += " of " + std::to_string(*options.times);
  text += ", " + std::to_string(progress.failed) + " failed";
  if (const auto left = timeLeft(options, done, seconds))
    text += ", " + durationText(*left) + " left";
  constexpr std::size_t kLeastBar = 4;
  constexpr std::size_t kLongestBar = 40;
  constexpr std::size_t kEnds = 3;  // the brackets and a blank
  if (columns < text.size() + kEnds + kLeastBar) return text;
  const std::size_t length = std::min(columns - text.size() - kEnds, kLongestBar);
  const double part = partOf(options, done, seconds);
  const auto filled = static_cast<std::size_t>(part * static_cast<double>(length));
  return '[' + std::string(filled, '#') + std::string(length - filled, '-') + "] " + text;
}

class RepeatedExchange {
 public:
  RepeatedExchange(const RepeatOptions& options, bv::BVSerialPort& port, Output& output)
      : options_(options), port_(port), output_(output) {}

  // Holds the exchanges, until the last one, the end of the time, an interrupt or a dead line.
  void run() {
    // Not among the lines of JSON on the same terminal.
    std::optional<StatusLine> line;
    if (!output_.json() || !isCapableTerminal(STDOUT_FILENO)) {
      line.emplace([this](double seconds, std::size_t columns) {
        return progressText(options_, progress_, seconds, columns);
      });
    }
    const RunTime time(options_.duration);
    auto next = start_;
    while (!isComplete() && !lineIsDead_ && !time.isOver() && !output_.isBroken()) {
      next = std::max(next, steady_clock::now());
      holdOne();
      next += std::chrono::duration_cast<steady_clock::duration>(
          std::chrono::duration<double>(options_.interval));
      if (!isComplete()) time.waitUntil(next);
    }
    seconds_ = std::chrono::duration<double>(steady_clock::now() - start_).count();
  }

  // Reports the failures, and prints the summary.
  void report() {
    const std::int64_t done = progress_.done;
    const std::int64_t failed = progress_.failed;
    if (failed > 0) {
      output_.complain(std::to_string(failed) + " of " + std::to_string(done) +
                       " exchanges failed; the first is number " + std::to_string(firstFailed_) +
                       ": " + firstError_);
    }
    if (done == 0) output_.complain("no exchange was held; give a longer time");
    if (output_.json()) return;
    output_.print(std::to_string(done) + (done == 1 ? " exchange in " : " exchanges in ") +
                  durationText(seconds_) + ", " +
                  (failed > 0
                       ? output_.colored(Color::kRed, std::to_string(failed) + " failed")
                       : output_.colored(Color::kGreen, done > 0 ? "all agreed" : "none failed")) +
                  "\n");
    if (latencies_.count() > 0) {
      output_.print("latency of those that agreed\n" +
                    latencies_.text(std::min(lineColumns(STDOUT_FILENO), kWidest)));
    }
  }

  [[nodiscard]] bv::Dictionary described() const {
    return {{"command", options_.exchange.command},
            {"port", port_.path()},
            {"exchanges", progress_.done.load()},
            {"failed", progress_.failed.load()},
            {"seconds", seconds_},
            {"interrupted", interrupted()},
            {"latencies", latencies_.described()}};
  }

  [[nodiscard]] bool allAgreed() const { return progress_.done > 0 && progress_.failed == 0; }

 private:
  static constexpr std::size_t kWidest = 100;  // columns; a longer bar is no clearer

  [[nodiscard]] bool isComplete() const {
    return options_.times && progress_.done >= *options_.times;
  }

  void holdOne() {
    // A reply that came too late must not answer the next command.
    if (afterFailure_) discardInput(port_);
    const auto begin = std::chrono::system_clock::now();
    Exchange result = exchange(options_.exchange, port_);
    if (interrupted()) return;  // it counts neither way
    checkReply(result);
    ++progress_.done;
    afterFailure_ = !result.error.empty();
    if (afterFailure_) {
      if (++progress_.failed == 1) {
        firstFailed_ = progress_.done;
        firstError_ = result.error + result.advice;
      }
      lineIsDead_ = lineFailure(port_).has_value();
      bv::BVLog::Default::error("exchange " + std::to_string(progress_.done) +
                                " failed: " + escaped(result.error));
    } else {
      latencies_.add(result.seconds);
    }
    if (output_.json()) printEvent(begin, result);
  }

  // With --same, the first reply that agrees is what the others are compared with.
  void checkReply(Exchange& result) {
    if (!result.error.empty()) return;
    if (options_.exchange.endsBySilence() && result.reply.empty())
      result.error = port_.path() + ": no reply within " + secondsText(options_.exchange.timeout);
    if (!options_.same || !result.error.empty()) return;
    if (!firstReply_) firstReply_ = result.reply;
    if (*firstReply_ != result.reply) {
      result.error = port_.path() + ": the reply is not the same as the first one: \"" +
                     escaped(result.reply) + "\" instead of \"" + escaped(*firstReply_) + '"';
    }
  }

  void printEvent(bv::Date begin, const Exchange& result) {
    bv::Dictionary event{{"exchange", progress_.done.load()},
                         {"time", begin},
                         {"seconds", result.seconds},
                         {"ok", result.error.empty()}};
    if (!result.error.empty()) event.emplace("error", result.error);
    output_.printJson(std::move(event));
  }

  const RepeatOptions& options_;
  bv::BVSerialPort& port_;
  Output& output_;
  Progress progress_;
  Latencies latencies_;
  std::optional<bv::Data> firstReply_;
  std::int64_t firstFailed_ = 0;
  std::string firstError_;
  bool afterFailure_ = true;  // at the start, too: something may wait in the adapter
  bool lineIsDead_ = false;
  steady_clock::time_point start_ = steady_clock::now();
  double seconds_ = 0;
};

int run(const RepeatOptions& options, Session& session) {
  Output& output = session.output();
  if (!options.log.empty() && !session.startLog(options.log)) return kFailure;
  const OpenedPort opened = openPort(options.port);
  if (opened.port == nullptr) {
    output.complain(opened.error);
    return kFailure;
  }
  RepeatedExchange repetition(options, *opened.port, output);
  repetition.run();
  repetition.report();
  const bool isLogged = session.logIsComplete();
  if (output.json()) output.printResult(repetition.described());
  if (!interrupted()) opened.port->closePort();
  return isLogged && repetition.allAgreed() ? kSuccess : kFailure;
}

void checkOptions(RepeatOptions& options) {
  checkExchange(options.exchange);
  if (!options.times && !options.duration) options.times = kUsualTimes;
}

}  // namespace

void addRepeat(AnyCommand& program) {
  auto command = program.command<RepeatOptions>(
      "repeat",
      "Holds the same exchange many times. Prints how many failed, and how long the others "
      "took: the least time, the median, the 90th and 99th percentile, the most, and a histogram");
  RepeatOptions& options = command.options();
  addPortOptions(command, options.port);
  addExchangeOptions(command, options.exchange,
                     "Time limit; without --accept and --bytes: the silence that ends the reply");
  command
      .option("--times", &RepeatOptions::times, "N",
              "Ends after N exchanges; default: 100, or without end when --duration is given")
      .between(1, std::numeric_limits<std::int32_t>::max());
  command
      .option("--duration", &RepeatOptions::duration, "",
              "Ends after this time: begins no exchange after that")
      .secondsUpTo(kLongestDuration);
  command
      .option("--interval", &RepeatOptions::interval, "",
              "From the start of an exchange to the next one; a longer exchange delays it")
      .showsDefault()
      .secondsUpTo(kLongestTimeout);
  command.flag("--same", &RepeatOptions::same, "Each reply has to equal the first one");
  command.option("--log", &RepeatOptions::log, "FILE",
                 "Also logs to this file; default: the system log only");
  command.example(R"(bvdiag repeat version --accept 'FW .*\r\n' --times 500 --interval 0.5)");
  command.footer(exitStatusText("every exchange agreed",
                                "one failed, the port cannot be opened, or the log cannot be "
                                "written"));
  command.runs(run, {}, checkOptions);
}

}  // namespace bvdiag
