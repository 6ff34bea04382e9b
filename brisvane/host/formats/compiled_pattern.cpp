#include "brisvane/host/formats/compiled_pattern.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "brisvane/types/hex.h"
#include "brisvane/types/unicode.h"

namespace brisvane::host {
namespace {

// The verbs that act on other positions than the one where they stand.
constexpr std::array<std::string_view, 5> kVerbs{"(*COMMIT", "(*SKIP", "(*THEN", "(*PRUNE",
                                                 "(*NOTEMPTY_ATSTART"};
constexpr unsigned kMostUncounted = 16;

// Where a pattern is: within the brackets of a character class or not.
class Place {
 public:
  // Takes the character at the front of the rest, which is no backslash, and what belongs to it:
  // the beginning of a class, a POSIX class, a comment or a verb, in which a backslash is a
  // character as any other. The number of bytes.
  std::size_t take(std::string_view rest) noexcept {
    if (isInClass_) return takeInClass(rest);
    isInClass_ = rest.front() == '[';
    if (isInClass_) {
      const std::size_t beginning = rest.starts_with("[^") ? 2 : 1;
      return rest.substr(beginning).starts_with(']') ? beginning + 1 : beginning;
    }
    const char first = rest.size() > 2 ? rest[2] : '\0';
    const bool isVerb = rest.starts_with("(*") && (first == ':' || (first >= 'A' && first <= 'Z'));
    if (!isVerb && !rest.starts_with("(?#")) return 1;
    return std::min(rest.find(')'), rest.size() - 1) + 1;
  }

 private:
  std::size_t takeInClass(std::string_view rest) noexcept {
    isInClass_ = rest.front() != ']';
    if (!rest.starts_with("[:") && !rest.starts_with("[.") && !rest.starts_with("[=")) return 1;
    const std::size_t end = rest.find(']');
    const bool isPosix = end != rest.npos && end > 2 && rest[end - 1] == rest[1];
    return isPosix ? end + 1 : 1;
  }

  bool isInClass_ = false;
};

// A pattern in PCRE2's own words. \uHHHH becomes \x{HHHH}: PCRE2_ALT_BSUX would do as much, but
// takes away \x{...} and \U with it. \G, where a search begins, becomes \A, because a search begins
// at the text's start and has several runs. What \Q...\E quotes becomes \x{HH} each, so that every
// ( and | that is left is one.
std::string translated(std::string_view pattern) {
  constexpr std::size_t kDigits = 4;
  std::string result;
  bool quoted = false;
  Place place;
  while (!pattern.empty()) {
    const char kind = pattern.front() == '\\' && pattern.size() > 1 ? pattern[1] : '\0';
    const std::string_view digits =
        kind == 'u' ? pattern.substr(2).substr(0, kDigits) : std::string_view();
    std::size_t taken = kind == '\0' ? 1 : 2;
    if (quoted ? kind == 'E' : kind == 'Q') {
      quoted = !quoted;
    } else if (quoted) {
      taken = 1;
      const auto byte = static_cast<std::uint8_t>(pattern.front());
      if (byte < 0x80) {
        result.append("\\x{");
        appendHex(result, byte);
        result += '}';
      } else {
        result += pattern.front();
      }
    } else if (digits.size() == kDigits && std::all_of(digits.begin(), digits.end(), [](char c) {
                 return hexValue(c).has_value();
               })) {
      taken += kDigits;
      result.append("\\x{").append(digits).append("}");
    } else if (kind == 'G') {
      result.append("\\A");
    } else {
      if (kind == '\0') taken = place.take(pattern);
      if (kind == 'c')
        taken = std::min<std::size_t>(3, pattern.size());  // any character, a backslash too
      result.append(pattern.substr(0, taken));
    }
    pattern.remove_prefix(taken);
  }
  return result;
}

// Why a pattern does not compile.
Error compileError(int number) {
  constexpr int kNoMemory = 121;  // PCRE2 has no name for it among the numbers of the compiler
  if (number == kNoMemory) return Error(ENOMEM);
  std::array<PCRE2_UCHAR, 256> text{};
  pcre2_get_error_message(number, text.data(), text.size());
  return Error::because(reinterpret_cast<const char*>(text.data()));
}

Result<pcre::Code> compile(std::string_view pattern, std::uint32_t options) {
  const pcre::CompileContext context(pcre2_compile_context_create(nullptr));
  if (!context) return Error(ENOMEM);
  pcre2_set_newline(context.get(), PCRE2_NEWLINE_ANY);
  int error = 0;
  PCRE2_SIZE position = 0;
  options |= PCRE2_CASELESS | PCRE2_UTF | PCRE2_NEVER_BACKSLASH_C | PCRE2_USE_OFFSET_LIMIT;
  pcre::Code code(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                                options, &error, &position, context.get()));
  if (!code) return compileError(error);
  return code;
}

std::uint32_t info(const pcre::Code& code, std::uint32_t what) {
  std::uint32_t value = 0;
  pcre2_pattern_info(code.get(), what, &value);
  return value;
}

// What a pattern consists of, as the engine has read it.
class Outline {
 public:
  Outline(std::string_view pattern, const pcre::Code& withCallouts) : pattern_(pattern) {
    // So that nothing is thrown through the engine.
    const auto isGuarded = [](char c) { return c == '(' || c == '$'; };
    guards_.reserve(
        static_cast<std::size_t>(std::count_if(pattern.begin(), pattern.end(), isGuarded)));
    word_.reserve(pattern.size());
    longestWord_.reserve(pattern.size());
    pcre2_callout_enumerate(withCallouts.get(), &Outline::visit, this);
    std::sort(guards_.begin(), guards_.end());
  }
  // Where the outermost groups begin that have alternatives somewhere within, and where a `$`
  // stands in a group; in order.
  [[nodiscard]] const std::vector<std::size_t>& guards() const noexcept { return guards_; }

