// Log lines.
#include <brisvane/host/platform.h>
#include <brisvane/logging/BVLog.h>
#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "bench/harness.h"

namespace brisvane::bench {
namespace {

constexpr const char* kMessage = "the text of a line as tools write them, status \u2192 OK";
const std::string kLine = std::string("2024-03-05 9:7:3 ") + kMessage + " \n";

// A log file of its own for each case, which is right when a line makes it longer.
std::shared_ptr<std::string> newFile(std::uintmax_t bytes = 0) {
  char name[] = "/tmp/brisvane_bench_XXXXXX";
  ::close(::mkstemp(name));
  std::filesystem::resize_file(name, bytes);
  return {new std::string(name), [](std::string* path) {
            std::filesystem::remove(*path);
            delete path;
          }};
}

template <typename Operation>
Case appending(std::string name, const std::shared_ptr<std::string>& path, Operation operation) {
  return {std::move(name),
          [path, operation](std::size_t times) {
            for (; times != 0; --times) operation(*path);
          },
          [path, operation] {
            const auto before = std::filesystem::file_size(*path);
            operation(*path);
            return std::filesystem::file_size(*path) > before;
          }};
}

// Entries for the system log are dropped.
Case quietInfo(const std::shared_ptr<std::string>& path) {
  const auto log = std::make_shared<BVLog>(SystemLogHandle::waylineLog(), *path, 0);
  Case one = appending("info", path, [log](const std::string&) { log->info(kMessage); });
  one.run = [run = one.run](std::size_t times) {
    const host::ScopedPlatform quiet(std::make_shared<const host::Platform>());
    run(times);
  };
  return one;
}

void bareCalls(const std::string& path) {
  const int file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  keep(::write(file, kLine.data(), kLine.size()));
  ::close(file);
}

void standardIo(const std::string& path) {
  std::FILE* const file = std::fopen(path.c_str(), "ae");
  std::fwrite(kLine.data(), 1, kLine.size(), file);
  std::fclose(file);
}

Row toFile() {
  return {"to a file",
          1.3,
          {appending("open, write, close", newFile(), bareCalls), quietInfo(newFile()),
           appending("ofstream", newFile(),
                     [](const std::string& to) {
                       std::ofstream(to, std::ios::app | std::ios::binary) << kLine;
                     }),
           appending("fopen", newFile(), standardIo),
           appending("spdlog, opened per line", newFile(), [](const std::string& to) {
             spdlog::logger("bench", std::make_shared<spdlog::sinks::basic_file_sink_st>(to))
                 .info(kMessage);
           })}};
}

// Lines of many threads at once, which one file takes one after the other.
template <typename Operation>
void byThreads(std::size_t lines, Operation operation) {
  constexpr std::size_t kThreads = 16;
  std::vector<std::jthread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([lines, operation] {
      for (std::size_t left = lines; left != 0; --left) operation();
    });
  }
}

Row ofThreads() {
  const auto barely = newFile();
  const auto path = newFile();
  const auto log = std::make_shared<BVLog>(SystemLogHandle::waylineLog(), *path, 0);
  return {"one file",
          {1.3, 1.8, "each line also asks the log for its path, under a lock"},
          {{"open, write, close",
            [barely](std::size_t times) { byThreads(times, [barely] { bareCalls(*barely); }); },
            nullptr},
           {"info",
            [log, path](std::size_t times) {
              const host::ScopedPlatform quiet(std::make_shared<const host::Platform>());
              byThreads(times, [log] { log->info(kMessage); });
            },
            [log, path] {
              byThreads(100, [log] { log->info(kMessage); });
              std::ifstream lines(*path);
              const std::string all(std::istreambuf_iterator<char>(lines), {});
              return all.size() == 1600 * (all.find('\n') + 1);
            }}}};
}

// The line that makes a file of some size longer.
Row ontoFile(std::string size, std::uintmax_t bytes) {
  return {std::move(size),
          0,
          {appending("open, write, close", newFile(bytes), bareCalls), quietInfo(newFile(bytes))}};
}

// So many errors, each of which makes the aggregated text of the process longer.
Case errors(std::size_t count) {
  const auto log = std::make_shared<BVLog>(SystemLogHandle::waylineLog(), nullptr, 0);
  return {std::to_string(count),
          [log, count](std::size_t times) {
            const host::ScopedPlatform quiet(std::make_shared<const host::Platform>());
            for (; times != 0; --times) {
              BVLog::initAggregatedError("");
              for (std::size_t i = 0; i < count; ++i) log->error(kMessage);
            }
          },
          nullptr};
}

Row toJournal() {
  const auto log = std::make_shared<BVLog>(SystemLogHandle::waylineLog(), nullptr, 0);
  return {"to the journal",
          1.1,
          {giving(
               "sd_journal_send",
               [] {
                 return sd_journal_send("MESSAGE=%s", kMessage, "PRIORITY=6",
                                        "SYSLOG_IDENTIFIER=bench", "SUBSYSTEM=bench",
                                        "CATEGORY=bench", nullptr);
               },
               0),
           giving(
               "info", [log] { return log->info(kMessage), true; }, true)}};
}

}  // namespace

std::vector<Table> logTables() {
  std::vector<Table> tables{{"info", {}}, {"Growth: info against the file's size", {}}};
  if (::access("/run/systemd/journal/socket", W_OK) == 0) tables[0].rows.push_back(toJournal());
  tables[0].rows.push_back(toFile());
  for (const unsigned bits : {10U, 20U, 30U}) {
    tables[1].rows.push_back(
        ontoFile("2^" + std::to_string(bits) + " B", std::uintmax_t{1} << bits));
  }
  tables.push_back(
      {"Growth: errors logged", {{"errors", 0, {errors(1000), errors(10'000), errors(100'000)}}}});
  return tables;
}

std::vector<Table> threadsTables() { return {{"info by 16 threads", {ofThreads()}}}; }

}  // namespace brisvane::bench
