#include "brisvane/host/formats/json_reader.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "brisvane/host/formats/json.h"

namespace brisvane::host {
namespace {

using nlohmann::json;

// Builds Objects from the parser's events, so that no second tree stands between. A container is
// made when all its values are known, so that it never grows. The parser is compiled for this
// class: no event is a virtual call.
class ObjectBuilder {
 public:
  explicit ObjectBuilder(RepeatedKeys repeatedKeys) noexcept
      : refusesRepeated_(repeatedKeys == RepeatedKeys::kRefused) {}

  bool null() { return put(nullptr); }
  bool boolean(bool value) { return put(value); }
  bool number_integer(std::int64_t value) { return put(value); }
  bool number_unsigned(std::uint64_t value) { return put(value); }
  bool number_float(double value, const std::string& /*spelling*/) { return put(value); }
  bool string(std::string& value) { return put(std::move(value)); }
  bool binary(json::binary_t& /*value*/) { return false; }
  bool key(std::string& value) {
    keys_.push_back(std::move(value));
    return true;
  }
  bool start_object(std::size_t /*size*/) { return open(); }
  bool start_array(std::size_t /*size*/) { return open(); }
  bool end_object() {
    const std::size_t first = close();
    const std::size_t count = values_.size() - first;
    const std::size_t firstKey = keys_.size() - count;
    Dictionary dictionary(count);
    for (std::size_t i = 0; i < count; ++i) {
      const bool isNew =
          dictionary.insert_or_assign(std::move(keys_[firstKey + i]), std::move(values_[first + i]))
              .second;
      if (!isNew && refusesRepeated_) return false;
    }
    keys_.resize(firstKey);
    values_.resize(first);
    return put(std::move(dictionary));
  }
  bool end_array() {
    const std::size_t first = close();
    const auto from = values_.begin() + static_cast<std::ptrdiff_t>(first);
    Array array(std::make_move_iterator(from), std::make_move_iterator(values_.end()));
    values_.resize(first);
    return put(std::move(array));
  }
  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& /*exception*/) {
    return false;
  }

  [[nodiscard]] Object take() { return std::move(values_.back()); }

 private:
  bool put(Object value) {
    values_.push_back(std::move(value));
    return true;
  }
  bool open() {
    if (open_.size() == kJsonDepthLimit) return false;
    open_.push_back(values_.size());
    return true;
  }
  std::size_t close() {
    const std::size_t first = open_.back();
    open_.pop_back();
    return first;
  }

  const bool refusesRepeated_;
  std::vector<std::size_t> open_;  // the first value of each container that is not complete
  std::vector<Object> values_;     // complete ones that no container holds yet
  std::vector<std::string> keys_;  // of those that dictionaries will hold
};

}  // namespace

std::optional<Object> readJson(std::string_view text, RepeatedKeys repeatedKeys) {
  ObjectBuilder builder(repeatedKeys);
  if (!json::sax_parse(text.data(), text.data() + text.size(), &builder)) return std::nullopt;
  return builder.take();
}

}  // namespace brisvane::host
