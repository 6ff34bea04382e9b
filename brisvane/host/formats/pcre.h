// PCRE2's objects with owners, for the files that search with it. Private to the library.
#pragma once

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <memory>

namespace brisvane::host::pcre {

struct Free {
  void operator()(pcre2_code* code) const noexcept { pcre2_code_free(code); }
  void operator()(pcre2_compile_context* context) const noexcept {
    pcre2_compile_context_free(context);
  }
  void operator()(pcre2_match_context* context) const noexcept {
    pcre2_match_context_free(context);
  }
  void operator()(pcre2_match_data* data) const noexcept { pcre2_match_data_free(data); }
  void operator()(pcre2_jit_stack* stack) const noexcept { pcre2_jit_stack_free(stack); }
};

using Code = std::unique_ptr<pcre2_code, Free>;
using CompileContext = std::unique_ptr<pcre2_compile_context, Free>;
using MatchContext = std::unique_ptr<pcre2_match_context, Free>;
using MatchData = std::unique_ptr<pcre2_match_data, Free>;
using JitStack = std::unique_ptr<pcre2_jit_stack, Free>;

}  // namespace brisvane::host::pcre
