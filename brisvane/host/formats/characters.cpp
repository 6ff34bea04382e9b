#include "brisvane/host/formats/characters.h"

#include <new>
#include <string>

#include "brisvane/host/formats/pcre.h"
#include "brisvane/types/never_destroyed.h"
#include "brisvane/types/unicode.h"

namespace brisvane::host {
namespace {

// One extended grapheme cluster. \X alone would do, but that of PCRE2 10.42 takes
// neighbouring pictographs for one cluster, joined or not, cuts a flag from what extends
// it, and looks back over all flags ahead of one. So rules GB11 to GB13 are spelled out.
// Nothing in them gives back what it has taken, which would need a stack as long as the text.
constexpr std::string_view kCluster =
    R"((?(DEFINE)(?<tail>[\p{Grapheme_Extend}\p{Emoji_Modifier}\p{Mc}\x{200D}]*+)))"
    R"((?:\p{ExtPict}(?:(?:[^\P{Grapheme_Extend}\x{200D}]|\p{Emoji_Modifier})*+)"
    R"(\x{200D}\p{ExtPict})*+(?&tail))"
    R"(|\p{Regional_Indicator}\p{Regional_Indicator}?+(?&tail))"
    R"(|\X))";

pcre2_code* compileCluster() {
  int error = 0;
  PCRE2_SIZE position = 0;
  pcre2_code* const code =
      pcre2_compile(reinterpret_cast<PCRE2_SPTR>(kCluster.data()), kCluster.size(),
                    PCRE2_UTF | PCRE2_ANCHORED, &error, &position, nullptr);
  if (code == nullptr) throw std::bad_alloc();  // the pattern is right
  // Without JIT (a system that forbids writable code) counting is slower, not wrong.
  static_cast<void>(pcre2_jit_compile(code, PCRE2_JIT_COMPLETE));
  return code;
}

const pcre2_code* clusterPattern() {
  static NeverDestroyed<pcre::Code> pattern(compileCluster());
  return pattern->get();
}

// Whether a text begins with an ASCII character that nothing joins.
bool beginsWithAsciiAlone(std::string_view text) noexcept {
  return text[0] != '\r' && isAscii(text.substr(0, 2));
}

}  // namespace

std::size_t characterCount(std::string_view text, std::size_t limit) {
  const std::string valid = toUtf8(text);
  const pcre2_code* const code = clusterPattern();
  const pcre::MatchData data(pcre2_match_data_create_from_pattern(code, nullptr));
  if (!data) throw std::bad_alloc();
  std::size_t count = 0;
  for (std::string_view rest = valid; !rest.empty() && count <= limit; ++count) {
    std::size_t length = 1;
    if (!beginsWithAsciiAlone(rest)) {
      const int result = pcre2_match(code, reinterpret_cast<PCRE2_SPTR>(rest.data()), rest.size(),
                                     0, PCRE2_NO_UTF_CHECK, data.get(), nullptr);
      if (result == PCRE2_ERROR_NOMEMORY) throw std::bad_alloc();
      if (result < 0) return text.size();  // a limit of the engine
      length = pcre2_get_ovector_pointer(data.get())[1];
    }
    rest.remove_prefix(length);
  }
  return count;
}

}  // namespace brisvane::host
