#include "report_page.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include <brisvane/version.h>

#include "html_writer.h"
#include "latencies.h"
#include "output.h"
#include "report_step.h"
#include "report_style.h"

namespace bvdiag {
namespace {

namespace bv = brisvane;

const char* verdictOf(const RunResult& result) { return result.passed() ? "PASS" : "FAIL"; }

void writeHead(HtmlWriter& page, const RunResult& result) {
  const auto head = page.in("head");
  page.empty("meta", {{"charset", "utf-8"}});
  page.empty("meta", {{"name", "viewport"}, {"content", "width=device-width, initial-scale=1"}});
  page.empty("meta", {{"http-equiv", "Content-Security-Policy"},
                      {"content",
                       "default-src 'none'; style-src 'unsafe-inline'; base-uri 'none'; "
                       "form-action 'none'"}});
  page.empty("meta", {{"name", "color-scheme"}, {"content", "light dark"}});
  page.empty("meta", {{"name", "referrer"}, {"content", "no-referrer"}});
  page.label("title", {}, verdictOf(result) + std::string(": ") + result.name);
  page.style(kReportStyle);
}

void writeBanner(HtmlWriter& page, const RunResult& result) {
  const auto banner =
      page.in("header", {{"class", result.passed() ? "banner passed" : "banner failed"}});
  const auto inner = page.in("div", {{"class", "inner"}});
  {
    const auto heading = page.in("h1");
    {
      const auto verdict = page.in("span", {{"class", "large"}});
      page.element("span", {{"aria-hidden", "true"}}, result.passed() ? "✓ " : "✗ ");
      page.text(verdictOf(result));
    }
    const auto name = page.in("span", {{"class", "name"}});
    page.foreign(result.name);
  }
  if (!result.unit.empty()) {
    const auto unit = page.in("p", {{"class", "about"}});
    page.text("Unit ");
    page.foreign(result.unit);
  }
  page.element("p", {{"class", "counts"}},
               std::to_string(result.count(Verdict::kPassed)) + " passed, " +
                   std::to_string(result.count(Verdict::kFailed)) + " failed, " +
                   std::to_string(result.count(Verdict::kSkipped)) + " skipped in " +
                   latencyText(result.seconds) +
                   (result.wasInterrupted ? "; the run was interrupted" : ""));
}

// A term and its value in a list of terms. Without a value there is none.
void writeFact(HtmlWriter& page, std::string_view term, std::string_view value) {
  if (value.empty()) return;
  const auto pair = page.in("div");
  page.element("dt", term);
  const auto definition = page.in("dd");
  page.foreign(value);
}

void writeRun(HtmlWriter& page, const RunResult& result) {
  const auto section = page.in("section", {{"aria-labelledby", "run"}});
  page.element("h2", {{"id", "run"}}, "The run");
  if (!result.description.empty()) {
    const auto description = page.in("p", {{"class", "lead"}});
    page.foreign(result.description, HtmlWriter::kMostOfParagraph);
  }
  const auto facts = page.in("dl");
  std::string started = isoTime(result.started);
  std::replace(started.begin(), started.end(), 'T', ' ');
  if (started.ends_with('Z')) started.replace(started.size() - 1, 1, " UTC");
  writeFact(page, "Started", started);
  writeFact(page, "Time taken", latencyText(result.seconds));
  writeFact(page, "Unit", result.unit);
  writeFact(page, "Plan", result.plan);
  writeFact(page, "Revision", result.revision);
  writeFact(page, "Port", result.port);
  if (!result.port.empty()) writeFact(page, "Speed", std::to_string(result.speed) + " bits/s");
}

// The names of the values that are there: the unit's own first, then the others by name.
std::vector<std::string> namesOf(const bv::Dictionary& values) {
  std::vector<std::string> names;
  for (const auto& [name, value] : values) {
    if (!value.isNull()) names.push_back(name);
  }
  const auto rank = [](const std::string& name) {
    return name == "serialNumber" ? 0 : name == "modelID" ? 1 : 2;
  };
  std::sort(names.begin(), names.end(), [rank](const auto& one, const auto& other) {
    return std::pair(rank(one), std::string_view(one)) <
           std::pair(rank(other), std::string_view(other));
  });
  return names;
}

void writeMachine(HtmlWriter& page, const RunResult& result) {
  const auto section = page.in("section", {{"aria-labelledby", "machine"}});
  page.element("h2", {{"id", "machine"}}, "The machine");
  if (result.isSimulated)
    page.element("p", {{"class", "lead"}}, "A simulated machine: no device was tested.");
  const auto facts = page.in("dl");
  for (const std::string& name : namesOf(result.machine)) {
    const bv::Object& value = result.machine.at(name);
    const std::string* const text = value.ifText();
    writeFact(page, name, text != nullptr ? *text : valueText(value));
  }
}

// What has failed, and why, ahead of all the rest.
void writeFailures(HtmlWriter& page, const RunResult& result) {
  if (result.count(Verdict::kFailed) == 0) return;
  const auto section = page.in("section", {{"aria-labelledby", "failures"}});
  page.element("h2", {{"id", "failures"}}, "What has failed");
  const auto list = page.in("ul", {{"class", "failures"}});
  for (std::size_t i = 0; i < result.steps.size(); ++i) {
    const StepResult& step = result.steps[i];
    if (step.verdict != Verdict::kFailed) continue;
    const auto item = page.in("li");
    {
      const auto link = page.in("a", {{"href", "#step-" + std::to_string(i + 1)}});
      page.text(std::to_string(i + 1) + ". ");
      page.foreign(step.name);
    }
    const auto reason = page.in("p");
    page.foreign(step.reason);
  }
}

// The time of a step beside the longest one's.
void writeTime(HtmlWriter& page, const StepResult& step, double longest) {
  const auto cell = page.in("td", {{"class", "time"}});
  if (step.attempts.empty()) return page.text("none");
  page.text(latencyText(step.seconds));
  constexpr double kWidth = 100;
  std::ostringstream width;
  width << std::fixed << std::setprecision(1) << step.seconds / longest * kWidth;
  const auto drawing = page.in("svg", {{"class", "share"},
                                       {"aria-hidden", "true"},
                                       {"viewBox", "0 0 100 4"},
                                       {"preserveAspectRatio", "none"}});
  page.empty("rect", {{"class", "bar"}, {"width", width.str()}, {"height", "4"}});
}

void writeOverviewRow(HtmlWriter& page, const StepResult& step, std::size_t number,
                      double longest) {
  const auto row = page.in("tr");
  const std::string text = std::to_string(number);
  page.element("td", {{"class", "number"}}, text);
  {
    const auto name = page.in("th", {{"scope", "row"}});
    const auto link = page.in("a", {{"href", "#step-" + text}});
    page.foreign(step.name);
  }
  {
    const auto cell = page.in("td", {{"class", "result"}});
    writeVerdict(page, step.verdict);
  }
  writeTime(page, step, longest);
}

void writeOverview(HtmlWriter& page, const RunResult& result) {
  const auto section = page.in("section", {{"aria-labelledby", "overview"}});
  page.element("h2", {{"id", "overview"}}, "Overview");
  const auto table = page.in("table", {{"class", "overview"}});
  page.element("caption", "The steps, their verdicts and times");
  {
    const auto head = page.in("thead");
    const auto row = page.in("tr");
    for (const auto& [style, name] : {std::pair("number", "No."), std::pair("step", "Step"),
                                      std::pair("result", "Verdict"), std::pair("time", "Time")})
      page.element("th", {{"scope", "col"}, {"class", style}}, name);
  }
  double longest = 1e-9;
  for (const StepResult& step : result.steps) longest = std::max(longest, step.seconds);
  const auto body = page.in("tbody");
  for (std::size_t i = 0; i < result.steps.size(); ++i)
    writeOverviewRow(page, result.steps[i], i + 1, longest);
}

void writeSteps(HtmlWriter& page, const RunResult& result) {
  const auto section = page.in("section", {{"aria-labelledby", "steps"}});
  page.element("h2", {{"id", "steps"}}, "The steps");
  for (std::size_t i = 0; i < result.steps.size(); ++i) writeStep(page, result.steps[i], i + 1);
}

void writeFooter(HtmlWriter& page) {
  const auto footer = page.in("footer");
  std::ostringstream text;
  text << "Written by bvdiag " << std::fixed << std::setprecision(1) << BrisvaneVersionNumber
       << ". The same result lies beside this page as JSON and as a property list.";
  page.element("p", text.str());
}

}  // namespace

std::string reportPage(const RunResult& result) {
  HtmlWriter page;
  {
    const auto html = page.in("html", {{"lang", "en"}});
    writeHead(page, result);
    const auto body = page.in("body");
    writeBanner(page, result);
    {
      const auto main = page.in("main");
      writeFailures(page, result);
      writeRun(page, result);
      writeMachine(page, result);
      writeOverview(page, result);
      writeSteps(page, result);
    }
    writeFooter(page);
  }
  return page.take();
}

}  // namespace bvdiag
