#include "brisvane/host/json.h"

#include <cstddef>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

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
  std::optional<Object> result;
  std::string error;

  ObjectBuilder() = default;
  // Finds the line of a place, too.
  ObjectBuilder(std::string_view wanted, const Progress& progress) : wanted_(wanted), progress_(&progress) {}

  // Of the wanted place, or of the nearest thing around it.
  std::size_t line = 1;

  bool null() override { return put({}); }
  bool boolean(bool value) override { return put(value); }
  bool number_integer(number_integer_t value) override { return putNumber(value); }
  bool number_unsigned(number_unsigned_t value) override { return putNumber(value); }
  bool number_float(number_float_t value, const string_t& /*spelling*/) override { return putNumber(value); }
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

  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& exception) override {
    // "[json.exception.parse_error.101] parse error at line 1, ...": the rest is for people.
    const std::string_view text = exception.what();
    const std::size_t end = text.find("] ");
    error = text.substr(end == std::string_view::npos ? 0 : end + 2);
    return false;
  }

 private:
  struct Container {
    bool isObject;
    bool isAroundWanted;
    std::string place;  // of a container around the wanted place
    std::string key;
    Array array;
    Dictionary dictionary;
  };

  // The place of what comes next.
  [[nodiscard]] std::string place() const {
    if (open_.empty()) return {};
    const Container& in = open_.back();
    if (!in.isObject) return in.place + "[" + std::to_string(in.array.size()) + "]";
    return in.place.empty() ? in.key : in.place + "." + in.key;
  }

  // Whether a place is the wanted one or around it.
  [[nodiscard]] bool isAroundWanted(std::string_view place) const {
    return wanted_.starts_with(place) && (place.empty() || wanted_.size() == place.size() ||
                                          wanted_[place.size()] == '.' || wanted_[place.size()] == '[');
  }

  // What comes next stands on the line that has been reached, less `back`.
  void noteLine(std::size_t back) {
    if (progress_ != nullptr && open_.back().isAroundWanted && isAroundWanted(place())) line = progress_->line - back;
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
    const bool mayBeAround = progress_ != nullptr && (open_.empty() || open_.back().isAroundWanted);
    std::string where = mayBeAround ? place() : std::string();
    const bool isAround = mayBeAround && isAroundWanted(where);
    open_.push_back({isObject, isAround, std::move(where), {}, {}, {}});
    return true;
  }

  bool close() {
    Container closed = std::move(open_.back());
    open_.pop_back();
    return store(closed.isObject ? Object(std::move(closed.dictionary)) : Object(std::move(closed.array)));
  }

  std::string_view wanted_;
  const Progress* progress_ = nullptr;
  std::vector<Container> open_;
};

std::string hexText(const Data& data) {
  std::string text;
  for (const std::uint8_t byte : data) appendHex(text, byte);
  return text;
}

// nlohmann's object sorts its keys, which is what makes the text reproducible.
json toJson(const Object& value, std::size_t depth = 0) {
  switch (value.kind()) {
    case Object::Kind::kNull:
      return nullptr;
    case Object::Kind::kBoolean:
      return *value.boolean();
    case Object::Kind::kInteger:
      if (const auto number = value.integer()) return *number;
      return *value.unsignedInteger();
    case Object::Kind::kReal:
      return *value.real();
    case Object::Kind::kText:
      return toUtf8(*value.ifText());
    case Object::Kind::kData:
      return hexText(*value.ifData());
    case Object::Kind::kDate:
      return std::chrono::duration<double>(value.date()->time_since_epoch()).count();
    case Object::Kind::kArray: {
      if (depth == kJsonDepthLimit) return nullptr;
      json array = json::array();
      for (const Object& element : *value.ifArray()) array.push_back(toJson(element, depth + 1));
      return array;
    }
    case Object::Kind::kDictionary: {
      if (depth == kJsonDepthLimit) return nullptr;
      json object = json::object();
      for (const auto& [key, element] : *value.ifDictionary()) object[toUtf8(key)] = toJson(element, depth + 1);
      return object;
    }
  }
  return nullptr;
}

}  // namespace

std::optional<Object> parseJson(std::string_view text, std::string* error) {
  ObjectBuilder builder;
  // Two things that the parser lets pass: it ends at a zero byte, and skips a byte-order mark.
  if (text.find('\0') != std::string_view::npos || text.starts_with("\xEF\xBB\xBF")) {
    builder.error = "a zero byte or a byte-order mark is no JSON";
  } else if (json::sax_parse(text, &builder)) {
    return std::move(builder.result);
  }
  if (error != nullptr) *error = std::move(builder.error);
  return std::nullopt;
}

std::size_t jsonLine(std::string_view text, std::string_view place) {
  Progress progress;
  ObjectBuilder builder(place, progress);
  json::sax_parse(LineCounter(text.data(), &progress), LineCounter(text.data() + text.size(), &progress), &builder);
  return builder.line;
}

std::string jsonText(const Object& value, JsonLayout layout) {
  return toJson(value).dump(layout == JsonLayout::kIndented ? 2 : -1);
}

}  // namespace brisvane::host
