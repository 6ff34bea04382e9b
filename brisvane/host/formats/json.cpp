#include "brisvane/host/formats/json.h"

// parseJson, jsonLine.
#include <cstddef>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "brisvane/host/formats/json_reader.h"
#include "brisvane/types/excerpt.h"

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

// Finds out from the parser's events what is wrong with a text, or on which line a value stands.
class Survey final : public nlohmann::json_sax<json> {
 public:
  std::string error;

  // Finds the line of a place.
  Survey(std::string_view wanted, const Progress& progress)
      : wanted_(wanted), progress_(progress) {}
  // Finds an error, which a key that is there twice may be.
  Survey(RepeatedKeys repeatedKeys, const Progress& progress)
      : progress_(progress), refusesRepeated_(repeatedKeys == RepeatedKeys::kRefused) {}

  // Of the wanted place, or of the nearest thing around it.
  std::size_t line = 1;

  bool null() override { return pass(); }
  bool boolean(bool /*value*/) override { return pass(); }
  bool number_integer(number_integer_t /*value*/) override { return passNumber(); }
  bool number_unsigned(number_unsigned_t /*value*/) override { return passNumber(); }
  bool number_float(number_float_t /*value*/, const string_t& /*spelling*/) override {
    return passNumber();
  }
  bool string(string_t& /*value*/) override { return pass(); }
  bool binary(binary_t& /*value*/) override { return false; }

  bool start_object(std::size_t /*size*/) override { return open(true); }
  bool start_array(std::size_t /*size*/) override { return open(false); }
  bool key(string_t& value) override {
    Container& in = open_.back();
    in.key = std::move(value);
    noteLine(0);
    if (!refusesRepeated_ || in.keys.insert(in.key).second) return true;
    const std::string at = place();
    error = "line " + std::to_string(progress_.line) + ": " + excerpt(at) +
            (at.empty() ? "is there twice" : ": is there twice");
    return false;
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
    std::size_t end;        // of its place, as a beginning of the wanted one; or kElsewhere
    std::string key;        // of an object: the last
    std::size_t count = 0;  // of what is complete in it
    std::unordered_set<std::string> keys{};  // so far, where they count
  };

  // Of what has been reached.
  [[nodiscard]] std::string place() const {
    std::string place;
    for (const Container& in : open_) {
      if (in.isObject && !place.empty()) place += '.';
      place += in.isObject ? in.key : "[" + std::to_string(in.count) + "]";
    }
    return place;
  }

  // Where the place of what comes next ends in the wanted one; kElsewhere when the wanted one is
  // neither that nor within it.
  [[nodiscard]] std::size_t endOfNext() const {
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
                                        : skip("[" + std::to_string(in.count) + "]");
    const std::size_t end = wanted_.size() - rest.size();
    const bool isWhole = end == 0 || rest.empty() || rest.front() == '.' || rest.front() == '[';
    return isOnTheWay && isWhole ? end : kElsewhere;
  }

  // What comes next stands on the line that has been reached, less `back`.
  void noteLine(std::size_t back) {
    if (endOfNext() != kElsewhere) line = progress_.line - back;
  }

  void noteElement(std::size_t back = 0) {
    if (!open_.empty() && !open_.back().isObject) noteLine(back);
  }

  // A number ends where the parser meets what is none, and be it the line's end.
  bool passNumber() {
    noteElement(progress_.atLineStart ? 1 : 0);
    return complete();
  }

  bool pass() {
    noteElement();
    return complete();
  }

  bool complete() noexcept {
    if (!open_.empty()) ++open_.back().count;
    return true;
  }

  bool open(bool isObject) {
    if (open_.size() == kJsonDepthLimit) {
      error = "nested deeper than " + std::to_string(kJsonDepthLimit) + " levels";
      return false;
    }
    noteElement();
    open_.push_back({isObject, endOfNext(), {}});
    return true;
  }

  bool close() {
    open_.pop_back();
    return complete();
  }

  const std::string_view wanted_;
  const Progress& progress_;
  const bool refusesRepeated_ = false;
  std::vector<Container> open_;
};

// Runs the parser through a text, for its errors or for the lines.
void survey(std::string_view text, Survey& survey, Progress& progress) {
  json::sax_parse(LineCounter(text.data(), &progress),
                  LineCounter(text.data() + text.size(), &progress), &survey);
}

}  // namespace

Result<Object> parseJson(std::string_view text, RepeatedKeys repeatedKeys) {
  // Two things that the parser lets pass: it ends at a zero byte, and skips a byte-order mark.
  if (text.find('\0') != std::string_view::npos || text.starts_with("\xEF\xBB\xBF")) {
    return Error::because("a zero byte or a byte-order mark is no JSON");
  }
  if (auto value = readJson(text, repeatedKeys)) return std::move(*value);
  Progress progress;
  Survey search(repeatedKeys, progress);
  survey(text, search, progress);
  return Error::because(search.error);
}

std::size_t jsonLine(std::string_view text, std::string_view place) {
  Progress progress;
  Survey search(place, progress);
  survey(text, search, progress);
  return search.line;
}

}  // namespace brisvane::host
