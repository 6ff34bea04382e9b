#include "chart_axis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "latencies.h"
#include "run_result.h"

namespace bvdiag {

Axis::Axis(double low, double high, double from, double to, bool isCounting)
    : low_(low), high_(high), from_(from), to_(to) {
  constexpr double kParts = 5;
  step_ = roundWidth((high - low) / kParts);
  if (isCounting) step_ = std::max(step_, 1.0);
}

std::vector<double> Axis::ticks() const {
  std::vector<double> all;
  constexpr int kMost = 10;  // rounding may make a step that is none
  const double first = std::ceil(low_ / step_);
  for (int i = 0; i < kMost && (first + i) * step_ <= high_; ++i)
    all.push_back((first + i) * step_ + 0.0);  // none is -0
  return all;
}

std::string Axis::text(double tick) const {
  constexpr double kLongest = 1e6;
  constexpr double kLeastStep = 1e-4;
  if (std::abs(tick) >= kLongest || step_ < kLeastStep) return numberText(tick);
  std::array<char, 32> text{};
  const int digits = static_cast<int>(std::max(0.0, std::ceil(-std::log10(step_) - 1e-9)));
  const int length = std::snprintf(text.data(), text.size(), "%.*f", digits, tick);
  return {text.data(), static_cast<std::size_t>(length)};
}

std::string coordinate(double number) {
  std::array<char, 32> text{};
  const int length = std::snprintf(text.data(), text.size(), "%.1f", number);
  return {text.data(), static_cast<std::size_t>(length)};
}

void drawLine(HtmlWriter& page, const char* style, double x1, double y1, double x2, double y2) {
  page.empty("line", {{"class", style},
                      {"x1", coordinate(x1)},
                      {"y1", coordinate(y1)},
                      {"x2", coordinate(x2)},
                      {"y2", coordinate(y2)}});
}

void drawText(HtmlWriter& page, double x, double y, const char* anchor, const std::string& text) {
  page.element("text", {{"x", coordinate(x)}, {"y", coordinate(y)}, {"text-anchor", anchor}}, text);
}

void drawGrid(HtmlWriter& page, const Axis& axis) {
  constexpr double kGap = 6;
  constexpr double kHalfALetter = 4;
  for (const double tick : axis.ticks()) {
    const double y = axis.at(tick);
    drawLine(page, "grid", chart::kLeft, y, chart::kRight, y);
    drawText(page, chart::kLeft - kGap, y + kHalfALetter, "end", axis.text(tick));
  }
}

}  // namespace bvdiag
