// The description of a value, for a person to read.
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <ostream>
#include <vector>

#include "brisvane/types/hex.h"
#include "brisvane/types/object.h"
#include "brisvane/types/unicode.h"

namespace brisvane {
namespace {

constexpr std::string_view kOmitted = "...";

template <typename Number>
void appendNumber(std::string& text, Number number, int base = 10) {
  char digits[32];
  const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), number, base);
  text.append(digits, end);
}

void appendPadded(std::string& text, unsigned number, std::size_t width) {
  const std::string digits = std::to_string(number);
  text.append(width - std::min(width, digits.size()), '0').append(digits);
}

// The shortest digits that make the same number again. It never looks like an integer.
void appendReal(std::string& text, double value) {
  char digits[32];
  const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), value);
  const std::string_view written(digits, end);
  text += written;
  if (std::isfinite(value) && written.find_first_of(".e") == std::string_view::npos) text += ".0";
}

void appendEscaped(std::string& text, const CodePoint& character, std::string_view bytes) {
  constexpr std::string_view kNamed = "\"\\\n\r\t";
  constexpr std::string_view kNames = "\"\\nrt";
  if (!character.valid) {
    text += "\\x";
    appendHex(text, static_cast<std::uint8_t>(bytes.front()));
  } else if (const auto named = kNamed.find(bytes); named != std::string_view::npos) {
    text += '\\';
    text += kNames[named];
  } else if (isControl(character.value) || isBidirectionalControl(character.value)) {
    text += "\\u{";
    std::string digits;
    appendNumber(digits, static_cast<std::uint32_t>(character.value), 16);
    std::ranges::transform(digits, digits.begin(), [](char digit) {
      return digit >= 'a' ? hexDigit(*hexValue(digit)) : digit;
    });
    text += digits + '}';
  } else {
    text += bytes;
  }
}

// ISO 8601, in UTC, with as many digits of a second as it needs.
void appendDate(std::string& text, Date date) {
  using namespace std::chrono;
  // Whole seconds by themselves: an early Date has no room for its day's beginning.
  auto second = time_point_cast<seconds>(date);
  auto rest = duration_cast<nanoseconds>(date - second);
  if (rest.count() < 0) {
    second -= seconds(1);
    rest += seconds(1);
  }
  const auto day = floor<days>(second);
  const year_month_day calendar(day);
  const hh_mm_ss time(second - day);
  text += std::to_string(static_cast<int>(calendar.year())) + '-';
  appendPadded(text, static_cast<unsigned>(calendar.month()), 2);
  text += '-';
  appendPadded(text, static_cast<unsigned>(calendar.day()), 2);
  text += 'T';
  appendPadded(text, static_cast<unsigned>(time.hours().count()), 2);
  text += ':';
  appendPadded(text, static_cast<unsigned>(time.minutes().count()), 2);
  text += ':';
  appendPadded(text, static_cast<unsigned>(time.seconds().count()), 2);
  if (rest.count() != 0) {
    text += '.';
    appendPadded(text, static_cast<unsigned>(rest.count()), 9);
    text.erase(text.find_last_not_of('0') + 1);
  }
  text += 'Z';
}

class Description {
 public:
  void add(const Object& value) {
    switch (value.kind()) {
      case Object::Kind::kNull:
        text_ += "null";
        break;
      case Object::Kind::kBoolean:
        text_ += *value.boolean() ? "true" : "false";
        break;
      case Object::Kind::kInteger:
        if (const auto positive = value.unsignedInteger()) {
          appendNumber(text_, *positive);
        } else {
          appendNumber(text_, *value.integer());
        }
        break;
      case Object::Kind::kReal:
        appendReal(text_, *value.real());
        break;
      case Object::Kind::kText:
        add(std::string_view(*value.ifText()));
        break;
      case Object::Kind::kData:
        text_ += '<' + describe(*value.ifData(), Object::kLongestDescription / 2) + '>';
        break;
      case Object::Kind::kDate:
        appendDate(text_, *value.date());
        break;
      case Object::Kind::kArray:
        add(*value.ifArray());
        break;
      case Object::Kind::kDictionary:
        add(*value.ifDictionary());
        break;
    }
  }

  void add(const Array& array) {
    addAll('[', array, ']', [this](const Object& element) { add(element); });
  }

  void add(const Dictionary& dictionary) {
    std::vector<const Dictionary::value_type*> entries;
    entries.reserve(dictionary.size());
    for (const auto& entry : dictionary) entries.push_back(&entry);
    std::ranges::sort(
        entries, {}, [](const auto* entry) -> const auto& { return entry->first; });
    addAll('{', entries, '}', [this](const auto* entry) {
      add(std::string_view(entry->first));
      text_ += ": ";
      add(entry->second);
    });
  }

  [[nodiscard]] std::string take() { return std::move(text_); }

 private:
  [[nodiscard]] bool isFull() const { return text_.size() >= Object::kLongestDescription; }

  void add(std::string_view text) {
    text_ += '"';
    while (!text.empty() && !isFull()) {
      const CodePoint next = firstCodePoint(text);
      appendEscaped(text_, next, text.substr(0, next.length));
      text.remove_prefix(next.length);
    }
    if (!text.empty()) text_ += kOmitted;
    text_ += '"';
  }

  template <typename Elements, typename Add>
  void addAll(char open, const Elements& elements, char close, const Add& addOne) {
    text_ += open;
    ++depth_;
    bool isFirst = true;
    for (const auto& element : elements) {
      if (!isFirst) text_ += ", ";
      isFirst = false;
      if (isFull() || depth_ > Object::kDeepestDescription) {
        text_ += kOmitted;
        break;
      }
      addOne(element);
    }
    --depth_;
    text_ += close;
  }

  std::string text_;
  std::size_t depth_ = 0;
};

template <typename Value>
std::string descriptionOf(const Value& value) {
  Description description;
  description.add(value);
  return description.take();
}

}  // namespace

std::string Object::description() const { return descriptionOf(*this); }

std::ostream& operator<<(std::ostream& stream, const Object& value) {
  return stream << value.description();
}

std::ostream& operator<<(std::ostream& stream, const Array& array) {
  return stream << descriptionOf(array);
}

std::ostream& operator<<(std::ostream& stream, const Dictionary& dictionary) {
  return stream << descriptionOf(dictionary);
}

}  // namespace brisvane
