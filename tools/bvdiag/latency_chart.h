// How the times of a step's repetitions are spread, as a drawing on a report's page. The function
// keeps no state.
#pragma once

#include <string>

#include "html_writer.h"
#include "latencies.h"

namespace bvdiag {

// A histogram with the median. `id` is unique on the page. REQUIRES: there is a time.
void writeLatencyChart(HtmlWriter& page, const Latencies& latencies, const std::string& id);

}  // namespace bvdiag
