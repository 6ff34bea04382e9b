// One step of a run on a report's page: its verdict, values, charts, and what was received. The
// functions keep no state.
#pragma once

#include <cstddef>

#include "html_writer.h"
#include "run_result.h"

namespace bvdiag {

// A verdict as a word with a mark: it is not told by its colour alone.
void writeVerdict(HtmlWriter& page, Verdict verdict);

// `number` counts the steps from 1. The element has the id "step-<number>".
void writeStep(HtmlWriter& page, const StepResult& step, std::size_t number);

}  // namespace bvdiag