  // The longest text, in lower case, that stands in the pattern as it is, outside of all groups.
  // Every match has it, unless a verb ends the match early. Empty when there is none.
  [[nodiscard]] std::string_view word() const noexcept {
    return hasAlternatives_ ? std::string_view() : longestWord_;
  }

 private:
  // Automatic callouts stand before every item: a group's begin, its alternatives, and its end are
  // items of their own. So is every character, together with the quantifier that may follow it.
  static int visit(pcre2_callout_enumerate_block* block, void* self) noexcept {
    static_cast<Outline*>(self)->take(block->pattern_position, block->next_item_length);
    return 0;
  }

  void take(std::size_t at, std::size_t length) noexcept {
    if (at < taken_) return;  // a group that is repeated is compiled, and so told, several times
    taken_ = at + length;
    const std::string_view item = pattern_.substr(at, length);
    if (item.starts_with('(') && !isWhole(item)) {
      if (depth_++ != 0) return;
      outermost_ = at;
      isGuarded_ = false;
    } else if (item.starts_with(')') && depth_ > 0) {
      --depth_;
    } else if (item.starts_with('|')) {
      if (depth_ == 0) hasAlternatives_ = true;
      if (depth_ > 0 && !std::exchange(isGuarded_, true)) guards_.push_back(outermost_);
    } else if (item.starts_with('$') && depth_ > 0) {
      guards_.push_back(at);
    }
    takeForWord(depth_ == 0 ? item : std::string_view());
  }

  void takeForWord(std::string_view item) noexcept {
    constexpr std::string_view kMeanOtherThings = ".^$|()";
    const bool isItself = item.size() == 1 && kMeanOtherThings.find(item) == item.npos;
    if (!isItself) return word_.clear();
    const char c = item.front();
    word_ += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (word_.size() > longestWord_.size()) longestWord_ = word_;
  }

