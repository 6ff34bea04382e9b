#include "latency_chart.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "chart_axis.h"

namespace bvdiag {
namespace {

using chart::kBottom;
using chart::kLeft;
using chart::kRight;
using chart::kTop;
using Bins = std::vector<Latencies::Bin>;

double widthOfEach(const Bins& bins) { return (kRight - kLeft) / static_cast<double>(bins.size()); }

void drawBars(HtmlWriter& page, const Bins& bins, const Axis& axis) {
  constexpr double kGap = 2;
  const double each = widthOfEach(bins);
  for (std::size_t i = 0; i < bins.size(); ++i) {
    const double top = axis.at(static_cast<double>(bins[i].count));
    page.empty("rect", {{"class", "bar"},
                        {"x", coordinate(kLeft + static_cast<double>(i) * each + kGap / 2)},
                        {"y", coordinate(top)},
                        {"width", coordinate(each - kGap)},
                        {"height", coordinate(kBottom - top)}});
  }
  drawLine(page, "base", kLeft, kBottom, kRight, kBottom);
}

// Where a time stands: the bins have one width, but for the last one.
double placeOf(double time, const Bins& bins) {
  const Latencies::Bin& first = bins.front();
  const double width = first.to.value_or(first.from + 1) - first.from;
  const double part = (time - first.from) / width;
  return kLeft + std::clamp(part, 0.0, static_cast<double>(bins.size())) * widthOfEach(bins);
}

void drawMedian(HtmlWriter& page, const Latencies& latencies, const Bins& bins) {
  const double median = latencies.percentile(50);
  const double x = placeOf(median, bins);
  drawLine(page, "median", x, kTop - 6, x, kBottom);
  const bool isFarRight = x > (kLeft + kRight) / 2;
  drawText(page, isFarRight ? x - 6 : x + 6, kTop - 8, isFarRight ? "end" : "start",
           "median " + latencyText(median));
}

void drawEnds(HtmlWriter& page, const Bins& bins) {
  constexpr double kLabels = kBottom + 20;
  drawText(page, kLeft, kLabels, "start", latencyText(bins.front().from));
  const Latencies::Bin& last = bins.back();
  if (last.to) return drawText(page, kRight, kLabels, "end", latencyText(*last.to));
  drawText(page, kRight, kLabels, "end", latencyText(last.from) + " or more");
}

void writeRows(HtmlWriter& page, const Bins& bins) {
  {
    const auto head = page.in("thead");
    const auto row = page.in("tr");
    page.element("th", {{"scope", "col"}}, "Time");
    page.element("th", {{"scope", "col"}}, "Repetitions");
  }
  const auto body = page.in("tbody");
  const std::vector<std::string> ranges = rangeTexts(bins);
  for (std::size_t i = 0; i < bins.size(); ++i) {
    const auto row = page.in("tr");
    page.element("th", {{"scope", "row"}}, ranges[i]);
    page.element("td", std::to_string(bins[i].count));
  }
}

}  // namespace

void writeLatencyChart(HtmlWriter& page, const Latencies& latencies, const std::string& id) {
  const Bins bins = latencies.histogram();
  std::size_t most = 1;
  for (const Latencies::Bin& bin : bins) most = std::max(most, bin.count);
  const Axis axis(0, static_cast<double>(most), kBottom, kTop + 6, true);
  writeFigure(
      page, id, "Time of " + std::to_string(latencies.count()) + " repetitions",
      "Least " + latencyText(latencies.percentile(0)) + ", median " +
          latencyText(latencies.percentile(50)) + ", most " +
          latencyText(latencies.percentile(100)) + ".",
      [&] {
        drawGrid(page, axis);
        drawBars(page, bins, axis);
        drawMedian(page, latencies, bins);
        drawEnds(page, bins);
      },
      [&] { writeRows(page, bins); });
}

}  // namespace bvdiag
