#include "brisvane/host/formats/pattern.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "brisvane/host/formats/growing_search.h"
#include "brisvane/host/formats/pcre.h"
#include "brisvane/types/unicode.h"

namespace brisvane::host {
namespace {

// The first match and its groups, joined by '|'; nullopt for none.
std::optional<std::string> found(std::string_view pattern, std::string_view text) {
  const auto compiled = Pattern::compile(pattern);
  EXPECT_TRUE(compiled.ok()) << pattern;
  const auto match = compiled.ok() ? compiled.value().firstMatch(text).value() : std::nullopt;
  if (!match) return std::nullopt;
  std::string all(match->front().of(text));
  for (std::size_t group = 1; group < match->size(); ++group)
    all.append("|").append((*match)[group].of(text));
  return all;
}

TEST(Pattern, FindsTheFirstMatchWithItsGroupsWhateverTheCase) {
  EXPECT_EQ(found("fw (\\d+)\\.(\\d+)(-rc)?", "FW 1.20, FW 3.4\r\n"), "FW 1.20|1|20|");
  EXPECT_EQ(found("\u00E4", "\u00C4"), "\u00C4");
  EXPECT_EQ(found("b*", "abb"), "");
  EXPECT_EQ(found("^$", std::string_view()), "");
  EXPECT_EQ(found("x", "abc"), std::nullopt);
  EXPECT_EQ(found("(ab|a)\\s*b", "ab"), "ab|a");
  EXPECT_EQ(found("a\\x00b", std::string_view("xa\0b", 4)), std::string("a\0b", 3));
  EXPECT_EQ(Pattern::compile("$").value().firstMatch("abc").value()->front().begin, 3U);
  EXPECT_EQ(found("ok", "ok\xFF"), std::nullopt);  // not UTF-8

  // The line ends of a serial reply.
  EXPECT_EQ(found("^OK$", "ok\r\n"), "ok");
  EXPECT_EQ(found("OK.*", "OK then\r\nmore"), "OK then");
  EXPECT_EQ(found("(?m)^more$", "OK\r\nmore\rrest"), "more");
  EXPECT_EQ(found("^OK$", "OK\r\n\r\n"), std::nullopt);
  EXPECT_EQ(found("(?m)^\\n.", "a\r\nb\r\n\nc"), "\nc");  // not the LF of a CR LF
}

TEST(Pattern, KnowsItsGroupsByTheirNames) {
  const auto pattern =
      Pattern::compile("(V)=(?<volt>\\d+) (?'amp'\\d+)|(?J)(?<twice>a)(?<twice>b)").value();
  EXPECT_EQ(pattern.groupNumber("volt"), 2U);
  EXPECT_EQ(pattern.groupNumber("amp"), 3U);
  for (const std::string_view name : {"", "ohm", "Volt", "twice", "1"})
    EXPECT_EQ(pattern.groupNumber(name), std::nullopt) << name;
  EXPECT_EQ(pattern.groupNumber(std::string_view("volt\0", 5)), std::nullopt);
}

TEST(Pattern, KnowsCodePointEscapesAndLeavesQuotedTextAlone) {
  EXPECT_EQ(found("a\\u2192b", "a\u2192b"), "a\u2192b");
  EXPECT_EQ(found("a\\x{2192}b", "a\u2192b"), "a\u2192b");
  EXPECT_EQ(found("[\\u00e4\\u00F6]+", "\u00C4\u00F6"), "\u00C4\u00F6");
  EXPECT_EQ(found("\\\\u0041", "A\\u0041"), "\\u0041");  // a backslash and a plain text
  EXPECT_EQ(found("\\Q\\u0041\\E", "A\\u0041"), "\\u0041");
  EXPECT_EQ(found("\\Qa\\\\E\\u0041", "a\\A"), "a\\A");
  EXPECT_EQ(found("\\Q\\Q.\\E.", "\\Q.x"), "\\Q.x");
  EXPECT_EQ(found("(a)\\1\\Q1|\\E+", "aa1||"), "aa1|||a");
  EXPECT_EQ(found("\\c\\u0041", "\x1Cu0041"), "\x1Cu0041");
  EXPECT_EQ(found("[a-z&&[^b]]", "b&]"), "&]");  // no intersection
  // Comments and the names of verbs quote nothing, and a class has neither.
  EXPECT_EQ(found("a(?#\\Q()b\\Q(\\E", "ab("), "ab(");
  EXPECT_EQ(found("a(*MARK:\\Q)(b)", "ab"), "ab|b");
  EXPECT_EQ(found("[](?#\\Q)]\\E[:digit:]]+x", "a(])7x"), "(])7x");
  EXPECT_EQ(found("[^][:digit:]]+(?#\\Q)b", "7]aab"), "aab");
  for (const char* const wrong :
       {"(", "[a", "a{2,1}", "*", "\\C", "a\\Cb", "\\u12", "\\uD800", "\xFF", "\\\xC5\\Q\xA1",
        "\\U0000004f", "\\N{DIGIT ONE}", "(?<=a{1,3})b", "\\p{Letter}", "(?w)a"}) {
    EXPECT_FALSE(Pattern::compile(wrong).ok()) << wrong;
  }
}

TEST(Pattern, ASearchThatWouldNotEndIsGivenUpWhenItsTimeIsOver) {
  using std::chrono::steady_clock;
  const std::string million(1'000'000, 'a');
  const std::string forty(40, 'a');
  std::string uncounted;  // groups in which the engine counts no step
  for (int i = 0; i < 40; ++i) uncounted += "(a|a)";
  const std::string spaced = std::string(50'000, ' ') + std::string(50'000, 'a');
  const std::pair<std::string, std::string> cases[] = {
      {"(a+)+$", forty + "!"},           {"(a+)+$", million + "!"},
      {"(?=(a+))a*b\\1", million},       {"(?:\\Gq|a)(a+)b?(a+)b?\\1[^a]", spaced},
      {"(?:a|aa){30}[bc]", million},     {"(?:(?=.*a)a)+[bc]", spaced},
      {"x?(?:a|b)*[cd]", spaced},        {"(*NO_JIT)(a+)+b", forty + "cb"},
      {"a(*COMMIT)(a+)+$", forty + "!"}, {uncounted + "b", forty + "cb"}};
  for (const auto& [pattern, text] : cases) {
    const auto end = steady_clock::now() + std::chrono::milliseconds(200);
    const auto left = [end] {
      return std::chrono::duration<double>(end - steady_clock::now()).count();
    };
    const auto match = Pattern::compile(pattern).value().firstMatch(text, left);
    ASSERT_FALSE(match.ok()) << pattern;
    EXPECT_EQ(match.error().number(), ETIMEDOUT) << pattern;
    EXPECT_GT(left(), -20.0) << pattern;
  }
}

TEST(Pattern, ALongSearchThatEndsIsNotGivenUp) {
  const std::string million(1'000'000, 'a');
  EXPECT_EQ(found("OK$", million + "OK"), "OK");
  EXPECT_EQ(found(".*ok", million), std::nullopt);
  EXPECT_EQ(found("\\w+=[0-9a-f]+\r\n", std::string(16'384, 'e') + "\r\ncrc=12ab\r\n"),
            "crc=12ab\r\n");
  std::string lines;
  while (lines.size() < (std::size_t{64} << 10U))
    lines += "sensor 12: 23.5 degrees, fan at 1200 rpm\r\n";
  const auto pattern = Pattern::compile("(?s)sensor.*result: (pass|fail)\r\n");
  const auto endless = [] { return HUGE_VAL; };
  EXPECT_FALSE(pattern.value().firstMatch(lines, endless).value());
  EXPECT_TRUE(pattern.value().firstMatch(lines + "result: PASS\r\n", endless).value());
}

// The engine's own answers, each from one run over the whole text.
class Reference {
 public:
  explicit Reference(std::string_view pattern) {
    const pcre::CompileContext context(pcre2_compile_context_create(nullptr));
    pcre2_set_newline(context.get(), PCRE2_NEWLINE_ANY);
    int error = 0;
    PCRE2_SIZE position = 0;
    code_.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                              PCRE2_CASELESS | PCRE2_UTF | PCRE2_NEVER_BACKSLASH_C, &error,
                              &position, context.get()));
  }
  [[nodiscard]] bool compiles() const { return code_ != nullptr; }

  // The ranges as text; nullopt when the engine gave up.
  [[nodiscard]] std::optional<std::string> search(std::string_view text) const {
    const pcre::MatchData data(pcre2_match_data_create_from_pattern(code_.get(), nullptr));
    const int result = pcre2_match(code_.get(), reinterpret_cast<PCRE2_SPTR>(text.data()),
                                   text.size(), 0, 0, data.get(), nullptr);
    if (result < PCRE2_ERROR_NOMATCH) return std::nullopt;
    std::string all;
    const PCRE2_SIZE* at = pcre2_get_ovector_pointer(data.get());
    for (std::uint32_t i = 0; result > 0 && i < pcre2_get_ovector_count(data.get()); ++i, at += 2) {
      all += at[0] == PCRE2_UNSET
                 ? "0+0 "
                 : std::to_string(at[0]) + "+" + std::to_string(at[1] - at[0]) + " ";
    }
    return all;
  }

 private:
  pcre::Code code_;
};

std::string rangesOf(const std::optional<Pattern::Match>& match) {
  std::string all;
  for (const auto& range : match.value_or(Pattern::Match())) {
    all += std::to_string(range.begin) + "+" + std::to_string(range.length) + " ";
  }
  return all;
}

// Random patterns and texts, of what makes searches differ: line ends, assertions, letters beyond
// ASCII, groups, verbs.
class Random {
 public:
  std::string pattern() { return oneOf(kBeginnings) + someOf(items_, 8); }
  std::string text(std::size_t pieces) { return someOf(kPieces, pieces); }
  std::size_t below(std::size_t limit) { return random_() % limit; }