  // Whether it is no begin of a group, but an item in brackets, as (?i) or (?1). A condition, as
  // (?(1), is the begin of its group.
  static bool isWhole(std::string_view item) {
    if (item.starts_with("(?(")) return false;
    constexpr std::string_view kWords =
        "(?*^+-&>=_0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const std::size_t end = item.find_first_not_of(kWords);
    return end != item.npos && item[end] == ')';
  }

  const std::string_view pattern_;
  std::vector<std::size_t> guards_;
  std::string word_;  // that the last items are
  std::string longestWord_;
  bool hasAlternatives_ = false;  // outside of all groups
  std::size_t taken_ = 0;         // of the pattern
  std::size_t depth_ = 0;
  std::size_t outermost_ = 0;  // where the outermost group that is open begins
  bool isGuarded_ = false;
};

// JIT (up to 10.42) takes it for sure that a repeat behind a group has failed wherever it has
// failed once, and so misses "ab" with (ab|a)\s*b. And `$` that fails as the first item of an
// assertion leaves it one character too far: it misses "b" with (?!$)b. An empty assertion before
// each prevents both.
std::string guarded(std::string_view pattern, const Outline& outline) {
  std::string result(pattern);
  const auto& guards = outline.guards();
  for (auto at = guards.rbegin(); at != guards.rend(); ++at) result.insert(*at, "(?=)");
  return result;
}

// As a pattern can say. JIT then misses the last position of a run, and on arm64 lines that follow
// another line end.
bool hasCrLfAsOnlyLineEnd(const pcre::Code& code) {
  return info(code, PCRE2_INFO_NEWLINE) == PCRE2_NEWLINE_CRLF;
}

// Whether a pattern is none for runs that are bounded in steps and in positions.
bool needsCallouts(std::string_view pattern, const pcre::Code& code) {
  if (std::any_of(kVerbs.begin(), kVerbs.end(),
                  [&](auto verb) { return pattern.find(verb) != pattern.npos; })) {
    return true;
  }
  if (hasCrLfAsOnlyLineEnd(code)) return true;
  // JIT counts no step for a group that captures and is not repeated: many of them that have
  // alternatives could run away uncounted.
  const auto alternatives = std::count(pattern.begin(), pattern.end(), '|');
  return std::min<std::ptrdiff_t>(info(code, PCRE2_INFO_CAPTURECOUNT), alternatives) >
         kMostUncounted;
}

}  // namespace

Result<CompiledPattern> compilePattern(std::string_view pattern) {
  // The engine says what is wrong with bytes that are no text. Translated, two pieces of one could
  // become a character.
  const std::string translation = isUtf8(pattern) ? translated(pattern) : std::string(pattern);
  auto code = compile(translation, PCRE2_AUTO_CALLOUT);
  if (!code.ok()) return code.error();
  CompiledPattern compiled;
  compiled.hasCallouts = needsCallouts(translation, code.value());
  const Outline outline(translation, code.value());
  if (translation.find("(*") == translation.npos) compiled.word = outline.word();
  code = compile(guarded(translation, outline), compiled.hasCallouts ? PCRE2_AUTO_CALLOUT : 0);
  if (!code.ok()) return code.error();
  compiled.code = std::move(code).value();
  compiled.inOnePiece =
      compiled.hasCallouts || (info(compiled.code, PCRE2_INFO_ALLOPTIONS) & PCRE2_ANCHORED) != 0;
  compiled.atLines = info(compiled.code, PCRE2_INFO_FIRSTCODETYPE) == 2;
  const auto lineEnd = info(compiled.code, PCRE2_INFO_NEWLINE);
  compiled.notInCrLf =
      compiled.atLines && (lineEnd == PCRE2_NEWLINE_ANY || lineEnd == PCRE2_NEWLINE_ANYCRLF);
  // Without JIT (a system that forbids writable code) the search is slower, not wrong.
  if (!hasCrLfAsOnlyLineEnd(compiled.code)) {
    static_cast<void>(pcre2_jit_compile(compiled.code.get(), PCRE2_JIT_COMPLETE));
  }
  return compiled;
}

}  // namespace brisvane::host
