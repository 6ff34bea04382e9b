// Axis, one direction of a chart: which number stands where, and the numbers that are written
// beside it. The charts are SVG, drawn on kWidth times kHeight units. Values; no state is kept.
#pragma once

#include <string>
#include <vector>

#include "html_writer.h"

namespace bvdiag {

// The drawing, and within it the rectangle that has the data. A unit is about a pixel on a phone.
namespace chart {
inline constexpr double kWidth = 360;
inline constexpr double kHeight = 200;
inline constexpr double kLeft = 56;
inline constexpr double kRight = 354;
inline constexpr double kTop = 22;
inline constexpr double kBottom = 172;
}  // namespace chart

class Axis {
 public:
  // From `low` at the coordinate `from` to `high` at `to`, with about four numbers. With
  // `isCounting` these are whole. REQUIRES: low < high, and both are finite.
  Axis(double low, double high, double from, double to, bool isCounting = false);

  [[nodiscard]] double at(double number) const {
    return from_ + (number - low_) / (high_ - low_) * (to_ - from_);
  }
  // Round numbers between `low` and `high`.
  [[nodiscard]] std::vector<double> ticks() const;
  // A tick as it is written: with as many digits as tell it from its neighbours.
  [[nodiscard]] std::string text(double tick) const;

 private:
  double low_;
  double high_;
  double from_;
  double to_;
  double step_;
};

// A coordinate as SVG has it.
[[nodiscard]] std::string coordinate(double number);

// A line of a chart, and a text whose anchor is "start", "middle" or "end".
void drawLine(HtmlWriter& page, const char* style, double x1, double y1, double x2, double y2);
void drawText(HtmlWriter& page, double x, double y, const char* anchor, const std::string& text);

// The lines of an upright axis across the chart, with their numbers at the left.
void drawGrid(HtmlWriter& page, const Axis& axis);

// A chart as a figure: the drawing with its title and description for those who do not see it.
// `id` is unique on the page. `draw` draws, `tabulate` writes the same numbers as the rows of a
// table.
template <typename Draw, typename Tabulate>
void writeFigure(HtmlWriter& page, const std::string& id, const std::string& title,
                 const std::string& description, Draw draw, Tabulate tabulate) {
  const auto figure = page.in("figure");
  {
    const auto caption = page.in("figcaption");
    page.foreign(title);
  }
  {
    const auto drawing = page.in("svg", {{"role", "img"},
                                         {"aria-labelledby", id + "-title " + id + "-desc"},
                                         {"viewBox", "0 0 " + coordinate(chart::kWidth) + " " +
                                                         coordinate(chart::kHeight)}});
    page.label("title", {{"id", id + "-title"}}, title);
    page.label("desc", {{"id", id + "-desc"}}, description);
    draw();
  }
  const auto twin = page.in("details");
  page.element("summary", "As a table");
  const auto table = page.in("table", {{"class", "numbers"}});
  {
    const auto caption = page.in("caption");
    page.foreign(title);
  }
  tabulate();
}

}  // namespace bvdiag
