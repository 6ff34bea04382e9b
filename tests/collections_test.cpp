#include "brisvane/support/collections.h"

#include <gmock/gmock.h>

#include <map>
#include <stdexcept>

#include "brisvane/support/Brisvane.h"

namespace brisvane {
namespace {

TEST(Collections, MappingGivesOneResultForEachElementVisited) {
  const Array letters{"a", "b", "c"};
  const Array numbered =
      Map::mapObjectsUsingBlock(letters, [](const Object& element, std::size_t index, bool&) {
        return index == 1 ? std::nullopt
                          : std::optional<Object>(*element.ifText() + std::to_string(index));
      });
  EXPECT_EQ(Object(numbered), Object(Array{"a0", nullptr, "c2"}));
  const Array stopped =
      Map::mapObjectsUsingBlock(letters, [](const Object& element, std::size_t index, bool& stop) {
        stop = index == 1;
        return std::optional(element);
      });
  ASSERT_EQ(stopped.size(), 2U);
  EXPECT_TRUE(stopped[1].same(letters[1]));
  const auto throwing = [](const Object&, std::size_t, bool&) -> std::optional<Object> {
    throw std::runtime_error("x");
  };
  EXPECT_TRUE(Map::mapObjectsUsingBlock({}, throwing).empty());
  EXPECT_THROW(static_cast<void>(Map::mapObjectsUsingBlock(letters, throwing)), std::runtime_error);

  EXPECT_TRUE(Brisvane::objectOrNull(letters[1]).same(letters[1]));
  EXPECT_TRUE(Brisvane::objectOrNull(std::nullopt).isNull());
}

TEST(Collections, NullMarkersGoFromEveryDictionaryAndFromNothingElse) {
  const Object list(Array{nullptr, Dictionary{{"inside", nullptr}}});
  const Dictionary before{
      {"null", nullptr},
      {"list", list},
      {"nested", Dictionary{{"null", nullptr}, {"kept", Dictionary{{"null", nullptr}}}}}};
  const Dictionary after = BV::removeNullFromDictionary(before);
  EXPECT_EQ(Object(after),
            Object(Dictionary{{"list", list}, {"nested", Dictionary{{"kept", Dictionary{}}}}}));
  EXPECT_TRUE(after.at("list").same(list));
  EXPECT_EQ(before.size(), 3U);

  // 2^200 dictionaries to whoever follows every way through it.
  Object shared(Dictionary{{"null", nullptr}, {"list", list}});
  for (int i = 0; i < 200; ++i)
    shared = Dictionary{{"a", shared}, {"null", nullptr}, {"b", shared}};
  Object below(BV::removeNullFromDictionary(*shared.ifDictionary()));
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(below.ifDictionary()->size(), 2U);
    below = below.ifDictionary()->at(i % 2 == 0 ? "a" : "b");
  }
  EXPECT_EQ(below, Object(Dictionary{{"list", list}}));

  constexpr int kDepth = 200'000;
  Dictionary deep{{"null", nullptr}};
  for (int i = 0; i < kDepth; ++i) deep = Dictionary{{"null", nullptr}, {"below", std::move(deep)}};
  const Object stripped(BV::removeNullFromDictionary(deep));
  int depth = 0;
  for (auto* level = stripped.ifDictionary(); !level->empty();
       level = level->at("below").ifDictionary()) {
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
  EXPECT_EQ(BV::valueForAnyKeys(dictionary, {nullptr, 1, Data{'t', 'w', 'o'}, "one"}), Object(1));
  EXPECT_EQ(BV::valueForAnyKeys(dictionary, {"x"}), std::nullopt);
  EXPECT_EQ(BV::valueForAnyKeys(dictionary, {}), std::nullopt);

  EXPECT_EQ(valueForAnyKeys(dictionary, {"absent", "null"}), null);
  EXPECT_EQ(valueForAnyKeys(dictionary, Array{1, "two"}), Object(2));
  EXPECT_EQ(valueForAnyKeys(dictionary, {"x"}), std::nullopt);
  EXPECT_EQ(valueForAnyKeys(dictionary, {}), std::nullopt);
  const std::map<int, std::string> names{{1, "one"}, {2, "two"}};
  EXPECT_EQ(valueForAnyKeys(names, {3, 2, 1}), "two");
  EXPECT_EQ(valueForAnyKeys(names, std::vector<int>{4, 3}), std::nullopt);
  EXPECT_EQ(valueForAnyKeys(std::unordered_map<std::string, bool>{{"off", false}}, {"on", "off"}),
            false);
}

}  // namespace
}  // namespace brisvane
