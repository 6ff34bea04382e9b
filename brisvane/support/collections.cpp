#include "brisvane/support/collections.h"

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "brisvane/support/Brisvane.h"

namespace brisvane {

Object Brisvane::objectOrNull(const std::optional<Object>& object) noexcept {
  return object.value_or(Object());
}

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
  explicit Level(const Dictionary& from) : source(&from), next(from.begin()) {}

  const Dictionary* source;
  Dictionary::const_iterator next;
  Dictionary result;
};

}  // namespace

Dictionary BV::removeNullFromDictionary(const Dictionary& dictionary) {
  // One that stands in several places is walked once, and its result stands in all of them.
  std::unordered_map<const Dictionary*, Object> finished;
  std::vector<Level> levels;
  levels.emplace_back(dictionary);
  for (;;) {
    Level& level = levels.back();
    if (level.next == level.source->end()) {
      if (levels.size() == 1) return std::move(level.result);
      finished.emplace(level.source, std::move(level.result));
      levels.pop_back();  // the level above stands at the entry that holds it, and looks again
      continue;
    }
    const auto& [key, value] = *level.next;
    if (const Dictionary* const nested = value.ifDictionary()) {
      const auto found = finished.find(nested);
      if (found == finished.end()) {
        levels.emplace_back(*nested);
        continue;
      }
      level.result.emplace(key, found->second);
    } else if (!value.isNull()) {
      level.result.emplace(key, value);
    }
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
