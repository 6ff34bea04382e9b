// Helpers on arrays and dictionaries: mapping, null stripping, first-present lookup.
// The functions keep no state and may be called from any thread, as long as no other
// thread changes their receiver meanwhile. They may throw std::bad_alloc.
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
// nullopt means that it has no result for the element.
using Block =
    std::function<std::optional<Object>(const Object& element, std::size_t index, bool& stop)>;

// The block's result for each element, in order; the null marker where it has none. When the
// block sets the stop flag, its result is the last. The block runs on the calling thread.
// What it throws passes through. REQUIRES: the block is callable.
[[nodiscard]] BRISVANE_EXPORT Array mapObjectsUsingBlock(const Array& array, const Block& block);

}  // namespace Map

namespace BV {

// Copies the dictionary without its null markers. Nested dictionaries, to any depth, lose
// theirs, too. One that ends up empty stays as an empty dictionary. Arrays are not entered. Every
// other value is shared with the receiver, not copied. A dictionary that stands in several places
// is stripped once, and the result stands in each of them.
[[nodiscard]] BRISVANE_EXPORT Dictionary removeNullFromDictionary(const Dictionary& dictionary);

// The value of the first of `keys` that the dictionary holds, be it the null marker; nullopt when
// it holds none of them. A key that is no text is skipped.
[[nodiscard]] BRISVANE_EXPORT std::optional<Object> valueForAnyKeys(const Dictionary& dictionary,
                                                                    const Array& keys);

}  // namespace BV

// The same lookup on any map that has key_type, mapped_type and find. The result is a copy of the
// value. Each key costs one lookup, and none follows the first hit.
//
//   std::map<int, std::string> names = {{1, "one"}, {2, "two"}};
//   valueForAnyKeys(names, {3, 2, 1});  // "two"
template <typename AnyMap, typename Keys = std::initializer_list<typename AnyMap::key_type>>
requires requires(const AnyMap& map, const Keys& keys) { map.find(*std::begin(keys)); }
[[nodiscard]] std::optional<typename AnyMap::mapped_type> valueForAnyKeys(const AnyMap& map,
                                                                          const Keys& keys) {
  for (const auto& key : keys) {
    const auto found = map.find(key);
    if (found != map.end()) return found->second;
  }
  return std::nullopt;
}

// The same lookup on a Dictionary.
[[nodiscard]] inline std::optional<Object> valueForAnyKeys(const Dictionary& dictionary,
                                                           const Array& keys) {
  return BV::valueForAnyKeys(dictionary, keys);
}

}  // namespace brisvane
