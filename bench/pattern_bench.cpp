// The search of a growing reply for a pattern that is not there yet, beside std::regex.
// The ratio is what matters.
#include <benchmark/benchmark.h>
#include <brisvane/host/formats/pattern.h>

#include <regex>
#include <string>

namespace {

// A reply of this many bytes, in lines as a talkative fixture sends them. std::regex
// overflows the stack at some 27,000 characters, which bounds the comparison.
std::string reply(std::int64_t size) {
  std::string text;
  while (text.size() < static_cast<std::size_t>(size)) text += "sensor 12: 23.5 degrees, fan at 1200 rpm\r\n";
  return text;
}

constexpr const char* kPattern = "fan at \\d+ rpm, done";

void standardRegex(benchmark::State& state) {
  const std::string text = reply(state.range(0));
  const std::regex pattern(kPattern, std::regex::icase);
  for (auto _ : state) benchmark::DoNotOptimize(std::regex_search(text, pattern));
}

void pattern(benchmark::State& state) {
  const std::string text = reply(state.range(0));
  const auto pattern = brisvane::host::Pattern::compile(kPattern);
  for (auto _ : state) benchmark::DoNotOptimize(pattern->firstMatch(text));
}

BENCHMARK(standardRegex)->Arg(256)->Arg(16384);
BENCHMARK(pattern)->Arg(256)->Arg(16384)->Arg(1048576);

}  // namespace
