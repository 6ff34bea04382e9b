#include "value_chart.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "chart_axis.h"

namespace bvdiag {
namespace {

using chart::kBottom;
using chart::kLeft;
using chart::kRight;

// Repetitions that follow each other, and share a mark.
struct Group {
  std::size_t first = 0;
  std::size_t last = 0;
  double least = 0;
  double most = 0;
  bool isGood = true;
};

std::vector<Group> groupsOf(const std::vector<Reading>& readings) {
  constexpr std::size_t kMost = 100;
  const std::size_t each = (readings.size() + kMost - 1) / kMost;
  std::vector<Group> groups;
  for (std::size_t i = 0; i < readings.size(); ++i) {
    const Reading& reading = readings[i];
    if (i % each == 0)
      groups.push_back({reading.repetition, 0, reading.number, reading.number, true});
    Group& group = groups.back();
    group.last = reading.repetition;
    group.least = std::min(group.least, reading.number);
    group.most = std::max(group.most, reading.number);
    group.isGood &= reading.isGood;
  }
  return groups;
}

struct Extent {
  double low = 0;
  double high = 0;

  void cover(double number) {
    low = std::min(low, number);
    high = std::max(high, number);
  }
};

Extent rangeOf(const ValueSeries& series) {
  Extent range{series.readings.front().number, series.readings.front().number};
  for (const Reading& reading : series.readings) range.cover(reading.number);
  return range;
}

// What an axis has to cover: all numbers and the limits, and some room around them.
Extent extentOf(const ValueSeries& series) {
  Extent extent = rangeOf(series);
  const auto& [low, high] = series.first.limits;
  if (low) extent.cover(*low);
  if (high) extent.cover(*high);
  constexpr double kRoom = 0.14;
  double room = (extent.high - extent.low) * kRoom;
  if (room == 0) room = std::max(std::abs(extent.high) * kRoom, 1e-9);
  return {extent.low - room, extent.high + room};
}

bool isDrawable(const ValueSeries& series) {
  if (series.readings.empty()) return false;
  const Extent extent = extentOf(series);
  return std::isfinite(extent.high - extent.low) && extent.low < extent.high;
}

// The range between the limits; where there is none, it goes to the chart's edge.
void drawLimits(HtmlWriter& page, const Limits& limits, const Axis& axis) {
  if (!limits.any()) return;
  const double top = limits.high ? axis.at(*limits.high) : chart::kTop;
  const double bottom = limits.low ? axis.at(*limits.low) : kBottom;
  page.empty("rect", {{"class", "band"},
                      {"x", coordinate(kLeft)},
                      {"y", coordinate(top)},
                      {"width", coordinate(kRight - kLeft)},
                      {"height", coordinate(bottom - top)}});
  if (limits.high) drawLine(page, "limit", kLeft, top, kRight, top);
  if (limits.low) drawLine(page, "limit", kLeft, bottom, kRight, bottom);
}

// The limits' numbers, outside of the range, at the end of the line where fewer marks stand.
void nameLimits(HtmlWriter& page, const Limits& limits, const std::vector<Group>& groups,
                const Axis& axis) {
  constexpr double kAbove = -4;
  constexpr double kBelow = 13;
  constexpr double kNear = 16;
  const auto name = [&](double line, double y, const char* word, double limit) {
    const auto countNear = [&](std::size_t from, std::size_t to) {
      return std::count_if(groups.begin() + static_cast<std::ptrdiff_t>(from),
                           groups.begin() + static_cast<std::ptrdiff_t>(to),
                           [&](const Group& group) {
                             return axis.at(group.most) < std::max(line, y) + kNear / 2 &&
                                    axis.at(group.least) > std::min(line, y) - kNear;
                           });
    };
    const std::size_t part = (groups.size() + 3) / 4;
    const bool isLeft = countNear(0, part) < countNear(groups.size() - part, groups.size());
    drawText(page, isLeft ? kLeft + 2 : kRight, y, isLeft ? "start" : "end",
             word + numberText(limit));
  };
  if (limits.high)
    name(axis.at(*limits.high), axis.at(*limits.high) + kAbove, "at most ", *limits.high);
  if (limits.low)
    name(axis.at(*limits.low), axis.at(*limits.low) + kBelow, "at least ", *limits.low);
}

// A point, a cross where a repetition has failed, or the line between the ends of a group.
void drawGroup(HtmlWriter& page, const Group& group, double x, const Axis& axis) {
  constexpr double kLeastLine = 1;
  const double top = axis.at(group.most);
  const double bottom = axis.at(group.least);
  if (bottom - top > kLeastLine)
    drawLine(page, group.isGood ? "range" : "range bad", x, top, x, bottom);
  if (!group.isGood) {
    page.empty("path",
               {{"class", "cross"},
                {"d", "M" + coordinate(x - 4) + " " + coordinate(top - 4) + "l8 8m0 -8l-8 8"}});
  } else if (bottom - top <= kLeastLine) {
    page.empty("circle",
               {{"class", "point"}, {"cx", coordinate(x)}, {"cy", coordinate(top)}, {"r", "2.5"}});
  }
}

void drawGroups(HtmlWriter& page, const std::vector<Group>& groups, const Axis& axis) {
  const double each = (kRight - kLeft) / static_cast<double>(groups.size());
  const auto x = [each](std::size_t i) { return kLeft + (static_cast<double>(i) + 0.5) * each; };
  std::string line;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    line +=
        coordinate(x(i)) + "," + coordinate(axis.at((groups[i].least + groups[i].most) / 2)) + " ";
  }
  page.empty("polyline", {{"class", "line"}, {"points", line}});
  for (std::size_t i = 0; i < groups.size(); ++i) drawGroup(page, groups[i], x(i), axis);
  constexpr double kLabels = kBottom + 20;
  drawText(page, kLeft, kLabels, "start", std::to_string(groups.front().first));
  drawText(page, (kLeft + kRight) / 2, kLabels, "middle", "repetition");
  drawText(page, kRight, kLabels, "end", std::to_string(groups.back().last));
}

void writeRows(HtmlWriter& page, const std::vector<Group>& groups) {
  {
    const auto head = page.in("thead");
    const auto row = page.in("tr");
    for (const char* const name : {"Repetition", "Least", "Greatest", "Verdict"})
      page.element("th", {{"scope", "col"}}, name);
  }
  const auto body = page.in("tbody");
  for (const Group& group : groups) {
    const auto row = page.in("tr");
    const std::string first = std::to_string(group.first);
    page.element("th", {{"scope", "row"}},
                 group.first == group.last ? first : first + " to " + std::to_string(group.last));
    page.element("td", numberText(group.least));
    page.element("td", numberText(group.most));
    page.element("td", group.isGood ? "passed" : "failed");
  }
}

}  // namespace

