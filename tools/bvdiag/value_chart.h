// The values of a step beside their limits, as drawings on a report's page. The functions keep no
// state.
#pragma once

#include <string>

#include "html_writer.h"
#include "run_result.h"

namespace bvdiag {

// Whether there is anything to draw: finite numbers, and for a gauge limits.
[[nodiscard]] bool hasGauge(const ValueSeries& series);
[[nodiscard]] bool hasChart(const ValueSeries& series);

// A bar with the range between the limits, and marks for the least and the greatest number. It
// stands beside the same in words, so that readers of the screen are spared it.
void writeGauge(HtmlWriter& page, const ValueSeries& series);

// The numbers of all repetitions, with the limits. Of more than a hundred repetitions, each mark
// is the range of as many as make a hundred marks. `id` is unique on the page.
void writeValueChart(HtmlWriter& page, const ValueSeries& series, const std::string& id);

}  // namespace bvdiag
