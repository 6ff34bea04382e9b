#include "latencies.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>
#include <utility>

namespace bvdiag {
namespace {

namespace bv = brisvane;

// How the ends of the bins are written: all with one unit and as many digits as their width needs.
struct Scale {
  Scale(double most, double width) : isInSeconds(most >= 1) {
    const double shown = isInSeconds ? width : width * 1000;
    digits = static_cast<int>(std::max(0.0, std::ceil(-std::log10(shown) - 1e-9)));
  }

  [[nodiscard]] std::string text(double seconds) const {
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << (isInSeconds ? seconds : seconds * 1000);
    return text.str();
  }
  [[nodiscard]] const char* unit() const { return isInSeconds ? " s" : " ms"; }

  bool isInSeconds;
  int digits = 0;
};

std::string padded(const std::string& text, std::size_t columns) {
  return std::string(columns - std::min(columns, text.size()), ' ') + text;
}

// The columns of the widest text.
std::size_t widthOf(const std::vector<std::string>& texts) {
  std::size_t width = 0;
  for (const std::string& text : texts) width = std::max(width, text.size());
  return width;
}

std::string barsText(const std::vector<Latencies::Bin>& bins, std::size_t columns) {
  const std::vector<std::string> ranges = rangeTexts(bins);
  std::vector<std::string> counts;
  std::size_t most = 1;
  for (const Latencies::Bin& bin : bins) {
    counts.push_back(std::to_string(bin.count));
    most = std::max(most, bin.count);
  }
  const std::size_t rangeWidth = widthOf(ranges);
  const std::size_t countWidth = widthOf(counts);
  constexpr std::size_t kBlanks = 4;
  const std::size_t taken = rangeWidth + countWidth + kBlanks;
  const std::size_t room = columns > taken ? columns - taken : 1;
  std::string text;
  for (std::size_t i = 0; i < bins.size(); ++i) {
    const std::size_t count = bins[i].count;
    std::size_t length = count * room / most;
    if (count > 0) length = std::max<std::size_t>(length, 1);  // none looks like no time at all
    text += padded(ranges[i], rangeWidth) + "  " + padded(counts[i], countWidth);
    if (length > 0) text += "  " + std::string(length, '#');
    text += '\n';
  }
  return text;
}

}  // namespace

void Latencies::add(double seconds) {
  isSorted_ = isSorted_ && (times_.empty() || times_.back() <= seconds);
  times_.push_back(seconds);
}

void Latencies::sort() const {
  if (!isSorted_) std::sort(times_.begin(), times_.end());
  isSorted_ = true;
}

double Latencies::percentile(double percent) const {
  sort();
  const double rank = std::ceil(percent / 100 * static_cast<double>(times_.size()));
  return times_[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
}

std::vector<Latencies::Bin> Latencies::histogram() const {
  constexpr double kUsual = 10;         // bins; rounding makes them fewer, and adds one at each end
  constexpr double kLeastPart = 0.01;   // of the median, that a bin covers
  constexpr double kLeastWidth = 1e-6;  // in seconds
  std::vector<Bin> bins;
  if (times_.empty()) return bins;
  const double least = percentile(0);
  const double usual = percentile(99);
  const double width =
      roundWidth(std::max({(usual - least) / kUsual, percentile(50) * kLeastPart, kLeastWidth}));
  const double first = std::floor(least / width);
  const auto endOf = [&](std::size_t bin) { return (first + static_cast<double>(bin)) * width; };
  for (const double time : times_) {
    while (bins.empty() || (bins.back().to && time >= *bins.back().to)) {
      Bin next{endOf(bins.size()), endOf(bins.size() + 1), 0};
      if (next.from > usual) next.to.reset();
      bins.push_back(next);
    }
    ++bins.back().count;
  }
  return bins;
}

bv::Dictionary Latencies::figures() const {
  bv::Dictionary figures;
  if (times_.empty()) return figures;
  for (const LatencyFigure& figure : kLatencyFigures)
    figures.emplace(figure.key, percentile(figure.percent));
  return figures;
}

bv::Dictionary Latencies::described() const {
  bv::Dictionary description = figures();
  description.emplace("count", count());
  if (times_.empty()) return description;
  bv::Array bins;
  for (const Bin& bin : histogram()) {
    bins.emplace_back(bv::Dictionary{{"from", bin.from},
                                     {"to", bin.to ? bv::Object(*bin.to) : bv::Object(nullptr)},
                                     {"count", bin.count}});
  }
  description.emplace("histogram", std::move(bins));
  return description;
}

std::string Latencies::text(std::size_t columns) const {
  std::string text;
  if (times_.empty()) return text;
  for (const LatencyFigure& figure : kLatencyFigures) {
    constexpr std::size_t kNameWidth = 10;
    std::string line = "  " + std::string(figure.name);
    line.resize(kNameWidth, ' ');
    text += line + padded(latencyText(percentile(figure.percent)), kNameWidth) + '\n';
  }
  constexpr std::size_t kLeastColumns = 32;
  return text + '\n' + barsText(histogram(), std::max(columns, kLeastColumns));
}

double roundWidth(double width) {
  const double power = std::pow(10, std::floor(std::log10(width)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (width <= factor * power) return factor * power;
  }
  return 10 * power;
}

std::vector<std::string> rangeTexts(const std::vector<Latencies::Bin>& bins) {
  const double width = bins.front().to.value_or(1) - bins.front().from;
  const Scale scale(bins.back().from, width);
  std::vector<std::string> texts;
  texts.reserve(bins.size());
  for (const Latencies::Bin& bin : bins) {
    texts.push_back(scale.text(bin.from) + (bin.to ? " to " + scale.text(*bin.to) + scale.unit()
                                                   : scale.unit() + std::string(" or more")));
  }
  return texts;
}

std::string latencyText(double seconds) {
  const bool isShort = seconds < 1;
  const double number = isShort ? seconds * 1000 : seconds;
  const int digits = number < 9.995 ? 2 : number < 99.95 ? 1 : 0;
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << number << (isShort ? " ms" : " s");
  return text.str();
}

}  // namespace bvdiag
