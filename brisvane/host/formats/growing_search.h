// GrowingSearch, the searches of a text that grows, as a reply does while it comes.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "brisvane/host/formats/pattern.h"
#include "brisvane/types/export.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

// Each search finds what Pattern::firstMatch() finds in the same text, but does not try again what
// earlier searches have refuted for good. So it costs, as a rule, as much as a search of what is
// new.
//
// An object belongs to one thread at a time. The constructor and a search may throw std::bad_alloc.
class BRISVANE_EXPORT GrowingSearch {
 public:
  // Which positions are refuted is asked when as many bytes as `patience` have been searched again
  // and again. Less than the default costs time; tests do it.
  explicit GrowingSearch(const Pattern& pattern, std::size_t patience = 512);
  ~GrowingSearch();
  GrowingSearch(GrowingSearch&&) noexcept;
  GrowingSearch& operator=(GrowingSearch&&) noexcept;

  // As Pattern::firstMatch(); blocks and fails like it, except that no search is made, and so none
  // fails, while the text lacks a word that every match has.
  // REQUIRES: `text` begins with the text of the call before; it may have moved.
  [[nodiscard]] Result<std::optional<Pattern::Match>> firstMatch(std::string_view text,
                                                                 const Pattern::TimeLeft& timeLeft);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace brisvane::host
