// The benchmarks' own harness: tables of ratios, each case beside its peers and the machine's
// limit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace brisvane::bench {

// One way to do the operation of a row.
struct Case {
  std::string name;
  std::function<void(std::size_t times)> run;
  std::function<bool()> isRight = nullptr;      // of a result; asked once, before the measurement
  std::function<double()> mebibytes = nullptr;  // what is measured in place of the time
};

// The ratio that is wanted of ours. Where simple code does not reach it, a larger one is accepted
// for a reason, which the table prints.
struct Goal {
  // NOLINTBEGIN(google-explicit-constructor): a goal is a ratio as a rule.
  Goal(double ratio) : wanted(ratio), accepted(ratio) {}
  // NOLINTEND(google-explicit-constructor)
  Goal(double ratio, double atMost, std::string reason)
      : wanted(ratio), accepted(atMost), why(std::move(reason)) {}

  double wanted;  // 0: none
  double accepted;
  std::string why;
};

// The cases in order: the limit, to which the ratios are taken, then ours, then the peers.
struct Row {
  std::string size;
  Goal goal;
  std::vector<Case> cases;
};

struct Table {
  std::string operation;
  std::vector<Row> rows;
};

// Keeps the compiler from leaving the work out.
template <typename Value>
void keep(const Value& value) noexcept {
  asm volatile("" : : "r"(&value) : "memory");
}

// A case whose operation gives a value; it is right when `isRight` says so of that value.
template <typename Operation, typename Check>
Case measured(std::string name, Operation operation, Check isRight) {
  return {std::move(name),
          [operation](std::size_t times) {
            for (; times != 0; --times) keep(operation());
          },
          [operation, isRight] { return static_cast<bool>(isRight(operation())); }};
}

// A case that is right when it gives `expected`.
template <typename Operation, typename Value>
Case giving(std::string name, Operation operation, Value expected) {
  return measured(std::move(name), operation,
                  [expected](const auto& value) { return value == expected; });
}

// A case of memory.
template <typename Measure>
Case holding(std::string name, Measure measure) {
  return {std::move(name), nullptr, nullptr, measure};
}

// The families, each a source file of its own. Made one after the other, so that the data of one is
// gone when the next is measured.
std::vector<Table> bytesTables();
std::vector<Table> cryptoTables();
std::vector<Table> textTables();
std::vector<Table> logTables();
std::vector<Table> threadsTables();
std::vector<Table> serialTables();
std::vector<Table> processTables();
std::vector<Table> valuesTables();
std::vector<Table> machineTables();

// What does not wait is measured in the processor time of the process, to which the work of others
// on a shared machine does not count.
enum class Clock : std::uint8_t { kReal, kProcessor };

struct Family {
  std::vector<Table> (*tables)();
  Clock clock;
};

// The families of this program.
std::vector<Family> families();

}  // namespace brisvane::bench
