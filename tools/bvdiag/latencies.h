// Latencies, what the times of many exchanges come to: their percentiles, and how they are
// spread. A Latencies belongs to one thread.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <brisvane/types/object.h>

namespace bvdiag {

// What is shown of the times.
struct LatencyFigure {
  const char* name;
  const char* key;  // in JSON
  double percent;
};
inline constexpr std::array<LatencyFigure, 5> kLatencyFigures{{{"least", "least", 0},
                                                               {"median", "median", 50},
                                                               {"90 %", "p90", 90},
                                                               {"99 %", "p99", 99},
                                                               {"most", "most", 100}}};

class Latencies {
 public:
  // The times from `from` on that are below `to`.
  struct Bin {
    double from = 0;
    std::optional<double> to;  // nullopt: there is no upper end
    std::size_t count = 0;
  };

  // Takes a time in seconds, 0 or more. Each takes 8 bytes of memory.
  void add(double seconds);

  [[nodiscard]] std::size_t count() const noexcept { return times_.size(); }

  // The least time that at least `percent` % of all times do not exceed: the nearest-rank method.
  // 0 gives the least time, 50 the median, 100 the longest. REQUIRES: count() > 0.
  [[nodiscard]] double percentile(double percent) const;

  // Bins of one width that cover the times up to the 99th percentile, at most 12. Their width is
  // 1, 2 or 5 times a power of ten, and 1 % of the median or more. The last bin takes all times
  // above. Empty without a time.
  [[nodiscard]] std::vector<Bin> histogram() const;

  // For JSON, in seconds: "least", "median", "p90", "p99", "most". Empty without a time.
  [[nodiscard]] brisvane::Dictionary figures() const;

  // The same with "count", and the "histogram" with "from", "to" (null where there is no upper end)
  // and "count". Only "count" without a time.
  [[nodiscard]] brisvane::Dictionary described() const;

  // A line for each percentile, then one for each bin with a bar. No line takes more than
  // `columns`, but at least 32. Empty without a time.
  [[nodiscard]] std::string text(std::size_t columns) const;

 private:
  void sort() const;

  mutable std::vector<double> times_;
  mutable bool isSorted_ = true;
};

// The least of 1, 2 and 5 times a power of ten that is not below `width`. REQUIRES: width > 0.
[[nodiscard]] double roundWidth(double width);

// The times that each bin covers, as in "2.0 to 2.2 ms" or "2.4 ms or more".
// REQUIRES: there is a bin.
[[nodiscard]] std::vector<std::string> rangeTexts(const std::vector<Latencies::Bin>& bins);

// A time as a person reads it, with three digits: "2.13 ms", "15.0 s".
[[nodiscard]] std::string latencyText(double seconds);

}  // namespace bvdiag
