#include "brisvane/host/formats/property_list.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "brisvane/types/unicode.h"

namespace brisvane::host {
namespace {

using Kind = Object::Kind;
using Ref = std::uint64_t;  // the number of an object in the file

// Each object begins with a byte: its type above, its size below.
constexpr std::uint8_t kFalse = 0x08;
constexpr std::uint8_t kTrue = 0x09;
constexpr std::uint8_t kInteger = 0x10;  // and the power of two that its bytes number
constexpr std::uint8_t kReal = 0x23;
constexpr std::uint8_t kDate = 0x33;
constexpr std::uint8_t kData = 0x40;  // and, from here on, the count, which has its own rule
constexpr std::uint8_t kAsciiText = 0x50;
constexpr std::uint8_t kUtf16Text = 0x60;
constexpr std::uint8_t kArray = 0xA0;
constexpr std::uint8_t kDictionary = 0xD0;
constexpr std::uint8_t kCountFollows = 0x0F;  // as an integer

constexpr std::string_view kHeader = "bplist00";

// What distinguishes one object of a file from the others, and all that is needed to write it.
struct Entry {
  Kind kind;
  bool isNegative = false;   // of an integer
  std::uint64_t bits = 0;    // a boolean, integer, real or date
  std::string_view content;  // a text, data, or the bytes of a container's Refs
  bool operator==(const Entry&) const = default;
};

std::uint64_t hashOf(const Entry& entry) noexcept {
  constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;  // 2^64 over the golden ratio
  std::uint64_t hash = (entry.bits + static_cast<std::uint64_t>(entry.kind)) * kSpread;
  if (!entry.content.empty()) hash += std::hash<std::string_view>{}(entry.content);
  hash = (hash ^ hash >> 32U) * kSpread;
  return hash ^ hash >> 32U;
}

// Numbers entries from 0, equal ones alike. Beside each entry stand some ten bytes in a table with
// open addressing: where a node for each lay anywhere in memory, a large value took three times as
// long as the memory caches hold it.
class Entries {
 public:
  Ref numberOf(const Entry& entry) {
    if (entries_.size() >= slots_.size() / 4 * 3) grow();
    const std::uint64_t hash = hashOf(entry);
    std::size_t at = hash & (slots_.size() - 1);
    for (; slots_[at] != kFree; at = (at + 1) & (slots_.size() - 1)) {
      const Ref number = (slots_[at] & kNumber) - 1;
      if (((slots_[at] ^ hash) & ~kNumber) == 0 && entries_[number] == entry) return number;
    }
    entries_.push_back(entry);
    slots_[at] = (hash & ~kNumber) | entries_.size();
    return entries_.size() - 1;
  }

  [[nodiscard]] const std::vector<Entry>& inOrder() const noexcept { return entries_; }

 private:
  // A slot: a number and one, and above it bits of the hash, which spare most looks at entries.
  static constexpr std::uint64_t kFree = 0;
  static constexpr std::uint64_t kNumber = (std::uint64_t{1} << 40U) - 1;  // no memory holds more

  void grow() {
    constexpr std::size_t kFew = 64;
    std::vector<std::uint64_t> slots(std::max(kFew, slots_.size() * 2), kFree);
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      const std::uint64_t hash = hashOf(entries_[i]);
      std::size_t at = hash & (slots.size() - 1);
      while (slots[at] != kFree) at = (at + 1) & (slots.size() - 1);
      slots[at] = (hash & ~kNumber) | (i + 1);
    }
    slots_ = std::move(slots);
  }

