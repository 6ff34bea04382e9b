// JSON: what is read is written, and reads back as the same value.
#include "brisvane/host/formats/json.h"

#include "fuzz/support/fuzzing.h"

namespace brisvane::fuzz {

void run(std::string_view input) {
  const auto [place, text] = firstLineAndRest(input);
  for (const std::string_view json : {input, text}) {
    const auto value = host::parseJson(json);
    if (!value.ok()) {
      require(!value.error().reason().empty(), "a refusal has its reason");
      continue;
    }
    for (const auto layout : {host::JsonLayout::kOneLine, host::JsonLayout::kIndented}) {
      const auto written = host::jsonText(value.value(), layout);
      require(written.has_value(), "what was read can be written");
      const auto again = host::parseJson(*written);
      require(again.ok() && again.value() == value.value(), "what was written reads back");
      require(host::jsonText(again.value(), layout) == written, "equal values have one text");
    }
    require(host::jsonLine(json, place) >= 1, "a place stands on some line");
    static_cast<void>(value.value().description());
  }
}

}  // namespace brisvane::fuzz
