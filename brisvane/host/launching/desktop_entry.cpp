#include "brisvane/host/launching/desktop_entry.h"

#include <algorithm>
#include <utility>

namespace brisvane::host::real {
namespace {

constexpr std::string_view kGroup = "[Desktop Entry]";
constexpr std::string_view kBlanks = " \t\r";

std::string_view trimmed(std::string_view text) noexcept {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

char unescaped(char character) noexcept {
  switch (character) {
    case 's':
      return ' ';
    case 'n':
      return '\n';
    case 't':
      return '\t';
    case 'r':
      return '\r';
    default:
      return character;
  }
}

// Takes an Exec value apart, from its front to its end.
class ExecParser {
 public:
  ExecParser(std::string_view exec, const FieldValues& values) : rest_(exec), values_(values) {}

  // Once only: the words leave the parser.
  Result<std::vector<std::string>> parse() {
    for (skipBlanks(); !rest_.empty() && !isTooLong(); skipBlanks()) {
      if (auto taken = rest_.front() == '"' ? takeQuoted() : takeBare(); !taken.ok())
        return taken.error();
    }
    if (isTooLong()) return Error::because("is too long");
    if (beginsWithCode_) return Error::because("begins with a field code");
    if (words_.empty()) return Error::because("is empty");
    words_.insert(words_.end(), values_.arguments.begin() + static_cast<std::ptrdiff_t>(taken_),
                  values_.arguments.end());
    return std::move(words_);
  }

 private:
  // Whether the values of field codes alone are more than the kernel takes as arguments: three
  // quarters of its _STK_LIM. A long name for each of many codes could fill the memory.
  [[nodiscard]] bool isTooLong() const noexcept {
    constexpr std::size_t kMost = std::size_t{6} << 20U;
    return length_ > kMost;
  }

  void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size())); }

  // A word between double quotes, in which a backslash keeps one of "`$\ as it is.
  Result<> takeQuoted() {
    constexpr std::string_view kKept = "\"`$\\";
    std::string word;
    for (std::size_t at = 1; at < rest_.size(); ++at) {
      if (rest_[at] == '"') {
        rest_.remove_prefix(at + 1);
        if (!rest_.empty() && rest_.front() != ' ')
          return Error::because("has text right after a quoted argument");
        words_.push_back(std::move(word));
        return {};
      }
      const char next = at + 1 < rest_.size() ? rest_[at + 1] : '\0';
      const bool isPercent = rest_[at] == '%' && next == '%';
      if (rest_[at] == '%' && !isPercent) return Error::because("has a field code between quotes");
      const bool isKept = rest_[at] == '\\' && kKept.find(next) != std::string_view::npos;
      if (isPercent || isKept) ++at;
      word += rest_[at];
    }
    return Error::because("has a quote without an end");
  }

  Result<> takeBare() {
    constexpr std::string_view kReserved = "\t\n\"'\\><~|&;$*?#()`";
    const std::string_view word = rest_.substr(0, rest_.find(' '));
    rest_.remove_prefix(word.size());
    if (word.find_first_of(kReserved) != std::string_view::npos) {
      return Error::because("has a reserved character outside of quotes");
    }
    return word.size() == 2 && word.front() == '%' ? takeCode(word[1]) : takeText(word);
  }

  // A field code that is a word of its own.
  Result<> takeCode(char code) {
    beginsWithCode_ |=
        words_.empty() && std::string_view("FUfui").find(code) != std::string_view::npos;
    switch (code) {
      case 'F':
      case 'U':
        words_.insert(words_.end(), values_.arguments.begin() + static_cast<std::ptrdiff_t>(taken_),
                      values_.arguments.end());
        taken_ = values_.arguments.size();
        return {};
      case 'f':
      case 'u':
        if (taken_ < values_.arguments.size()) words_.push_back(values_.arguments[taken_++]);
        return {};
      case 'i':
        if (!values_.icon.empty()) words_.insert(words_.end(), {"--icon", values_.icon});
        length_ += values_.icon.size();
        return {};
      default:
        return takeText(std::string{'%', code});
    }
  }

  // A word with field codes in it that stand for one text each.
  Result<> takeText(std::string_view text) {
    constexpr std::string_view kDeprecated = "dDnNvm";
    std::string word;
    for (std::size_t at = 0; at < text.size() && !isTooLong(); ++at) {
      if (text[at] != '%') {
        word += text[at];
        continue;
      }
      const std::size_t before = word.size();
      const char code = ++at < text.size() ? text[at] : '\0';
      if (code == '%') {
        word += '%';
      } else if (code == 'c') {
        word += values_.name;
      } else if (code == 'k') {
        word += values_.file;
      } else if ((code == 'f' || code == 'u') && taken_ < values_.arguments.size()) {
        word += values_.arguments[taken_++];
      } else if (code != 'f' && code != 'u' &&
                 (code == '\0' || kDeprecated.find(code) == std::string_view::npos)) {
        return Error::because(
            "has a field code that there is not, or one that must be an argument of its own");
      }
      length_ += word.size() - before;
    }
    const bool wasDeprecatedCode = word.empty() && !text.empty();
    if (!wasDeprecatedCode) words_.push_back(std::move(word));
    return {};
  }

  std::string_view rest_;
  const FieldValues& values_;
  bool beginsWithCode_ = false;
  std::size_t taken_ = 0;   // arguments that have their place
  std::size_t length_ = 0;  // of the field codes' values, in bytes
  std::vector<std::string> words_;
};

}  // namespace

DesktopEntry::DesktopEntry(std::string_view content) {
  bool isInGroup = false;
  while (!content.empty()) {
    const std::size_t end = content.find('\n');
    const std::string_view line = trimmed(content.substr(0, end));
    content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
    if (line.starts_with('[')) isInGroup = line == kGroup;
    const std::size_t equals = line.find('=');
    if (!isInGroup || line.starts_with('#') || line.starts_with('[') ||
        equals == std::string_view::npos)
      continue;
    values_.insert_or_assign(std::string(trimmed(line.substr(0, equals))),
                             std::string(trimmed(line.substr(equals + 1))));
  }
}

std::optional<std::string> DesktopEntry::text(std::string_view key) const {
  const auto found = values_.find(std::string(key));
  if (found == values_.end()) return std::nullopt;
  std::string text;
  for (std::size_t at = 0; at < found->second.size(); ++at) {
    // A backslash ahead of anything else stays: it may be meant for the command line.
    constexpr std::string_view kEscapes = "sntr\\";
    const bool isEscape = found->second[at] == '\\' && at + 1 < found->second.size() &&
                          kEscapes.find(found->second[at + 1]) != std::string_view::npos;
    if (isEscape) ++at;
    text += isEscape ? unescaped(found->second[at]) : found->second[at];
  }
  return text;
}

bool DesktopEntry::flag(std::string_view key) const { return text(key) == "true"; }

Result<std::vector<std::string>> commandWords(std::string_view exec, const FieldValues& values) {
  return ExecParser(exec, values).parse();
}

}  // namespace brisvane::host::real