  std::vector<Entry> entries_;
  std::vector<std::uint64_t> slots_;  // a power of two of them
};

// How many bytes a number takes: 1, 2, 4 or 8.
unsigned sizeOf(std::uint64_t number) noexcept {
  unsigned size = 1;
  while (size < 8 && number >> (8U * size) != 0) size *= 2;
  return size;
}

double secondsSince2001(Date date) noexcept {
  using std::chrono::seconds;
  constexpr std::int64_t k2001 = 978'307'200;  // in seconds since 1970
  // Whole seconds by themselves: a Date that is early enough has no room for the difference. They
  // are cut towards 1970: the first of all seconds begins before the first Date.
  const auto whole = std::chrono::time_point_cast<seconds>(date);
  return static_cast<double>(whole.time_since_epoch().count() - k2001) +
         std::chrono::duration<double>(date - whole).count();
}

// Numbers the objects of a value, those within another before it, each of them once. The Entries
// view the value's own texts and data.
class Numbering {
 public:
  // False when there is something that cannot be written, and fault() says what.
  bool add(const Object& value, Ref& ref, std::size_t depth = 0) {
    switch (value.kind()) {
      case Kind::kNull:
        return refuse("a property list holds no null");
      case Kind::kBoolean:
        return put({Kind::kBoolean, false, *value.boolean() ? 1U : 0U, {}}, ref);
      case Kind::kInteger:
        if (const auto number = value.unsignedInteger())
          return put({Kind::kInteger, false, *number, {}}, ref);
        return put({Kind::kInteger, true, static_cast<std::uint64_t>(*value.integer()), {}}, ref);
      case Kind::kReal:
        return put({Kind::kReal, false, std::bit_cast<std::uint64_t>(*value.real()), {}}, ref);
      case Kind::kText:
        return addText(*value.ifText(), ref);
      case Kind::kData:
        return put({Kind::kData, false, 0, view(*value.ifData())}, ref);
      case Kind::kDate:
        return put(
            {Kind::kDate, false, std::bit_cast<std::uint64_t>(secondsSince2001(*value.date())), {}},
            ref);
      case Kind::kArray:
        return addOnce(value.ifArray(), depth, ref,
                       [&] { return addArray(*value.ifArray(), depth, ref); });
      case Kind::kDictionary:
        return addOnce(value.ifDictionary(), depth, ref,
                       [&] { return addDictionary(*value.ifDictionary(), depth, ref); });
    }
    return false;
  }

  [[nodiscard]] std::string_view fault() const noexcept { return fault_; }

  // In the order of their numbers.
  [[nodiscard]] const std::vector<Entry>& entries() const noexcept { return entries_.inOrder(); }

 private:
  template <typename T>
  static std::string_view view(const std::vector<T>& elements) noexcept {
    return {reinterpret_cast<const char*>(elements.data()), elements.size() * sizeof(T)};
  }

  bool refuse(std::string_view fault) noexcept {
    fault_ = fault;
    return false;
  }

  bool put(const Entry& entry, Ref& ref) {
    ref = entries_.numberOf(entry);
    return true;
  }

  bool addText(const std::string& text, Ref& ref) {
    return isUtf8(text) ? put({Kind::kText, false, 0, text}, ref) : refuse("a text is not UTF-8");
  }

  // A container that many places share is looked into once: what seems a tree without end may
  // be a few containers that hold each other twice.
  template <typename Add>
  bool addOnce(const void* container, std::size_t depth, Ref& ref, const Add& add) {
    static_assert(kPropertyListDepthLimit == 512);
    if (depth == kPropertyListDepthLimit)
      return refuse("arrays and dictionaries nest deeper than 512 levels");
    const auto found = containers_.find(container);
    if (found != containers_.end() && depth <= found->second.depth) {
      ref = found->second.ref;
      return true;
    }
    if (!add()) return false;
    containers_.insert_or_assign(container, Container{ref, depth});
    return true;
  }

  bool addArray(const Array& array, std::size_t depth, Ref& ref) {
    std::vector<Ref> refs(array.size());
    for (std::size_t i = 0; i < array.size(); ++i) {
      if (!add(array[i], refs[i], depth + 1)) return false;
    }
    return putContainer(Kind::kArray, std::move(refs), ref);
  }

  bool addDictionary(const Dictionary& dictionary, std::size_t depth, Ref& ref) {
    std::vector<const Dictionary::value_type*> items;
    items.reserve(dictionary.size());
    for (const auto& item : dictionary) items.push_back(&item);
    std::sort(items.begin(), items.end(),
              [](const auto* a, const auto* b) { return a->first < b->first; });
    std::vector<Ref> refs(items.size() * 2);  // the keys, then the values
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (!addText(items[i]->first, refs[i]) ||
          !add(items[i]->second, refs[items.size() + i], depth + 1))
        return false;
    }
    return putContainer(Kind::kDictionary, std::move(refs), ref);
  }

  bool putContainer(Kind kind, std::vector<Ref> refs, Ref& ref) {
    lists_.push_back(std::move(refs));
    return put({kind, false, 0, view(lists_.back())}, ref);
  }

  struct Container {
    Ref ref;
    std::size_t depth;  // the greatest that it has been found at
  };

