#include "brisvane/host/formats/json.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "brisvane/types/excerpt.h"
#include "brisvane/types/hex.h"
#include "brisvane/types/unicode.h"

namespace brisvane::host {
namespace {

using nlohmann::json;

// How far the parser has read.
struct Progress {
  std::size_t line = 1;
  bool atLineStart = false;  // its last character was a line end
};

// Tells of its progress through a text.
class LineCounter {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  LineCounter(const char* at, Progress* progress) noexcept : at_(at), progress_(progress) {}
  reference operator*() const noexcept { return *at_; }
  LineCounter& operator++() noexcept {
    progress_->atLineStart = *at_++ == '\n';
    progress_->line += progress_->atLineStart ? 1 : 0;
    return *this;
  }
  bool operator==(const LineCounter& other) const noexcept { return at_ == other.at_; }

 private:
  const char* at_;
  Progress* progress_;
};

// Builds Objects from the parser's events, so that no second tree stands between.
class ObjectBuilder final : public nlohmann::json_sax<json> {
 public:
  Object result;
  std::string error;

  ObjectBuilder() = default;
  // Finds the line of a place, too.
  ObjectBuilder(std::string_view wanted, const Progress& progress)
      : wanted_(wanted), progress_(&progress) {}

  // Of the wanted place, or of the nearest thing around it.
  std::size_t line = 1;

  bool null() override { return put({}); }
  bool boolean(bool value) override { return put(value); }
  bool number_integer(number_integer_t value) override { return putNumber(value); }
  bool number_unsigned(number_unsigned_t value) override { return putNumber(value); }
  bool number_float(number_float_t value, const string_t& /*spelling*/) override {
    return putNumber(value);
  }
  bool string(string_t& value) override { return put(std::move(value)); }
  bool binary(binary_t& /*value*/) override { return false; }

  bool start_object(std::size_t /*size*/) override { return open(true); }
  bool start_array(std::size_t /*size*/) override { return open(false); }
  bool key(string_t& value) override {
    open_.back().key = std::move(value);
    noteLine(0);
    return true;
  }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool parse_error(std::size_t /*position*/, const std::string& token,
                   const nlohmann::detail::exception& exception) override {
    // "[json.exception.parse_error.101] parse error at line 1, ...": the rest is for people.
    const std::string_view text = exception.what();
    const std::size_t end = text.find("] ");
    error = text.substr(end == std::string_view::npos ? 0 : end + 2);
    // It quotes what has been read of the token, whatever and however long that is.
    const std::string quoted = "'" + token + "'";
    if (const std::size_t at = error.find(quoted); at != std::string::npos) {
      error.replace(at, quoted.size(), "'" + excerpt(token) + "'");
    }
    return false;
  }

 private:
  static constexpr std::size_t kElsewhere = std::string_view::npos;

  struct Container {
    bool isObject;
    std::size_t end;  // of its place, as a beginning of the wanted one; or kElsewhere
    std::string key;
    Array array;
    Dictionary dictionary;
  };

  // Where the place of what comes next ends in the wanted one; kElsewhere when the wanted one is
  // neither that nor within it.
  [[nodiscard]] std::size_t endOfNext() const {
    if (progress_ == nullptr) return kElsewhere;
    if (open_.empty()) return 0;
    const Container& in = open_.back();
    if (in.end == kElsewhere) return kElsewhere;
    std::string_view rest = wanted_.substr(in.end);
    const auto skip = [&rest](std::string_view piece) {
      const bool isNext = rest.starts_with(piece);
      if (isNext) rest.remove_prefix(piece.size());
      return isNext;
    };
    const bool isOnTheWay = in.isObject ? (in.end == 0 || skip(".")) && skip(in.key)
                                        : skip("[" + std::to_string(in.array.size()) + "]");
    const std::size_t end = wanted_.size() - rest.size();
    const bool isWhole = end == 0 || rest.empty() || rest.front() == '.' || rest.front() == '[';
    return isOnTheWay && isWhole ? end : kElsewhere;
  }

  // What comes next stands on the line that has been reached, less `back`.
  void noteLine(std::size_t back) {
    if (endOfNext() != kElsewhere) line = progress_->line - back;
  }

  void noteElement(std::size_t back = 0) {
    if (!open_.empty() && !open_.back().isObject) noteLine(back);
  }

  // A number ends where the parser meets what is none, and be it the line's end.
  bool putNumber(Object value) {
    noteElement(progress_ != nullptr && progress_->atLineStart ? 1 : 0);
    return store(std::move(value));
  }

