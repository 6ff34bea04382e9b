#include "brisvane/host/formats/json_reader.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "brisvane/host/formats/json.h"
#include "brisvane/types/hex.h"
#include "brisvane/types/unicode.h"

namespace brisvane::host {
namespace {

constexpr bool isPlain(char character) noexcept {
  const auto byte = static_cast<unsigned char>(character);
  return byte >= 0x20 && byte < 0x80 && byte != '"' && byte != '\\';
}

constexpr bool isDigit(char character) noexcept { return character >= '0' && character <= '9'; }

// Reads one text, without recursion. Each step is false where the text is no JSON.
class JsonReader {
 public:
  explicit JsonReader(std::string_view text) noexcept : rest_(text) {}

  [[nodiscard]] std::optional<Object> read() {
    do {
      if (!readValue()) return std::nullopt;
    } while (!open_.empty());
    skipBlanks();
    return rest_.empty() ? std::optional<Object>(std::move(values_.back())) : std::nullopt;
  }

 private:
  struct Container {
    bool isDictionary;
    std::size_t first;  // of its values
    [[nodiscard]] char end() const noexcept { return isDictionary ? '}' : ']'; }
  };

  // Reads a value, or the beginning of a container up to where its first value is due.
  bool readValue() {
    skipBlanks();
    switch (next()) {
      case '{':
        return readBeginning(true);
      case '[':
        return readBeginning(false);
      case '"': {
        std::string text;
        return readText(text) && put(std::move(text));
      }
      case 't':
        return skip("true") && put(true);
      case 'f':
        return skip("false") && put(false);
      case 'n':
        return skip("null") && put(nullptr);
      default:
        return readNumber();
    }
  }

  // The next character; 0, which no JSON has, at the end.
  [[nodiscard]] char next() const noexcept { return rest_.empty() ? '\0' : rest_.front(); }

  void skipBlanks() noexcept {
    while (next() == ' ' || next() == '\n' || next() == '\r' || next() == '\t')
      rest_.remove_prefix(1);
  }

  bool skip(std::string_view piece) noexcept {
    if (!rest_.starts_with(piece)) return false;
    rest_.remove_prefix(piece.size());
    return true;
  }

  bool readBeginning(bool isDictionary) {
    if (open_.size() == kJsonDepthLimit) return false;
    rest_.remove_prefix(1);
    open_.push_back({isDictionary, values_.size()});
    skipBlanks();
    if (next() == open_.back().end()) return readEnds();
    return !isDictionary || readKey();
  }

  bool put(Object value) {
    values_.push_back(std::move(value));
    return readEnds();
  }

  // Reads what follows a value, up to where the next one is due.
  bool readEnds() {
    while (!open_.empty()) {
      skipBlanks();
      if (skip(",")) {
        skipBlanks();
        return !open_.back().isDictionary || readKey();
      }
      if (next() != open_.back().end()) return false;
      rest_.remove_prefix(1);
      close();
    }
    return true;
  }

  bool readKey() {
    if (next() != '"' || !readText(keys_.emplace_back())) return false;
    skipBlanks();
    return skip(":");
  }

  // Makes a container of the values that have been read since it began.
  void close() {
    const Container closed = open_.back();
    open_.pop_back();
    const auto first = values_.begin() + static_cast<std::ptrdiff_t>(closed.first);
    Object made = closed.isDictionary
                      ? Object(dictionaryFrom(closed.first))
                      : Object(Array(std::move_iterator(first), std::move_iterator(values_.end())));
    values_.erase(first, values_.end());
    values_.push_back(std::move(made));
  }

  [[nodiscard]] Dictionary dictionaryFrom(std::size_t first) {
    const std::size_t count = values_.size() - first;
    const std::size_t firstKey = keys_.size() - count;
    Dictionary dictionary(count);
    for (std::size_t i = 0; i < count; ++i) {
      dictionary.insert_or_assign(std::move(keys_[firstKey + i]), std::move(values_[first + i]));
    }
    keys_.resize(firstKey);
    return dictionary;
  }

  bool readText(std::string& text) {
    rest_.remove_prefix(1);
    for (;;) {
      const std::size_t plain = lengthOfPlain(rest_);
      text.append(rest_, 0, plain);
      rest_.remove_prefix(plain);
      if (skip("\"")) return true;
      if (rest_.empty() || !(next() == '\\' ? readEscape(text) : readCharacter(text))) return false;
    }
  }

