// A pattern as PCRE2 runs it. Private to the library.
// A CompiledPattern may be searched with from any number of threads at the same time.
#pragma once

#include <string>
#include <string_view>

#include "brisvane/host/formats/pcre.h"
#include "brisvane/types/result.h"

namespace brisvane::host {

struct CompiledPattern {
  pcre::Code code;
  bool inOnePiece = false;   // all positions must be tried in one run
  bool hasCallouts = false;  // automatic ones, which can stop a run
  bool atLines = false;      // matches begin where lines do
  bool notInCrLf = false;    // and none between CR and LF
  std::string word;          // that every match has, in whatever case; ASCII in lower case
};

// With the syntax and the options of host::Pattern, whose compile() fails as this does.
// PCRE2_USE_OFFSET_LIMIT is set. It may throw std::bad_alloc.
[[nodiscard]] Result<CompiledPattern> compilePattern(std::string_view pattern);

}  // namespace brisvane::host
