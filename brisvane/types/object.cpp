#include "brisvane/types/object.h"

#include <atomic>
#include <limits>
#include <unordered_map>
#include <utility>
#include <variant>

namespace brisvane {

struct Object::Value {
  using Content = std::variant<std::string, Data, Array, Dictionary>;

  explicit Value(auto from) : content(std::move(from)) {}

  Content content;
  mutable std::atomic<std::size_t> owners{1};
  mutable const Value* nextToRelease = nullptr;
};

namespace {

// Threads draw identities in blocks, so that they do not wait for each other. There are enough for
// a thousand million a second for nine years.
std::uint64_t newIdentity() noexcept {
  constexpr std::uint64_t kBlock = 1024;
  static constinit std::atomic<std::uint64_t> nextBlock{0};
  // By the initial-exec model it stands in room that each thread has from its start. Another model
  // would allocate it at its first use where the library was loaded by dlopen.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local std::uint64_t next = 0;
  if (next % kBlock == 0) next = nextBlock.fetch_add(kBlock, std::memory_order_relaxed);
  return next++;
}

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

Object::Object(Kind kind, std::uint64_t content, std::uint64_t sign) noexcept
    : content_(content),
      tag_(static_cast<std::uint64_t>(kind) | sign | (newIdentity() << kIdentityShift)) {}
Object::Object(Date date) noexcept
    : Object(Kind::kDate, std::bit_cast<std::uint64_t>(date.time_since_epoch().count())) {}
Object::Object(std::string text) : Object(Kind::kText, new Value(std::move(text))) {}
Object::Object(const char* text) {
  if (text != nullptr) *this = Object(std::string(text));
}

Object::Object(std::initializer_list<std::pair<std::string_view, Object>> entries)
    : Object(Dictionary(entries.begin(), entries.end())) {}
Object::Object(Data data) : Object(Kind::kData, new Value(std::move(data))) {}
Object::Object(Array array) : Object(Kind::kArray, new Value(std::move(array))) {}
Object::Object(Dictionary dictionary)
    : Object(Kind::kDictionary, new Value(std::move(dictionary))) {}

Object& Object::operator=(const Object& other) noexcept { return *this = Object(other); }

Object& Object::operator=(Object&& other) noexcept {
  Object taken(std::move(other));
  std::swap(content_, taken.content_);
  std::swap(tag_, taken.tag_);
  return *this;
}

void Object::retain() const noexcept { value()->owners.fetch_add(1, std::memory_order_relaxed); }

// A value whose last owner has gone joins a list threaded through the values
// themselves, so that releasing neither recurses nor allocates.
void Object::release() noexcept {
  const Value* pending = nullptr;
  const auto giveUp = [&pending](Object& handle) {
    const Value* const owned = handle.value();
    handle.tag_ = 0;
    if (owned == nullptr || owned->owners.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    owned->nextToRelease = pending;
    pending = owned;
  };
  giveUp(*this);
  while (pending != nullptr) {
    // The list owns the value alone now, which is what makes writing to it sound.
    auto* const released = const_cast<Value*>(std::exchange(pending, pending->nextToRelease));
    if (auto* array = std::get_if<Array>(&released->content)) {
      for (Object& element : *array) giveUp(element);
    } else if (auto* dictionary = std::get_if<Dictionary>(&released->content)) {
      for (auto& [key, element] : *dictionary) giveUp(element);
    }
    delete released;
  }
}

bool Object::isShared() const noexcept {
  return holdsValue() && value()->owners.load(std::memory_order_relaxed) > 1;
}

std::optional<bool> Object::boolean() const noexcept {
  return kind() == Kind::kBoolean ? std::optional<bool>(content_ != 0) : std::nullopt;
}

std::optional<std::int64_t> Object::integer() const noexcept {
  const auto number = static_cast<std::int64_t>(content_);
  const bool fits = kind() == Kind::kInteger && (number < 0) == ((tag_ & kNegative) != 0);
  return fits ? std::optional<std::int64_t>(number) : std::nullopt;
}

std::optional<std::uint64_t> Object::unsignedInteger() const noexcept {
  const bool fits = kind() == Kind::kInteger && (tag_ & kNegative) == 0;
  return fits ? std::optional<std::uint64_t>(content_) : std::nullopt;
}

std::optional<double> Object::real() const noexcept {
  return kind() == Kind::kReal ? std::optional<double>(std::bit_cast<double>(content_))
                               : std::nullopt;
}

std::optional<Date> Object::date() const noexcept {
  if (kind() != Kind::kDate) return std::nullopt;
  return Date(Date::duration(std::bit_cast<Date::rep>(content_)));
}

std::optional<std::string> Object::text() const { return copyOf(ifText()); }
std::optional<Data> Object::data() const { return copyOf(ifData()); }
std::optional<Array> Object::array() const { return copyOf(ifArray()); }
std::optional<Dictionary> Object::dictionary() const { return copyOf(ifDictionary()); }

const std::string* Object::ifText() const noexcept { return contentIf<std::string>(value()); }
const Data* Object::ifData() const noexcept { return contentIf<Data>(value()); }
const Array* Object::ifArray() const noexcept { return contentIf<Array>(value()); }
const Dictionary* Object::ifDictionary() const noexcept { return contentIf<Dictionary>(value()); }

bool Object::hasContentOf(const Object& other) const {
  if (holdsValue()) return value()->content == other.value()->content;
  if (kind() == Kind::kReal) return real() == other.real();
  return content_ == other.content_ && (tag_ & kNegative) == (other.tag_ & kNegative);
}

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
    const bool mayBeMetAgain = a->isShared() || b->isShared();
    if (mayBeMetAgain && !equal.join(a->value(), b->value())) continue;
    if (const Array* array = a->ifArray()) {
      if (!pairElements(*array, *b->ifArray(), pending)) return false;
    } else if (const Dictionary* dictionary = a->ifDictionary()) {
      if (!pairElements(*dictionary, *b->ifDictionary(), pending)) return false;
    } else if (!a->hasContentOf(*b)) {
      return false;
    }
  }
  return true;
}

}  // namespace brisvane