  // One that is not ASCII.
  bool readCharacter(std::string& text) {
    const CodePoint character = firstCodePoint(rest_);
    if (!character.valid || character.value < 0x20) return false;
    text.append(rest_, 0, character.length);
    rest_.remove_prefix(character.length);
    return true;
  }

  bool readEscape(std::string& text) {
    constexpr std::string_view kNames = "\"\\/bfnrt";
    constexpr std::string_view kCharacters = "\"\\/\b\f\n\r\t";
    rest_.remove_prefix(1);
    if (skip("u")) return readUnits(text);
    const std::size_t at = rest_.empty() ? kNames.npos : kNames.find(next());
    if (at == kNames.npos) return false;
    text += kCharacters[at];
    rest_.remove_prefix(1);
    return true;
  }

  // A UTF-16 code unit after its \u, and the second one of a pair.
  bool readUnits(std::string& text) {
    char32_t first = 0;
    char32_t second = 0;
    if (!readUnit(first) || (first >= 0xDC00 && first <= 0xDFFF)) return false;
    if (first >= 0xD800 && first <= 0xDBFF) {
      if (!skip("\\u") || !readUnit(second) || second < 0xDC00 || second > 0xDFFF) return false;
      first = 0x10000 + ((first - 0xD800) << 10U) + (second - 0xDC00);
    }
    appendUtf8(text, first);
    return true;
  }

  bool readUnit(char32_t& unit) noexcept {
    constexpr std::size_t kDigits = 4;
    if (rest_.size() < kDigits) return false;
    for (const char digit : rest_.substr(0, kDigits)) {
      const auto value = hexValue(digit);
      if (!value) return false;
      unit = unit << 4U | *value;
    }
    rest_.remove_prefix(kDigits);
    return true;
  }

  bool readNumber() {
    const std::string_view from = rest_;
    const bool isNegative = skip("-");
    if (!skip("0") && !skipDigits()) return false;
    bool isWhole = true;
    if (skip(".")) {
      isWhole = false;
      if (!skipDigits()) return false;
    }
    if (skip("e") || skip("E")) {
      isWhole = false;
      if (!skip("+")) skip("-");
      if (!skipDigits()) return false;
    }
    const std::string_view number = from.substr(0, from.size() - rest_.size());
    if (isWhole && (isNegative ? putAs<std::int64_t>(number) : putAs<std::uint64_t>(number)))
      return readEnds();
    return (putAs<double>(number) || putBeyond(number)) && readEnds();
  }

  // Whether there was a digit.
  bool skipDigits() noexcept {
    const auto end = std::find_if_not(rest_.begin(), rest_.end(), isDigit);
    const auto count = static_cast<std::size_t>(end - rest_.begin());
    rest_.remove_prefix(count);
    return count != 0;
  }

  // False when the type cannot hold the number.
  template <typename Number>
  bool putAs(std::string_view number) {
    Number value{};
    if (std::from_chars(number.data(), number.data() + number.size(), value).ec != std::errc{})
      return false;
    values_.emplace_back(value);
    return true;
  }

  // A number so near zero that it becomes zero or the least one; false for one that is too large.
  bool putBeyond(std::string_view number) {
    const auto value = nlohmann::json::parse(number, nullptr, /*allow_exceptions=*/false);
    if (!value.is_number()) return false;
    values_.emplace_back(value.get<double>());
    return true;
  }

  std::string_view rest_;
  std::vector<Container> open_;
  std::vector<Object> values_;     // complete ones that no container holds yet
  std::vector<std::string> keys_;  // of those that dictionaries will hold
};

}  // namespace

std::size_t lengthOfPlain(std::string_view text) noexcept {
  // Eight at a time. What sets the high bit of a byte is right up to the first byte that is not
  // plain.
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHigh = 0x80 * kOnes;
  std::size_t length = 0;
  for (std::uint64_t word = 0; text.size() - length >= sizeof word; length += sizeof word) {
    static_assert(std::endian::native == std::endian::little);
    std::memcpy(&word, text.data() + length, sizeof word);
    const std::uint64_t quotes = word ^ '"' * kOnes;
    const std::uint64_t backslashes = word ^ '\\' * kOnes;
    const std::uint64_t other =
        (word | (word - 0x20 * kOnes) | (quotes - kOnes) | (backslashes - kOnes)) & kHigh;
    if (other != 0) return length + static_cast<std::size_t>(std::countr_zero(other)) / 8;
  }
  while (length < text.size() && isPlain(text[length])) ++length;
  return length;
}

std::optional<Object> readJson(std::string_view text) { return JsonReader(text).read(); }

}  // namespace brisvane::host