 private:
  const std::string& oneOf(const std::vector<std::string>& all) { return all[below(all.size())]; }
  std::string someOf(const std::vector<std::string>& all, std::size_t most) {
    std::string text;
    for (auto left = below(most); left > 0; --left) text += oneOf(all);
    return text;
  }

  static inline const std::vector<std::string> kPieces{
      "a", "b",   "A",    "a",      "1",      "ab",     " ", "\r",     "\n",
      "(", "\\G", "\r\n", "\u00E9", "\u2028", "\u212A", "s", "e\u0301"};
  static inline const std::vector<std::string> kBeginnings{
      "", "", "", "(*CRLF)", "(*CR)", "(*ANYCRLF)", "(*NOTEMPTY_ATSTART)", "(*NO_JIT)"};
  std::istringstream words_{
      "a b A+ 1? ab 1ks \\w \\w+ \\s* . .* .*? [^a] [^a\\r]* \\R \\X \u00E9 \u017F \\b \\B ^ $ "
      "(?m:^) (?m)^\\n "
      "(?m:$) (?m) (?s) (?s:.*) \\G \\A \\z \\Z \\K (?<=a) (?<!\\r) (?<=\\R) (?<=\u00E9|b) (?=\\n) "
      "(?!b) "
      "(?!$) (?!\\Z) (?>a$|.) (?>\\R|a) (a|b)? (ab|a) (?:1a|1|a) (a|ab|) (\\w)\\1 (?>a*) \\r | (?: "
      "( (?i: "
      "(?|(b)| ) ) ) * {2} ?? ++ \\h \\v \\N (*COMMIT) (*ACCEPT) \\c\\ k s (?=.*b) (?(?=a)ab|\\W) "
      "(?(1)a|b) (?(1)ab) (?(R)b) (?(DEFINE)a) (?1) [(|] \\Q(a|b)\\E \\Q\\G\\E+ \\| \\( (?#(|) "
      "(?x)"};
  const std::vector<std::string> items_{std::istream_iterator<std::string>(words_), {}};
  std::mt19937 random_{1};
};

// No more, for the emulator, to which each pattern's code is new. The fuzzer goes on from here.
constexpr int kRounds = 8'000;

// However little time a search has, which decides how few positions each of its parts tries.
TEST(Pattern, PartsOfASearchFindWhatOneRunFinds) {
  Random random;
  int compared = 0;
  for (int round = 0; round < kRounds; ++round) {
    const std::string expression = random.pattern();
    const Reference reference(expression);
    const auto pattern = Pattern::compile(expression);
    ASSERT_EQ(pattern.ok(), reference.compiles()) << expression;
    if (!pattern.ok()) continue;
    for (int i = 0; i < 3; ++i) {
      const std::string text = random.text(30);
      const auto expected = reference.search(text);
      if (!expected) continue;
      ++compared;
      for (const double left : {1e-9, 2e-5, 5e-5, 1e-4, 10.0}) {
        EXPECT_EQ(rangesOf(pattern.value().firstMatch(text, [left] { return left; }).value()),
                  *expected)
            << expression << " in " << ::testing::PrintToString(text) << ", " << left;
      }
    }
  }
  EXPECT_GT(compared, 10'000);
}

// What earlier searches refuted is not tried again, and must not matter. Chunks end anywhere, in
// the middle of a character, too.
TEST(GrowingSearch, FindsInATextThatGrowsWhatOneRunFinds) {
  Random random;
  int compared = 0;
  for (int round = 0; round < kRounds; ++round) {
    const std::string expression = random.pattern();
    const auto pattern = Pattern::compile(expression);
    if (!pattern.ok()) continue;
    const Reference reference(expression);
    for (int i = 0; i < 3; ++i) {
      const std::string text = random.text(30);
      GrowingSearch search(pattern.value(), 1);
      for (std::size_t size = 0; size <= text.size(); size += 1 + random.below(6)) {
        const std::string soFar = text.substr(0, size);
        const auto expected = isUtf8(soFar) ? reference.search(soFar) : "";
        if (!expected) continue;
        ++compared;
        const auto found = search.firstMatch(soFar, [] { return 10.0; });
        const auto where = [&] {
          return expression + " in " + ::testing::PrintToString(soFar) + " of " +
                 ::testing::PrintToString(text);
        };
        ASSERT_TRUE(found.ok()) << where();
        ASSERT_EQ(rangesOf(found.value()), *expected) << where();
      }
    }
  }
  EXPECT_GT(compared, 100'000);
}

TEST(Pattern, IsSearchedInOnePieceHoweverLongTheText) {
  const std::string ahead(100'000, '\n');
  EXPECT_EQ(found("\\Gneedle", ahead + "needle"), std::nullopt);
  EXPECT_EQ(found("a(*COMMIT)b", "ac" + ahead + "ab"), std::nullopt);
  EXPECT_EQ(found("(?<=\u00E9)needle", ahead + "needle\u00E9needle"), "needle");
  EXPECT_EQ(found("(?m)^$", "a line of fifteen\r\nOK\r\n"),
            std::nullopt);  // never between CR and LF
  // Deeper than the stack of the compiled code: the heap serves.
  EXPECT_EQ(found("^(?:a|b)*OK", std::string(100'000, 'a') + "OK"),
            std::string(100'000, 'a') + "OK");
}

}  // namespace
}  // namespace brisvane::host
