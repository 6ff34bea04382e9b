// Measures the cases of a row round after round, in turn, and takes the least of each: what else
// the machine does meets all of them alike.
#include "bench/harness.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <string_view>

namespace brisvane::bench {
namespace {

constexpr double kBatch = 500e-6;  // seconds that a case runs at a time, or once
constexpr double kRow = 1.5;       // seconds for all the rounds of a row
constexpr std::size_t kMostRounds = 200;
constexpr std::size_t kFewestRounds = 5;
constexpr double kLong = 0.9;        // seconds: what takes longer is measured once
constexpr double kTolerance = 1.25;  // times the ratio that is accepted

struct Measured {
  std::size_t times = 1;  // a batch
  double least = std::numeric_limits<double>::infinity();
};

// Once before the clock starts, where that is short: what the case before has freed is sorted by
// the allocator then, and what it has pushed out of the memory caches comes back.
double secondsOf(const Case& one, std::size_t times, Clock clock, double expected = 0) {
  constexpr double kShort = 50e-3;
  const auto now = [clock] {
    timespec time{};
    ::clock_gettime(clock == Clock::kReal ? CLOCK_MONOTONIC : CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  if (expected < kShort) one.run(1);
  const double start = now();
  one.run(times);
  return now() - start;
}

std::vector<Measured> measure(const Row& row, Clock clock) {
  std::vector<Measured> results(row.cases.size());
  if (row.cases.front().mebibytes != nullptr) {
    for (std::size_t i = 0; i < results.size(); ++i) results[i].least = row.cases[i].mebibytes();
    return results;
  }
  double round = 0;
  for (std::size_t i = 0; i < results.size(); ++i) {
    double seconds = secondsOf(row.cases[i], 1, clock);
    while (seconds < kBatch) seconds = secondsOf(row.cases[i], results[i].times *= 2, clock);
    round += seconds;
  }
  const auto rounds = static_cast<std::size_t>(kRow / round);
  for (std::size_t left = std::clamp(rounds, kFewestRounds, kMostRounds); left != 0; --left) {
    for (std::size_t i = 0; i < results.size(); ++i) {
      Measured& result = results[i];
      if (clock == Clock::kProcessor && std::isfinite(result.least) && result.least > kLong)
        continue;
      result.least =
          std::min(result.least, secondsOf(row.cases[i], result.times, clock, result.least) /
                                     static_cast<double>(result.times));
    }
  }
  return results;
}

std::string amountText(const Case& one, double amount) {
  const char* unit = "ns";
  double value = amount * 1e9;
  if (one.mebibytes != nullptr) {
    unit = "MiB";
    value = amount;
  } else if (value >= 1e6) {
    unit = "ms";
    value /= 1e6;
  } else if (value >= 1e4) {
    unit = "us";
    value /= 1e3;
  }
  char text[32];
  std::snprintf(text, sizeof text, "%.4g %s", value, unit);
  return text;
}

// For the end: the rows with a wrong result, those that are worse than what is accepted of them,
// and those that are not, but miss their goal.
struct Verdict {
  std::size_t wrong = 0;
  std::vector<std::string> missed;
  std::vector<std::string> explained;
};

// What the table says of the ratio beside its goal.
std::string judged(const std::string& row, const Goal& goal, double ratio, Verdict& verdict) {
  if (goal.wanted == 0) return {};
  char text[64];
  std::snprintf(text, sizeof text, "  goal %.3g", goal.wanted);
  std::string remark = text;
  if (!goal.why.empty()) {
    std::snprintf(text, sizeof text, ", accepted %.3g: ", goal.accepted);
    remark += text + goal.why;
  }
  if (ratio > goal.accepted * kTolerance) {
    verdict.missed.push_back(row);
    return remark + "  MISSED";
  }
  if (ratio > goal.wanted * kTolerance) verdict.explained.push_back(row + ": " + goal.why);
  return remark;
}

void printRow(const Table& table, const Row& row, Clock clock, Verdict& verdict) {
  for (const Case& one : row.cases) {
    if (one.isRight != nullptr && !one.isRight()) {
      std::printf("  %s, %s: a wrong result\n", row.size.c_str(), one.name.c_str());
      ++verdict.wrong;
    }
  }
  const std::vector<Measured> results = measure(row, clock);
  const double limit = results.front().least;
  std::printf("  %-30s %-34s %s\n", row.size.c_str(), row.cases.front().name.c_str(),
              amountText(row.cases.front(), limit).c_str());
  for (std::size_t i = 1; i < results.size(); ++i) {
    const double ratio = results[i].least / limit;
    std::string remark;
    if (i == 1) remark = judged(table.operation + ", " + row.size, row.goal, ratio, verdict);
    std::printf("  %-30s %-34s %-12s %8.2f%s\n", "", row.cases[i].name.c_str(),
                amountText(row.cases[i], results[i].least).c_str(), ratio, remark.c_str());
  }
  std::fflush(stdout);
}

void printTable(const Table& table, Clock clock, Verdict& verdict) {
  std::printf("\n%s\n", table.operation.c_str());
  for (const Row& row : table.rows) printRow(table, row, clock, verdict);
}

bool isWanted(const Table& table, const std::vector<std::string_view>& words) {
  return words.empty() || std::any_of(words.begin(), words.end(), [&table](std::string_view word) {
           return table.operation.find(word) != std::string::npos;
         });
}

int run(bool mustReachGoals, const std::vector<std::string_view>& words) {
  Verdict verdict;
  for (const Family& family : families()) {
    for (const Table& table : family.tables()) {
      if (isWanted(table, words)) printTable(table, family.clock, verdict);
    }
  }
  for (const std::string& row : verdict.explained)
    std::printf("\nmisses its goal: %s", row.c_str());
  for (const std::string& row : verdict.missed)
    std::printf("\nMISSED, worse by a quarter than is accepted: %s", row.c_str());
  std::printf("\n");
  if (verdict.wrong != 0) return 1;
  return mustReachGoals && !verdict.missed.empty() ? 1 : 0;
}

}  // namespace
}  // namespace brisvane::bench

// brisvane_bench [--check] [WORD...]: the tables whose operation has one of the words in its name.
int main(int count, char** arguments) {
  std::vector<std::string_view> words(arguments + 1, arguments + count);
  const auto check = std::find(words.begin(), words.end(), "--check");
  const bool mustReachGoals = check != words.end();
  if (mustReachGoals) words.erase(check);
  return brisvane::bench::run(mustReachGoals, words);
}