  bool put(Object value) {
    noteElement();
    return store(std::move(value));
  }

  bool store(Object value) {
    if (open_.empty()) {
      result = std::move(value);
    } else if (open_.back().isObject) {
      open_.back().dictionary.insert_or_assign(std::move(open_.back().key), std::move(value));
    } else {
      open_.back().array.push_back(std::move(value));
    }
    return true;
  }

  bool open(bool isObject) {
    if (open_.size() == kJsonDepthLimit) {
      error = "nested deeper than " + std::to_string(kJsonDepthLimit) + " levels";
      return false;
    }
    noteElement();
    const std::size_t end = endOfNext();
    open_.push_back({isObject, end, {}, {}, {}});
    return true;
  }

  bool close() {
    Container closed = std::move(open_.back());
    open_.pop_back();
    return store(closed.isObject ? Object(std::move(closed.dictionary))
                                 : Object(std::move(closed.array)));
  }

  std::string_view wanted_;
  const Progress* progress_ = nullptr;
  std::vector<Container> open_;
};

bool isPlain(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte >= 0x20 && byte < 0x80 && byte != '"' && byte != '\\';
}

// How much of the beginning stands in a JSON text as it is, without a look at what is not ASCII.
std::size_t lengthOfPlain(std::string_view text) {
  const auto end = std::find_if_not(text.begin(), text.end(), isPlain);
  return static_cast<std::size_t>(end - text.begin());
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
        if (const auto number = value.integer()) return put(std::to_string(*number));
        return put(std::to_string(*value.unsignedInteger()));
      case Object::Kind::kReal:
        return put(json(*value.real()).dump());
      case Object::Kind::kText:
        return putText(*value.ifText());
      case Object::Kind::kData:
        return putHex(*value.ifData());
      case Object::Kind::kDate:
        return put(
            json(std::chrono::duration<double>(value.date()->time_since_epoch()).count()).dump());
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

  bool putText(std::string_view text) {
    if (!put("\"")) return false;
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
    return put("\"");
  }

  bool putHex(const Data& data) {
    if (data.size() >= kJsonTextLimit / 2) return false;
    return put("\"") && put(upperHexText(data)) && put("\"");
  }

  bool putArray(const Array& array, std::size_t depth) {
    if (array.empty()) return put("[]");
    std::string_view mark = "[";
    for (const Object& element : array) {
      if (!put(mark) || !putLineEnd(depth) || !write(element, depth)) return false;
      mark = ",";
    }
    return putLineEnd(depth - 1) && put("]");
  }

  bool putDictionary(const Dictionary& dictionary, std::size_t depth) {
    if (dictionary.empty()) return put("{}");
    std::map<std::string, const Object*> members;  // sorted, which makes the text reproducible
    for (const auto& [key, element] : dictionary) members.insert_or_assign(toUtf8(key), &element);
    std::string_view mark = "{";
    for (const auto& [key, element] : members) {
      if (!put(mark) || !putLineEnd(depth) || !putText(key)) return false;
      if (!put(isIndented_ ? ": " : ":") || !write(*element, depth)) return false;
      mark = ",";
    }
    return putLineEnd(depth - 1) && put("}");
  }

  bool putLineEnd(std::size_t depth) {
    return !isIndented_ || (put("\n") && put(std::string(depth * 2, ' ')));
  }

  bool isIndented_;
  std::string text_;
};

}  // namespace

Result<Object> parseJson(std::string_view text) {
  // Two things that the parser lets pass: it ends at a zero byte, and skips a byte-order mark.
  if (text.find('\0') != std::string_view::npos || text.starts_with("\xEF\xBB\xBF")) {
    return Error::because("a zero byte or a byte-order mark is no JSON");
  }
  ObjectBuilder builder;
  if (!json::sax_parse(text, &builder)) return Error::because(builder.error);
  return std::move(builder.result);
}

std::size_t jsonLine(std::string_view text, std::string_view place) {
  Progress progress;
  ObjectBuilder builder(place, progress);
  json::sax_parse(LineCounter(text.data(), &progress),
                  LineCounter(text.data() + text.size(), &progress), &builder);
  return builder.line;
}

std::optional<std::string> jsonText(const Object& value, JsonLayout layout) {
  JsonWriter writer(layout);
  return writer.write(value) ? std::optional(writer.take()) : std::nullopt;
}

}  // namespace brisvane::host
