#include "brisvane/support/collections.h"

#include <string>
#include <utility>
#include <vector>

namespace brisvane {

Array Map::mapObjectsUsingBlock(const Array& array, const Block& block) {
  Array results;
  results.reserve(array.size());
  bool stop = false;
  for (std::size_t i = 0; i < array.size() && !stop; ++i) {
    results.push_back(block(array[i], i, stop).value_or(Object()));
  }
  return results;
}

namespace {

// One dictionary on the way down: where its walk stands and what it has given so far.
// A stack of these stands for recursion, which deep input could overflow.
struct Level {
  explicit Level(const Dictionary& from) : next(from.begin()), end(from.end()) {}

  Dictionary::const_iterator next;
  Dictionary::const_iterator end;
  Dictionary result;
};

}  // namespace

Dictionary BV::removeNullFromDictionary(const Dictionary& dictionary) {
  std::vector<Level> levels;
  levels.emplace_back(dictionary);
  for (;;) {
    Level& level = levels.back();
    if (level.next == level.end) {
      Dictionary finished = std::move(level.result);
      levels.pop_back();
      if (levels.empty()) return finished;
      // The level above stands at the entry that holds the finished one.
      Level& above = levels.back();
      above.result.emplace(above.next->first, std::move(finished));
      ++above.next;
      continue;
    }
    const Object& value = level.next->second;
    if (const Dictionary* nested = value.ifDictionary()) {
      levels.emplace_back(*nested);
      continue;
    }
    if (!value.isNull()) level.result.emplace(level.next->first, value);
    ++level.next;
  }
}

std::optional<Object> BV::valueForAnyKeys(const Dictionary& dictionary, const Array& keys) {
  for (const Object& key : keys) {
    const std::string* const text = key.ifText();
    if (text == nullptr) continue;
    const auto found = dictionary.find(*text);
    if (found != dictionary.end()) return found->second;
  }
  return std::nullopt;
}

}  // namespace brisvane
