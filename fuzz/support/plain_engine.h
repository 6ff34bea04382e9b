// The engine of patterns without the library's search: each answer comes from one run over the
// whole text, without compiled code.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "brisvane/host/formats/pattern.h"
#include "brisvane/host/formats/pcre.h"

namespace brisvane::fuzz {

class PlainEngine {
 public:
  using Found = std::optional<host::Pattern::Match>;

  explicit PlainEngine(std::string_view pattern) {
    const host::pcre::CompileContext context(pcre2_compile_context_create(nullptr));
    pcre2_set_newline(context.get(), PCRE2_NEWLINE_ANY);
    int error = 0;
    PCRE2_SIZE position = 0;
    code_.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                              PCRE2_CASELESS | PCRE2_UTF | PCRE2_NEVER_BACKSLASH_C, &error,
                              &position, context.get()));
  }

  // Whether the library reads the pattern as the engine does, which does not know \uHHHH. Of a
  // quotation that begins in a comment from "#" to the line's end the library knows nothing.
  [[nodiscard]] static bool knows(std::string_view pattern) {
    const auto has = [pattern](std::string_view text) {
      return pattern.find(text) != pattern.npos;
    };
    return !has("\\u") && !(has("\\Q") && has("#") && has("x"));
  }

  [[nodiscard]] bool compiles() const { return code_ != nullptr; }

  // The first match, if any; nullopt when the engine gives up, or does not take the text.
  [[nodiscard]] std::optional<Found> firstMatch(std::string_view text) const {
    constexpr std::uint32_t kMostSteps = 100'000;
    const host::pcre::MatchContext context(pcre2_match_context_create(nullptr));
    pcre2_set_match_limit(context.get(), kMostSteps);
    const host::pcre::MatchData data(pcre2_match_data_create_from_pattern(code_.get(), nullptr));
    const int result = pcre2_match(code_.get(), reinterpret_cast<PCRE2_SPTR>(text.data()),
                                   text.size(), 0, 0, data.get(), context.get());
    if (result == PCRE2_ERROR_NOMATCH) return Found();
    if (result <= 0) return std::nullopt;
    const PCRE2_SIZE* const offsets = pcre2_get_ovector_pointer(data.get());
    host::Pattern::Match match;
    for (std::size_t group = 0; group < pcre2_get_ovector_count(data.get()); ++group) {
      const std::size_t begin = offsets[2 * group];
      const std::size_t end = offsets[2 * group + 1];
      const bool isUnset = begin == PCRE2_UNSET || end < begin;
      match.push_back(isUnset ? host::Pattern::Range{0, 0}
                              : host::Pattern::Range{begin, end - begin});
    }
    return Found(std::move(match));
  }

 private:
  host::pcre::Code code_;
};

inline bool sameRanges(const PlainEngine::Found& left, const PlainEngine::Found& right) {
  if (!left || !right) return left.has_value() == right.has_value();
  return std::equal(left->begin(), left->end(), right->begin(), right->end(),
                    [](const auto& one, const auto& other) {
                      return one.begin == other.begin && one.length == other.length;
                    });
}

}  // namespace brisvane::fuzz