  std::string_view fault_;
  Entries entries_;
  std::unordered_map<const void*, Container> containers_;
  std::deque<std::vector<Ref>> lists_;  // what Entries of containers view
};

class Writer {
 public:
  // Strict readers want Refs that could number one object more, the one after the last.
  explicit Writer(const std::vector<Entry>& entries)
      : entries_(entries), refSize_(sizeOf(entries.size())) {}

  // The file whose value is the last entry.
  Data file() {
    append(kHeader);
    std::vector<std::uint64_t> offsets;
    offsets.reserve(entries_.size());
    for (const Entry& entry : entries_) {
      offsets.push_back(bytes_.size());
      write(entry);
    }
    const std::uint64_t table = bytes_.size();
    const unsigned offsetSize = sizeOf(table);  // strict readers want its own position to fit, too
    for (const std::uint64_t offset : offsets) appendNumber(offset, offsetSize);
    appendNumber(0, 6);  // unused
    appendNumber(offsetSize, 1);
    appendNumber(refSize_, 1);
    appendNumber(entries_.size(), 8);
    appendNumber(entries_.size() - 1, 8);
    appendNumber(table, 8);
    return std::move(bytes_);
  }

 private:
  void write(const Entry& entry) {
    switch (entry.kind) {
      case Kind::kNull:
        break;
      case Kind::kBoolean:
        bytes_.push_back(entry.bits != 0 ? kTrue : kFalse);
        break;
      case Kind::kInteger:
        writeInteger(entry.isNegative, entry.bits);
        break;
      case Kind::kReal:
      case Kind::kDate:
        bytes_.push_back(entry.kind == Kind::kReal ? kReal : kDate);
        appendNumber(entry.bits, 8);
        break;
      case Kind::kText:
        writeText(entry.content);
        break;
      case Kind::kData:
        beginCounted(kData, entry.content.size());
        append(entry.content);
        break;
      case Kind::kArray:
      case Kind::kDictionary:
        writeContainer(entry);
        break;
    }
  }

  // 1, 2 and 4 bytes are unsigned, 8 and 16 are signed.
  void writeInteger(bool isNegative, std::uint64_t bits) {
    constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (!isNegative && bits > kLargest) {
      bytes_.push_back(kInteger | 4U);
      appendNumber(0, 8);
      appendNumber(bits, 8);
      return;
    }
    const unsigned size = isNegative ? 8 : sizeOf(bits);
    bytes_.push_back(
        static_cast<std::uint8_t>(kInteger | static_cast<unsigned>(std::countr_zero(size))));
    appendNumber(bits, size);
  }

  void writeText(std::string_view text) {
    if (isAscii(text)) {
      beginCounted(kAsciiText, text.size());
      return append(text);
    }
    const std::u16string units = toUtf16(text);
    beginCounted(kUtf16Text, units.size());
    for (const char16_t unit : units) appendNumber(unit, 2);
  }

  void writeContainer(const Entry& entry) {
    const std::size_t count = entry.content.size() / sizeof(Ref);
    if (entry.kind == Kind::kArray) beginCounted(kArray, count);
    if (entry.kind == Kind::kDictionary) beginCounted(kDictionary, count / 2);
    for (std::size_t i = 0; i < count; ++i) {
      Ref ref = 0;
      entry.content.copy(reinterpret_cast<char*>(&ref), sizeof ref, i * sizeof ref);
      appendNumber(ref, refSize_);
    }
  }

  void beginCounted(std::uint8_t type, std::size_t count) {
    if (count < kCountFollows) {
      bytes_.push_back(static_cast<std::uint8_t>(type | count));
    } else {
      bytes_.push_back(type | kCountFollows);
      writeInteger(false, count);
    }
  }

  // Of `size` bytes, the most significant first.
  void appendNumber(std::uint64_t number, unsigned size) {
    while (size > 0) bytes_.push_back(static_cast<std::uint8_t>(number >> (8U * --size)));
  }

  void append(std::string_view bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }

  const std::vector<Entry>& entries_;
  unsigned refSize_;
  Data bytes_;
};

}  // namespace

Result<Data> binaryPropertyList(const Object& value) {
  Numbering numbering;
  Ref top = 0;
  if (!numbering.add(value, top)) return Error::because(numbering.fault());
  return Writer(numbering.entries()).file();
}

}  // namespace brisvane::host
