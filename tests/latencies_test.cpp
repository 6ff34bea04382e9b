// What a burn-in's times come to: percentiles, bins, and their picture.
#include "tools/bvdiag/latencies.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>
#include <string>

namespace brisvane {
namespace {

using bvdiag::Latencies;
using ::testing::HasSubstr;

TEST(Latencies, GiveTheNearestRankWhateverTheOrder) {
  Latencies latencies;
  for (const int milliseconds : {50, 10, 20, 40, 30}) latencies.add(milliseconds / 1000.0);
  EXPECT_DOUBLE_EQ(latencies.percentile(0), 0.010);
  EXPECT_DOUBLE_EQ(latencies.percentile(50), 0.030);
  EXPECT_DOUBLE_EQ(latencies.percentile(60), 0.030);
  EXPECT_DOUBLE_EQ(latencies.percentile(90), 0.050);
  latencies.add(0.005);  // after a question
  EXPECT_DOUBLE_EQ(latencies.percentile(0), 0.005);
  EXPECT_DOUBLE_EQ(latencies.percentile(50), 0.020);
  EXPECT_DOUBLE_EQ(latencies.percentile(100), 0.050);
}

TEST(Latencies, FallIntoRoundBinsWithTheRareLongOnesInTheLast) {
  Latencies latencies;
  for (int i = 0; i < 999; ++i) latencies.add(0.0020005 + i * 1e-6);
  latencies.add(3.0);
  const auto bins = latencies.histogram();
  ASSERT_EQ(bins.size(), 11U);
  EXPECT_NEAR(bins.front().from, 0.002, 1e-9);
  EXPECT_NEAR(*bins.front().to, 0.0021, 1e-9);
  EXPECT_EQ(bins.front().count, 100U);
  EXPECT_EQ(bins.back().to, std::nullopt);
  EXPECT_EQ(bins.back().count, 1U);
  std::size_t all = 0;
  for (const auto& bin : bins) all += bin.count;
  EXPECT_EQ(all, 1000U);
  EXPECT_THAT(latencies.text(60), HasSubstr("2.0 to 2.1 ms"));

  Latencies equal;
  for (int i = 0; i < 3; ++i) equal.add(0.1);
  EXPECT_EQ(equal.histogram().size(), 1U);
  EXPECT_TRUE(Latencies().histogram().empty());
  EXPECT_EQ(Latencies().text(80), "");
}

TEST(Latencies, AreDrawnWithinTheColumns) {
  Latencies latencies;
  for (int i = 0; i < 100'000; ++i) latencies.add(0.9995 + i % 10 * 1e-3);
  latencies.add(86'400);
  for (const std::size_t columns : {40U, 80U, 200U}) {
    std::istringstream lines(latencies.text(columns));
    std::size_t longest = 0;
    for (std::string line; std::getline(lines, line);) longest = std::max(longest, line.size());
    EXPECT_EQ(longest, columns) << latencies.text(columns);
  }
  // One among very many is still seen.
  EXPECT_THAT(latencies.text(80), HasSubstr("     1  #\n"));
}

}  // namespace
}  // namespace brisvane
