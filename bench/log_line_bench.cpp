// One line of a log file, opened, appended and closed, beside the ways in which the
// standard libraries of C and C++ do the same. The ratio is what matters.
#include <benchmark/benchmark.h>
#include <brisvane/all.h>
#include <brisvane/host/files/files.h>
#include <brisvane/host/platform.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace bv = brisvane;

namespace {

const std::string kPath = "/tmp/brisvane_log_line_bench.log";
const std::string kLine = "2024-03-05 9:7:3 the text of a line as tools write them, status → OK \n";

void cFile(benchmark::State& state) {
  for (auto _ : state) {
    std::FILE* const file = std::fopen(kPath.c_str(), "ae");
    std::fwrite(kLine.data(), 1, kLine.size(), file);
    std::fclose(file);
  }
}

void cxxStream(benchmark::State& state) {
  for (auto _ : state) std::ofstream(kPath, std::ios::app | std::ios::binary) << kLine;
}

void appendToFile(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(bv::host::appendToFile(kPath, kLine));
}

// The whole operation: timestamp, line and file, with a system log that drops the entry.
void loggerInfo(benchmark::State& state) {
  const bv::host::ScopedPlatform quiet(std::make_shared<bv::host::Platform>());
  bv::BVLog log(bv::SystemLogHandle::waylineLog(), kPath, 0);
  for (auto _ : state) log.info("the text of a line as tools write them, status → OK");
  std::remove(kPath.c_str());
}

BENCHMARK(cFile);
BENCHMARK(cxxStream);
BENCHMARK(appendToFile);
BENCHMARK(loggerInfo);

}  // namespace
