#include "brisvane/types/object.h"

#include <atomic>
#include <limits>
#include <unordered_map>
#include <utility>
#include <variant>

namespace brisvane {

struct Object::Value {
  using Content = std::variant<Boolean, Integer, Real, std::string, Data, Date, Array, Dictionary>;

  explicit Value(Content from) : content(std::move(from)) {}

  Content content;
  mutable std::atomic<std::size_t> owners{1};
  mutable const Value* nextToRelease = nullptr;
};

namespace {

template <typename T>
const T* contentIf(const Object::Value* value) noexcept {
  return value != nullptr ? std::get_if<T>(&value->content) : nullptr;
}

template <typename T>
std::optional<T> copyOf(const T* content) {
  return content != nullptr ? std::optional<T>(*content) : std::nullopt;
}

using Pairs = std::vector<std::pair<const Object*, const Object*>>;

// Adds the pairs of elements that must be equal for the containers to be;
// false when the containers already differ in shape.
bool pairElements(const Array& left, const Array& right, Pairs& pending) {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) pending.emplace_back(&left[i], &right[i]);
  return true;
}

bool pairElements(const Dictionary& left, const Dictionary& right, Pairs& pending) {
  if (left.size() != right.size()) return false;
  for (const auto& [key, value] : left) {
    const auto found = right.find(key);
    if (found == right.end()) return false;
    pending.emplace_back(&value, &found->second);
  }
  return true;
}

// Sets of values that are equal, or else the whole is not: what joins two that are in one set
// already need not be looked at again, so that no more pairs are than there are values.
class EqualValues {
 public:
  // False when both are in one set already.
  bool join(const Object::Value* left, const Object::Value* right) {
    const auto* const first = setOf(left);
    const auto* const second = setOf(right);
    if (first == second) return false;
    parents_[first] = second;
    return true;
  }

 private:
  // The value that stands for a set; the way to it becomes shorter each time.
  const Object::Value* setOf(const Object::Value* value) {
    for (auto at = parents_.find(value); at != parents_.end(); at = parents_.find(value)) {
      value = at->second;
      if (const auto next = parents_.find(value); next != parents_.end()) at->second = next->second;
    }
    return value;
  }

  std::unordered_map<const Object::Value*, const Object::Value*> parents_;
};

}  // namespace

Object::Object(Boolean value) : value_(new Value(value)) {}
Object::Object(Integer value) : value_(new Value(value)) {}
Object::Object(Real value) : value_(new Value(value)) {}
Object::Object(std::string text) : value_(new Value(std::move(text))) {}
Object::Object(const char* text)
    : value_(text != nullptr ? new Value(std::string(text)) : nullptr) {}
Object::Object(Data data) : value_(new Value(std::move(data))) {}
Object::Object(Date date) : value_(new Value(date)) {}
Object::Object(Array array) : value_(new Value(std::move(array))) {}
Object::Object(Dictionary dictionary) : value_(new Value(std::move(dictionary))) {}

Object::Object(std::initializer_list<std::pair<std::string_view, Object>> entries)
    : Object(Dictionary(entries.begin(), entries.end())) {}

Object::Object(const Object& other) noexcept : value_(other.value_) {
  if (value_ != nullptr) value_->owners.fetch_add(1, std::memory_order_relaxed);
}

Object& Object::operator=(const Object& other) noexcept {
  Object copy(other);
  std::swap(value_, copy.value_);
  return *this;
}

Object& Object::operator=(Object&& other) noexcept {
  Object taken(std::move(other));
  std::swap(value_, taken.value_);
  return *this;
}

Object::~Object() { release(value_); }