bool hasGauge(const ValueSeries& series) { return series.first.limits.any() && isDrawable(series); }

bool hasChart(const ValueSeries& series) {
  return series.readings.size() > 1 && isDrawable(series);
}

void writeGauge(HtmlWriter& page, const ValueSeries& series) {
  constexpr double kWidth = 200;
  constexpr double kHeight = 14;
  const Extent extent = extentOf(series);
  const Axis axis(extent.low, extent.high, 0, kWidth);
  const auto& [low, high] = series.first.limits;
  const double from = low ? axis.at(*low) : 0;
  const double to = high ? axis.at(*high) : kWidth;
  const auto gauge =
      page.in("svg", {{"class", "gauge"}, {"aria-hidden", "true"}, {"viewBox", "0 0 200 14"}});
  const auto bar = [&page](const char* style, double x, double width) {
    page.empty("rect", {{"class", style},
                        {"x", coordinate(x)},
                        {"y", "4"},
                        {"width", coordinate(width)},
                        {"height", "6"}});
  };
  bar("track", 0, kWidth);
  bar("band", from, to - from);
  constexpr double kLeastWidth = 4;
  const auto [least, most] = rangeOf(series);
  const double width = axis.at(most) - axis.at(least);
  const bool isOne = width < kLeastWidth;  // a range is no higher than the band, and hides no limit
  page.empty("rect", {{"class", series.isGood ? "mark" : "mark bad"},
                      {"x", coordinate(axis.at(least) - (isOne ? kLeastWidth / 2 : 0))},
                      {"y", isOne ? "0" : "5"},
                      {"width", coordinate(isOne ? kLeastWidth : width)},
                      {"height", isOne ? "14" : "4"}});
  for (const auto& limit : {low, high}) {
    if (limit) drawLine(page, "limit", axis.at(*limit), 1, axis.at(*limit), kHeight - 1);
  }
}

void writeValueChart(HtmlWriter& page, const ValueSeries& series, const std::string& id) {
  const std::vector<Group> groups = groupsOf(series.readings);
  const Extent extent = extentOf(series);
  const Axis axis(extent.low, extent.high, kBottom, chart::kTop);
  const auto failed = std::count_if(series.readings.begin(), series.readings.end(),
                                    [](const Reading& reading) { return !reading.isGood; });
  const std::string limits = limitsText(series.first);
  writeFigure(
      page, id,
      series.first.name + (series.first.unit.empty() ? "" : " in " + series.first.unit) + ", " +
          std::to_string(series.readings.size()) + " repetitions",
      "Measured " + valueText(series) + (limits.empty() ? "" : "; limits " + limits) + "; " +
          std::to_string(failed) + " failed.",
      [&] {
        drawLimits(page, series.first.limits, axis);
        drawGrid(page, axis);
        drawGroups(page, groups, axis);
        nameLimits(page, series.first.limits, groups, axis);
      },
      [&] { writeRows(page, groups); });
}

}  // namespace bvdiag
