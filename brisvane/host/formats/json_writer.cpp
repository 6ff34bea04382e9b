// jsonText.
#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <forward_list>
#include <nlohmann/json.hpp>
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

// How much of the beginning stands in a JSON string as it is, without a look at what is not ASCII.
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

// The escape of a character that cannot stand in a JSON text; empty for any other.
std::string escapeOf(char32_t character) {
  switch (character) {
    case U'"':
      return "\\\"";
    case U'\\':
      return "\\\\";
    case U'\b':
      return "\\b";
    case U'\f':
      return "\\f";
    case U'\n':
      return "\\n";
    case U'\r':
      return "\\r";
    case U'\t':
      return "\\t";
    default:
      break;
  }
  if (character >= 0x20) return {};
  std::string escape = "\\u00";
  appendLowerHex(escape, static_cast<std::uint8_t>(character));
  return escape;
}

// Writes values one after the other. Each step is false when the text would become longer than
// kJsonTextLimit.
class JsonWriter {
 public:
  explicit JsonWriter(JsonLayout layout) noexcept : isIndented_(layout == JsonLayout::kIndented) {}

  [[nodiscard]] bool write(const Object& value, std::size_t depth = 0) {
    switch (value.kind()) {
      case Object::Kind::kNull:
        return put("null");
      case Object::Kind::kBoolean:
        return put(*value.boolean() ? "true" : "false");
      case Object::Kind::kInteger:
        if (const auto number = value.integer()) return putInteger(*number);
        return putInteger(*value.unsignedInteger());
      case Object::Kind::kReal:
        return putReal(*value.real());
      case Object::Kind::kText:
        return putText(*value.ifText());
      case Object::Kind::kData:
        return putHex(*value.ifData());
      case Object::Kind::kDate:
        return putReal(std::chrono::duration<double>(value.date()->time_since_epoch()).count());
      case Object::Kind::kArray:
        return depth == kJsonDepthLimit ? put("null") : putArray(*value.ifArray(), depth + 1);
      case Object::Kind::kDictionary:
        return depth == kJsonDepthLimit ? put("null")
                                        : putDictionary(*value.ifDictionary(), depth + 1);
    }
    return false;
  }

  [[nodiscard]] std::string take() { return std::move(text_); }

 private:
  bool put(std::string_view piece) {
    if (piece.size() > kJsonTextLimit - text_.size()) return false;
    text_ += piece;
    return true;
  }

  bool put(char character) {
    if (text_.size() == kJsonTextLimit) return false;
    text_ += character;
    return true;
  }

  template <typename Integer>
  bool putInteger(Integer number) {
    std::array<char, 20> digits;  // as many as the longest has, with its sign
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    return put({digits.data(), written.ptr});
  }

  // As the JSON library writes it: few digits that read back as the number.
  bool putReal(double number) {
    if (!std::isfinite(number)) return put("null");
    std::array<char, 64> digits;  // as the library's own writer has them
    return put({digits.data(),
                nlohmann::detail::to_chars(digits.data(), digits.data() + digits.size(), number)});
  }

  bool putText(std::string_view text) {
    if (!put('"')) return false;
    while (!text.empty()) {
      const std::size_t plain = lengthOfPlain(text);
      if (!put(text.substr(0, plain))) return false;
      text.remove_prefix(plain);
      if (text.empty()) break;
      const CodePoint next = firstCodePoint(text);
      std::string piece = next.valid ? escapeOf(next.value) : std::string();
      if (piece.empty()) appendUtf8(piece, next.value);
      if (!put(piece)) return false;
      text.remove_prefix(next.length);
    }
    return put('"');
  }

  bool putHex(const Data& data) {
    if (data.size() >= kJsonTextLimit / 2) return false;
    return put('"') && put(upperHexText(data)) && put('"');
  }

  bool putArray(const Array& array, std::size_t depth) {
    if (array.empty()) return put("[]");
    char mark = '[';
    for (const Object& element : array) {
      if (!put(mark) || !putLineEnd(depth) || !write(element, depth)) return false;
      mark = ',';
    }
    return putLineEnd(depth - 1) && put(']');
  }

  bool putDictionary(const Dictionary& dictionary, std::size_t depth) {
    if (dictionary.empty()) return put("{}");
    std::forward_list<std::string> mended;  // keys that are not UTF-8, as they are written
    const std::size_t first = members_.size();
    for (const auto& [key, element] : dictionary) {
      const std::string& written = isUtf8(key) ? key : mended.emplace_front(toUtf8(key));
      members_.push_back({written, key, &element});
    }
    sortMembers(first);
    char mark = '{';
    for (std::size_t i = first; i < members_.size(); ++i) {
      const Member member = members_[i];  // which moves when those within it are added
      if (!put(mark) || !putLineEnd(depth) || !putText(member.key)) return false;
      if (!put(isIndented_ ? ": " : ":") || !write(*member.element, depth)) return false;
      mark = ',';
    }
    members_.resize(first);
    return putLineEnd(depth - 1) && put('}');
  }

  // Puts those from `first` on in the order of their keys, which makes the text reproducible.
  void sortMembers(std::size_t first) {
    const auto begin = members_.begin() + static_cast<std::ptrdiff_t>(first);
    std::sort(begin, members_.end(), [](const Member& a, const Member& b) {
      const int order = a.key.compare(b.key);
      return order != 0 ? order < 0 : a.original < b.original;
    });
    const auto end = std::unique(begin, members_.end(),
                                 [](const Member& a, const Member& b) { return a.key == b.key; });
    members_.erase(end, members_.end());
  }

  bool putLineEnd(std::size_t depth) {
    return !isIndented_ || (put('\n') && put(std::string(depth * 2, ' ')));
  }

  struct Member {
    std::string_view key;  // as it is written
    std::string_view original;
    const Object* element;
  };

  bool isIndented_;
  std::string text_;
  std::vector<Member> members_;  // of the dictionaries on the way down
};

}  // namespace

std::optional<std::string> jsonText(const Object& value, JsonLayout layout) {
  JsonWriter writer(layout);
  return writer.write(value) ? std::optional(writer.take()) : std::nullopt;
}

}  // namespace brisvane::host
