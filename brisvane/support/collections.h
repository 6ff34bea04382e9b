// Helpers on arrays and dictionaries: mapping, null stripping, first-present lookup.
// The functions keep no state and may be called from any thread, as long as no other
// thread changes their receiver meanwhile. They may throw std::bad_alloc, as the
// containers do that they give.
#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <optional>

#include "brisvane/types/export.h"
#include "brisvane/types/object.h"

namespace brisvane {

namespace Map {

// Receives an element, its index from 0, and a flag that it may set to end the walk.
// nullopt stands for "nothing to give".
using Block = std::function<std::optional<Object>(const Object& element, std::size_t index, bool& stop)>;

// What the block gives for each element, in order; the null marker where it gives
// nothing. When the block sets the stop flag, its result is the last. The block runs
// on the calling thread; what it throws passes through. REQUIRES: the block is callable.
[[nodiscard]] BRISVANE_EXPORT Array mapObjectsUsingBlock(const Array& array, const Block& block);

}  // namespace Map

namespace BV {

// The dictionary without its null markers, and each nested dictionary, to any depth,
// without its own; one that ends up empty stays as an empty dictionary. Arrays are
// not entered. Every other value is shared with the receiver, not copied. A dictionary that
// stands in several places is stripped once, and the result stands in each of them.
[[nodiscard]] BRISVANE_EXPORT Dictionary removeNullFromDictionary(const Dictionary& dictionary);

// The value of the first of `keys` that the dictionary holds, a null marker included;
// nullopt when it holds none. A key that is no text is held by no dictionary.
[[nodiscard]] BRISVANE_EXPORT std::optional<Object> valueForAnyKeys(const Dictionary& dictionary, const Array& keys);

}  // namespace BV

// The same lookup on any map that has key_type, mapped_type and find: a copy of the value
// of the first of `keys` that it holds, else nullopt. One lookup a key, none after the
// first hit.
//
//   std::map<int, std::string> names = {{1, "one"}, {2, "two"}};
//   valueForAnyKeys(names, {3, 2, 1});  // "two"
template <typename AnyMap, typename Keys = std::initializer_list<typename AnyMap::key_type>>
requires requires(const AnyMap& map, const Keys& keys) { map.find(*std::begin(keys)); }
[[nodiscard]] std::optional<typename AnyMap::mapped_type> valueForAnyKeys(const AnyMap& map, const Keys& keys) {
  for (const auto& key : keys) {
    const auto found = map.find(key);
    if (found != map.end()) return found->second;
  }
  return std::nullopt;
}

// And on a Dictionary with keys of any kind.
[[nodiscard]] inline std::optional<Object> valueForAnyKeys(const Dictionary& dictionary, const Array& keys) {
  return BV::valueForAnyKeys(dictionary, keys);
}

}  // namespace brisvane
