// A pattern as PCRE2 runs it. Private to the library.
// A CompiledPattern may be searched with from any number of threads at the same time.
#pragma once

#include <string_view>

#include "brisvane/host/formats/pcre.h"

namespace brisvane::host {

struct CompiledPattern {
  pcre::Code code;           // null when the pattern does not compile
  bool inOnePiece = false;   // all positions must be tried in one run
  bool hasCallouts = false;  // automatic ones, which can stop a run
  bool atLines = false;      // matches begin where lines do
};

// With the syntax and the options of host::Pattern. PCRE2_USE_OFFSET_LIMIT is set. Throws std::bad_alloc.
[[nodiscard]] CompiledPattern compilePattern(std::string_view pattern);

}  // namespace brisvane::host
