#include "brisvane/host/formats/pattern.h"

#include <chrono>
#include <string>
#include <utility>

#include "brisvane/host/formats/compiled_pattern.h"
#include "brisvane/host/formats/pattern_search.h"
#include "brisvane/types/unicode.h"

namespace brisvane::host {

Pattern::Pattern(std::shared_ptr<const CompiledPattern> compiled) noexcept
    : compiled_(std::move(compiled)) {}

Result<Pattern> Pattern::compile(std::string_view pattern) {
  auto compiled = compilePattern(pattern);
  if (!compiled.ok()) return compiled.error();
  return Pattern(std::make_shared<const CompiledPattern>(std::move(compiled).value()));
}

std::optional<std::size_t> Pattern::groupNumber(std::string_view name) const {
  const std::string terminated(name);
  if (terminated.find('\0') != std::string::npos) return std::nullopt;
  const int number = pcre2_substring_number_from_name(
      compiled_->code.get(), reinterpret_cast<PCRE2_SPTR>(terminated.c_str()));
  return number > 0 ? std::optional(static_cast<std::size_t>(number)) : std::nullopt;
}

Result<std::optional<Pattern::Match>> Pattern::firstMatch(std::string_view text,
                                                          const TimeLeft& timeLeft) const {
  if (!isUtf8(text)) return std::optional<Match>();
  return PatternSearch(*compiled_).firstMatch(text, 0, timeLeft);
}

Result<std::optional<Pattern::Match>> Pattern::firstMatch(std::string_view text) const {
  using std::chrono::steady_clock;
  const auto end = steady_clock::now() + std::chrono::seconds(1);
  return firstMatch(
      text, [end] { return std::chrono::duration<double>(end - steady_clock::now()).count(); });
}

}  // namespace brisvane::host
