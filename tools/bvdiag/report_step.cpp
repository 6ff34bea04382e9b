#include "report_step.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <brisvane/types/data.h>
#include <brisvane/types/unicode.h>

#include "latencies.h"
#include "latency_chart.h"
#include "output.h"
#include "value_chart.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

void writeMark(HtmlWriter& page, const char* style, const char* mark, const char* word) {
  const auto verdict = page.in("span", {{"class", std::string("verdict ") + style}});
  page.element("span", {{"aria-hidden", "true"}}, mark);
  page.text(word);
}

void writeFacts(HtmlWriter& page, const StepResult& step) {
  const auto line = page.in("p", {{"class", "facts-of-step"}});
  page.foreign(step.action);
  if (step.attempts.size() > 1) page.text(" · " + std::to_string(step.attempts.size()) + " times");
  if (step.attempts.empty()) return;
  page.text(" · took " + latencyText(step.seconds) + " · began after " + latencyText(step.start));
  if (step.isAlways) page.text(" · always done");
}

// The limits with a gauge, or the text that was due.
void writeLimits(HtmlWriter& page, const ValueSeries& series) {
  const auto cell = page.in("td", {{"role", "cell"}});
  if (series.first.limits.any()) page.text(limitsText(series.first.limits));
  if (!series.first.limits.any() && series.first.expected) page.foreign(*series.first.expected);
  if (!series.first.limits.any() && !series.first.expected) page.text("none");
  if (hasGauge(series)) writeGauge(page, series);
}

void writeValue(HtmlWriter& page, const ValueSeries& series) {
  const auto row = page.in("tr", {{"role", "row"}});
  {
    const auto name = page.in("th", {{"scope", "row"}, {"role", "rowheader"}});
    page.foreign(series.first.name);
  }
  {
    const auto measured = page.in("td", {{"class", "measured"}, {"role", "cell"}});
    if (!series.readings.empty()) {
      page.text(rangeText(series));
    } else if (series.first.text.empty()) {
      page.text("none");
    } else {
      page.foreign(series.first.text);
    }
  }
  writeLimits(page, series);
  {
    const auto unit = page.in("td", {{"role", "cell"}});
    constexpr std::size_t kMost = 40;
    page.foreign(series.first.unit, kMost);
  }
  const auto verdict = page.in("td", {{"class", "result"}, {"role", "cell"}});
  series.isGood ? writeMark(page, "passed", "✓ ", "Pass") : writeMark(page, "failed", "✗ ", "Fail");
}

// The roles hold where a narrow screen lays the table out otherwise.
void writeValues(HtmlWriter& page, const std::vector<ValueSeries>& all) {
  if (all.empty()) return;
  const auto table = page.in("table", {{"class", "values"}, {"role", "table"}});
  page.element("caption", "Values and limits");
  {
    const auto head = page.in("thead", {{"role", "rowgroup"}});
    const auto row = page.in("tr", {{"role", "row"}});
    for (const auto& [style, name] :
         {std::pair("value", "Value"), std::pair("measured", "Measured"),
          std::pair("limits", "Limits"), std::pair("unit", "Unit"), std::pair("result", "Verdict")})
      page.element("th", {{"scope", "col"}, {"class", style}, {"role", "columnheader"}}, name);
  }
  const auto body = page.in("tbody", {{"role", "rowgroup"}});
  for (const ValueSeries& series : all) writeValue(page, series);
}

void writeLatencies(HtmlWriter& page, const Latencies& latencies) {
  const auto list = page.in("dl", {{"class", "latencies"}, {"aria-label", "Times"}});
  for (const LatencyFigure& figure : kLatencyFigures) {
    const auto pair = page.in("div");
    page.element("dt", figure.name);
    page.element("dd", latencyText(latencies.percentile(figure.percent)));
  }
}

void writeRepetitions(HtmlWriter& page, const StepResult& step,
                      const std::vector<ValueSeries>& values, const std::string& id) {
  if (step.attempts.size() < 2) return;
  Latencies latencies;
  for (const Attempt& attempt : step.attempts) latencies.add(attempt.seconds);
  writeLatencies(page, latencies);
  const auto charts = page.in("div", {{"class", "charts"}});
  std::size_t count = 0;
  for (const ValueSeries& series : values) {
    if (hasChart(series)) writeValueChart(page, series, id + "-chart-" + std::to_string(++count));
  }
  writeLatencyChart(page, latencies, id + "-times");
}

void writeReceived(HtmlWriter& page, const StepResult& step) {
  if (!step.hasReply || step.attempts.empty()) return;
  const std::string_view text = bv::asCharacters(step.received);
  if (text.empty()) {
    return page.element(
        "p", {{"class", "quiet"}},
        step.hasLostReply ? "No reply was taken. The log has what came." : "Nothing was received.");
  }
  page.element(
      "h4", "Received, " + std::to_string(text.size()) + (text.size() == 1 ? " byte" : " bytes"));
  // What is longer than the box is reached by the keyboard, too.
  const auto box =
      page.in("pre", {{"tabindex", "0"}, {"role", "region"}, {"aria-label", "Received"}});
  if (bv::isUtf8(text)) return page.foreignLines(text);
  constexpr std::size_t kMost = 4096;
  page.text(hexDump(bv::ByteView(step.received).first(std::min(text.size(), kMost))));
  if (text.size() > kMost)
    page.text("… and " + std::to_string(text.size() - kMost) + " bytes more");
}

}  // namespace

void writeVerdict(HtmlWriter& page, Verdict verdict) {
  switch (verdict) {
    case Verdict::kPassed:
      return writeMark(page, "passed", "✓ ", "Passed");
    case Verdict::kFailed:
      return writeMark(page, "failed", "✗ ", "Failed");
    case Verdict::kSkipped:
      return writeMark(page, "skipped", "– ", "Skipped");
  }
}

void writeStep(HtmlWriter& page, const StepResult& step, std::size_t number) {
  const std::string id = "step-" + std::to_string(number);
  const auto article = page.in("article", {{"id", id},
                                           {"class", std::string(nameOf(step.verdict))},
                                           {"aria-labelledby", id + "-name"}});
  {
    const auto heading = page.in("h3", {{"id", id + "-name"}});
    page.element("span", {{"class", "number"}}, std::to_string(number) + ". ");
    {
      const auto name = page.in("span", {{"class", "name"}});
      page.foreign(step.name);
    }
    page.text(" ");
    writeVerdict(page, step.verdict);
  }
  writeFacts(page, step);
  if (!step.reason.empty()) {
    const auto reason = page.in("p", {{"class", "reason"}});
    page.foreign(step.reason, HtmlWriter::kMostOfParagraph);
  }
  const std::vector<ValueSeries> values = seriesOf(step);
  writeValues(page, values);
  writeRepetitions(page, step, values, id);
  writeReceived(page, step);
}

}  // namespace bvdiag
