#include "brisvane/support/collections.h"

#include <gmock/gmock.h>

#include <map>
#include <stdexcept>
#include <unordered_map>

#include "brisvane/support/Brisvane.h"

namespace brisvane {
namespace {

TEST(Collections, MappingGivesOneResultForEachElementVisited) {
  const Array letters{"a", "b", "c"};
  const Array numbered = Map::mapObjectsUsingBlock(letters, [](const Object& element, std::size_t index, bool&) {
    return index == 1 ? std::nullopt : std::optional<Object>(*element.ifText() + std::to_string(index));
  });
  EXPECT_EQ(Object(numbered), Object(Array{"a0", nullptr, "c2"}));

  const Array stopped = Map::mapObjectsUsingBlock(letters, [](const Object& element, std::size_t index, bool& stop) {
    EXPECT_FALSE(stop);
    stop = index == 1;
    return std::optional(element);
  });
  ASSERT_EQ(stopped.size(), 2U);
  EXPECT_TRUE(stopped[1].same(letters[1]));

  EXPECT_TRUE(Map::mapObjectsUsingBlock({}, [](const Object&, std::size_t, bool&) -> std::optional<Object> {
                throw std::logic_error("nothing to visit");
              }).empty());
  EXPECT_THROW(
      static_cast<void>(Map::mapObjectsUsingBlock(letters,
                                                  [](const Object&, std::size_t, bool&) -> std::optional<Object> {
                                                    throw std::runtime_error("from the block");
                                                  })),
      std::runtime_error);
}

TEST(Collections, NullMarkersGoFromEveryDictionaryAndFromNothingElse) {
  const Object list(Array{nullptr, Dictionary{{"inside", nullptr}}});
  const Dictionary before{{"null", nullptr},
                          {"list", list},
                          {"text", "t"},
                          {"nested", Dictionary{{"null", nullptr}, {"kept", Dictionary{{"null", nullptr}}}}}};
  const Object copy(before);
  const Dictionary after = BV::removeNullFromDictionary(before);
  EXPECT_EQ(Object(after),
            Object(Dictionary{{"list", list}, {"text", "t"}, {"nested", Dictionary{{"kept", Dictionary{}}}}}));
  EXPECT_TRUE(after.at("list").same(list));
  EXPECT_TRUE(after.at("text").same(before.at("text")));
  EXPECT_EQ(Object(before), copy);

  constexpr int kDepth = 200'000;
  Dictionary deep{{"null", nullptr}};
  for (int i = 0; i < kDepth; ++i) {
    Dictionary above{{"null", nullptr}};
    above.emplace("below", std::move(deep));
    deep = std::move(above);
  }
  const Object stripped(BV::removeNullFromDictionary(deep));
  int depth = 0;
  const Dictionary* level = stripped.ifDictionary();
  for (; !level->empty(); level = level->at("below").ifDictionary()) {
    ASSERT_EQ(level->size(), 1U);
    ++depth;
  }
  EXPECT_EQ(depth, kDepth);
}

TEST(Collections, TheFirstKeyThatIsHeldDecides) {
  const Dictionary dictionary{{"null", nullptr}, {"one", 1}, {"two", 2}};
  const std::optional<Object> null{Object()};
  EXPECT_EQ(BV::valueForAnyKeys(dictionary, {"absent", "two", "one"}), Object(2));
  EXPECT_EQ(BV::valueForAnyKeys(dictionary, {"null", "one"}), null);
  EXPECT_EQ(BV::valueForAnyKeys(dictionary, {nullptr, 1, Data{'o', 'n', 'e'}, "one"}), Object(1));
  EXPECT_EQ(BV::valueForAnyKeys(dictionary, {"x"}), std::nullopt);
  EXPECT_EQ(BV::valueForAnyKeys(dictionary, {}), std::nullopt);

  EXPECT_EQ(valueForAnyKeys(dictionary, {"absent", "null"}), null);
  EXPECT_EQ(valueForAnyKeys(dictionary, {"x"}), std::nullopt);
  EXPECT_EQ(valueForAnyKeys(dictionary, {}), std::nullopt);
  const std::map<int, std::string> names{{1, "one"}, {2, "two"}};
  EXPECT_EQ(valueForAnyKeys(names, {3, 2, 1}), "two");
  EXPECT_EQ(valueForAnyKeys(names, std::vector<int>{4, 3}), std::nullopt);
  const std::unordered_map<std::string, bool> flags{{"off", false}};
  EXPECT_EQ(valueForAnyKeys(flags, {"on", "off"}), false);
}

TEST(Collections, AMissingObjectIsStoredAsTheNullMarkerAndAPresentOneAsItself) {
  const Object object(Array{1});
  EXPECT_TRUE(Brisvane::objectOrNull(object).same(object));
  EXPECT_TRUE(Brisvane::objectOrNull(std::nullopt).isNull());
}

}  // namespace
}  // namespace brisvane