// A value whose last owner has gone joins a list threaded through the values
// themselves, so that releasing neither recurses nor allocates.
void Object::release(const Value* value) noexcept {
  const Value* pending = nullptr;
  const auto giveUp = [&pending](const Value* owned) {
    if (owned == nullptr || owned->owners.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    owned->nextToRelease = pending;
    pending = owned;
  };
  giveUp(value);
  while (pending != nullptr) {
    // The list owns the value alone now, which is what makes writing to it sound.
    auto* const released = const_cast<Value*>(std::exchange(pending, pending->nextToRelease));
    if (auto* array = std::get_if<Array>(&released->content)) {
      for (Object& element : *array) giveUp(std::exchange(element.value_, nullptr));
    } else if (auto* dictionary = std::get_if<Dictionary>(&released->content)) {
      for (auto& [key, element] : *dictionary) giveUp(std::exchange(element.value_, nullptr));
    }
    delete released;
  }
}

bool Object::isShared() const noexcept {
  return value_ != nullptr && value_->owners.load(std::memory_order_relaxed) > 1;
}

Object::Kind Object::kind() const noexcept {
  // The variant lists its alternatives in the order of Kind.
  return value_ == nullptr ? Kind::kNull : static_cast<Kind>(value_->content.index() + 1);
}

std::optional<bool> Object::boolean() const noexcept {
  const auto* content = contentIf<Boolean>(value_);
  return content != nullptr ? std::optional<bool>(content->value) : std::nullopt;
}

std::optional<std::int64_t> Object::integer() const noexcept {
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  const auto* content = contentIf<Integer>(value_);
  if (content == nullptr || (!content->negative && content->bits > kLargest)) return std::nullopt;
  return static_cast<std::int64_t>(content->bits);
}

std::optional<std::uint64_t> Object::unsignedInteger() const noexcept {
  const auto* content = contentIf<Integer>(value_);
  if (content == nullptr || content->negative) return std::nullopt;
  return content->bits;
}

std::optional<double> Object::real() const noexcept {
  const auto* content = contentIf<Real>(value_);
  return content != nullptr ? std::optional<double>(content->value) : std::nullopt;
}

std::optional<std::string> Object::text() const { return copyOf(ifText()); }
std::optional<Data> Object::data() const { return copyOf(ifData()); }
std::optional<Date> Object::date() const noexcept { return copyOf(contentIf<Date>(value_)); }
std::optional<Array> Object::array() const { return copyOf(ifArray()); }
std::optional<Dictionary> Object::dictionary() const { return copyOf(ifDictionary()); }

const std::string* Object::ifText() const noexcept { return contentIf<std::string>(value_); }
const Data* Object::ifData() const noexcept { return contentIf<Data>(value_); }
const Array* Object::ifArray() const noexcept { return contentIf<Array>(value_); }
const Dictionary* Object::ifDictionary() const noexcept { return contentIf<Dictionary>(value_); }

const Object* ValueStep::in(const Array& array) const noexcept {
  return !isKey_ && index_ < array.size() ? &array[index_] : nullptr;
}

const Object* ValueStep::in(const Dictionary& dictionary) const noexcept {
  if (!isKey_) return nullptr;
  const auto found = dictionary.find(key_);
  return found != dictionary.end() ? &found->second : nullptr;
}

const Object* Object::find(ValueStep step) const noexcept {
  if (const Array* array = ifArray()) return step.in(*array);
  if (const Dictionary* dictionary = ifDictionary()) return step.in(*dictionary);
  return nullptr;
}

bool operator==(const Object& left, const Object& right) {
  if (left.same(right)) return true;
  Pairs pending{{&left, &right}};
  EqualValues equal;
  while (!pending.empty()) {
    const auto [a, b] = pending.back();
    pending.pop_back();
    if (a->same(*b)) continue;
    if (a->kind() != b->kind()) return false;
    // What one handle alone holds is met only where its holder is.
    const bool mayBeMetAgain = a->kind() >= Object::Kind::kText && (a->isShared() || b->isShared());
    if (mayBeMetAgain && !equal.join(a->value_, b->value_)) continue;
    if (const Array* array = a->ifArray()) {
      if (!pairElements(*array, *b->ifArray(), pending)) return false;
    } else if (const Dictionary* dictionary = a->ifDictionary()) {
      if (!pairElements(*dictionary, *b->ifDictionary(), pending)) return false;
    } else if (a->value_->content != b->value_->content) {
      return false;
    }
  }
  return true;
}

}  // namespace brisvane
