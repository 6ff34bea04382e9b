#include "report_style.h"

namespace bvdiag {

// Texts on their backgrounds have a contrast of 4.5 to 1 or more, in both schemes, and what is
// drawn 3 to 1. No box grows with a word: each breaks it, and cuts off what sticks out of a line.
const std::string_view kReportStyle = R"css(
:root {
  --page: #f3f5f7; --card: #ffffff; --text: #1b2127; --quiet: #545e69; --edge: #d5dbe1;
  --pass: #0b6b3a; --fail: #b42318; --skip: #545e69; --link: #0b57a4; --tint: #eef1f4;
  --pass-tint: #e3f4ea; --fail-tint: #fdecea; --band: #cfe8da; --limit: #2f7d55; --bar: #4c7fb8;
  --code-back: #fff1c9; --code-text: #6a4200; --banner-pass: #0b6b3a; --banner-fail: #b42318;
}
@media screen and (prefers-color-scheme: dark) {
  :root {
    --page: #12161a; --card: #1b2127; --text: #e8ecef; --quiet: #a7b1bb; --edge: #36404a;
    --pass: #74d79f; --fail: #ff9a8f; --skip: #a7b1bb; --link: #8fc1ff; --tint: #252d35;
    --pass-tint: #17382a; --fail-tint: #45201d; --band: #23493a; --limit: #63b98b; --bar: #6f9fd6;
    --code-back: #4a3a10; --code-text: #ffe2a0; --banner-pass: #0d5a34; --banner-fail: #8f1f17;
  }
}
* { box-sizing: border-box; }
html { -webkit-text-size-adjust: 100%; text-size-adjust: 100%; }
body {
  margin: 0; background: var(--page); color: var(--text); overflow-wrap: anywhere;
  font: 1rem/1.5 system-ui, -apple-system, "Segoe UI", Roboto, "DejaVu Sans", sans-serif;
}
h1, h2, h3, h4, p, li, dl, dd, dt, td, th, pre, caption, figcaption, .name { overflow: clip; }
h1, h2, h3, h4, p, dl, dd, figure { margin: 0; }
a { color: var(--link); }
:focus-visible { outline: 3px solid var(--link); outline-offset: 2px; }
.banner { color: #ffffff; }
.banner.passed { background: var(--banner-pass); }
.banner.failed { background: var(--banner-fail); }
.inner, main, footer { max-width: 64rem; margin: 0 auto; padding: 1.25rem 1rem; }
.large {
  display: block; font-size: clamp(3.5rem, 16vw, 7rem); font-weight: 800; line-height: 1.05;
  letter-spacing: 0.02em;
}
.banner .name { display: block; font-size: clamp(1.25rem, 4vw, 1.75rem); line-height: 1.3; }
.about { font-size: 1.25rem; font-weight: 700; margin-top: 0.5rem; }
.counts { margin-top: 0.5rem; }
h2 { font-size: 1.25rem; line-height: 1.3; margin-bottom: 0.5rem; }
h4 { font-size: 0.875rem; color: var(--quiet); margin-top: 0.75rem; }
main > section, article {
  background: var(--card); border: 1px solid var(--edge); border-radius: 0.75rem; padding: 1rem;
}
main > section { margin-bottom: 1rem; }
main > section:last-child { background: none; border: 0; padding: 0; }
.failures { margin: 0; padding: 0; list-style: none; }
.failures li + li { margin-top: 0.5rem; padding-top: 0.5rem; border-top: 1px solid var(--edge); }
.failures a { font-weight: 600; }
.lead { margin-bottom: 0.5rem; }
dl { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 22rem), 1fr)); gap: 0 2rem; }
dl > div {
  display: grid; grid-template-columns: minmax(0, 1fr) minmax(0, 1.4fr); gap: 0.75rem; padding: 0.25rem 0;
  border-top: 1px solid var(--edge); font-size: 0.9375rem;
}
dt, .quiet, .facts-of-step, caption, figcaption, .time, footer { color: var(--quiet); }
article { margin-bottom: 1rem; border-left: 0.375rem solid var(--skip); scroll-margin-top: 1rem; }
article.passed { border-left-color: var(--pass); }
article.failed { border-left-color: var(--fail); }
article.skipped { padding-top: 0.6rem; padding-bottom: 0.6rem; }
h3 { display: flex; flex-wrap: wrap; gap: 0.25rem 0.5rem; align-items: baseline; font-size: 1.0625rem; line-height: 1.4; }
h3 .name { flex: 1 1 10rem; min-width: 0; }
.facts-of-step { font-size: 0.875rem; }
.reason { margin-top: 0.5rem; padding: 0.5rem 0.75rem; border-radius: 0.5rem; background: var(--tint); }
.failed > .reason { background: var(--fail-tint); }
.verdict { font-size: 0.875rem; font-weight: 700; white-space: nowrap; }
h3 .verdict { padding: 0.05rem 0.6rem; border: 1px solid currentColor; border-radius: 1rem; }
.verdict.passed { color: var(--pass); }
.verdict.failed { color: var(--fail); }
.verdict.skipped { color: var(--skip); }
table { border-collapse: collapse; width: 100%; table-layout: fixed; font-size: 0.9375rem; }
caption { text-align: left; font-size: 0.875rem; padding: 0.25rem 0; }
th, td { text-align: left; vertical-align: top; padding: 0.35rem 0.5rem 0.35rem 0; border-top: 1px solid var(--edge); }
th:last-child, td:last-child { padding-right: 0; }
thead th { font-size: 0.8125rem; color: var(--quiet); border-top: 0; }
tbody th { font-weight: 600; }
td { font-variant-numeric: tabular-nums; }
.overview .number { width: 2.5rem; }
.overview .result { width: 6rem; }
.overview .time { width: 22%; }
.values { margin-top: 0.75rem; }
.values .value { width: 27%; }
.values .measured { width: 21%; }
.values .limits { width: 27%; }
.values .result { width: 4.25rem; }
td.measured { font-weight: 600; }
svg { display: block; width: 100%; height: auto; }
.share { height: 0.25rem; margin-top: 0.2rem; }
.gauge { max-width: 14rem; margin-top: 0.2rem; }
.latencies { display: flex; flex-wrap: wrap; gap: 0.5rem 1.5rem; margin-top: 0.75rem; }
.latencies > div { display: block; padding: 0; border: 0; }
.latencies dt { font-size: 0.8125rem; }
.latencies dd { font-weight: 600; font-variant-numeric: tabular-nums; }
.charts { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 24rem), 1fr)); gap: 1rem; margin-top: 0.75rem; }
figure { min-width: 0; }
figcaption, summary { font-size: 0.875rem; }
summary { cursor: pointer; color: var(--link); padding: 0.25rem 0; }
.numbers { font-size: 0.8125rem; }
figure svg { max-width: 32rem; }
svg text {
  fill: var(--quiet); font-size: 11px; paint-order: stroke; stroke: var(--card); stroke-width: 3px;
  stroke-linejoin: round;
}
.grid { stroke: var(--edge); }
.base { stroke: var(--quiet); }
.band { fill: var(--band); }
.track { fill: var(--tint); }
.limit { stroke: var(--limit); stroke-width: 1.5; stroke-dasharray: 5 3; }
.gauge .limit { stroke-dasharray: none; stroke-width: 2; }
.line { fill: none; stroke: var(--bar); stroke-width: 1.5; }
.point, .bar { fill: var(--bar); }
.range { stroke: var(--bar); stroke-width: 2; }
.mark { fill: var(--text); }
.mark.bad { fill: var(--fail); }
.range.bad, .cross { stroke: var(--fail); }
.cross { fill: none; stroke-width: 2; }
.median { stroke: var(--text); stroke-width: 1.5; stroke-dasharray: 2 2; }
pre {
  margin: 0.25rem 0 0; padding: 0.5rem 0.75rem; max-height: 16rem; overflow: clip auto;
  background: var(--tint); border-radius: 0.5rem; white-space: pre-wrap;
  font: 0.875rem/1.5 ui-monospace, "DejaVu Sans Mono", Menlo, Consolas, monospace;
}
bdi { unicode-bidi: isolate; }
.code {
  margin: 0 0.1em; padding: 0 0.25em; border-radius: 0.25em; font-size: 0.8em; font-weight: 600;
  white-space: nowrap; background: var(--code-back); color: var(--code-text);
}
.more { font-style: italic; color: var(--quiet); }
footer { font-size: 0.875rem; }
@media (max-width: 30rem) {
  .inner, main, footer { padding: 1rem 0.75rem; }
  main > section, article { padding: 0.75rem; }
  table { font-size: 0.875rem; }
  thead th { font-size: 0.75rem; }
  .values, .values caption, .values thead, .values tbody { display: block; }
  .values tr { display: grid; grid-template-columns: minmax(0, 6fr) minmax(0, 7fr) minmax(0, 4fr) 3.75rem; padding: 0.35rem 0; border-top: 1px solid var(--edge); }
  .values thead tr { border-top: 0; padding: 0; }
  .values .measured, .values .limits, .values .result { width: auto; }
  .values th, .values td { border-top: 0; padding-top: 0.1rem; padding-bottom: 0.1rem; }
  .values tbody th { grid-column: 1 / -1; }
  .values .value { position: absolute; width: 1px; height: 1px; padding: 0; clip-path: inset(50%); white-space: nowrap; }
}
@page { margin: 16mm 14mm; }
@media print {
  body { background: none; font-size: 10pt; }
  .banner { -webkit-print-color-adjust: exact; print-color-adjust: exact; }
  .inner, main, footer { max-width: none; padding: 0.6rem 0; }
  .inner { padding: 0.6rem 1rem; }
  .large { font-size: 44pt; }
  main > section, article { border-radius: 0; }
  article, figure, tr { break-inside: avoid; }
  h2, h3, h4, caption { break-after: avoid; }
  dl, .charts { grid-template-columns: 1fr 1fr; }
  svg, .code { -webkit-print-color-adjust: exact; print-color-adjust: exact; }
  pre { max-height: none; overflow: clip; }
  details { display: none; }
  a { color: inherit; text-decoration: none; }
}
@media (forced-colors: active) {
  .code { border: 1px solid; }
}
)css";

}  // namespace bvdiag
