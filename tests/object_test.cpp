#include "brisvane/types/object.h"

#include <gmock/gmock.h>

#include <limits>
#include <sstream>
#include <thread>
#include <type_traits>

#include "brisvane/types/result.h"

namespace brisvane {
namespace {

// What would quietly become true, or a number, or hide that something is absent.
static_assert(!std::is_constructible_v<Object, int*> &&
              !std::is_constructible_v<Object, const void*>);
// What needs no memory.
static_assert(std::is_nothrow_constructible_v<Object, bool> &&
              std::is_nothrow_constructible_v<Object, int> &&
              std::is_nothrow_constructible_v<Object, double> &&
              std::is_nothrow_constructible_v<Object, Date>);
static_assert(!std::is_constructible_v<Object, char> &&
              !std::is_constructible_v<Object, std::optional<bool>>);

TEST(Object, IsTheSameAsItsCopiesAndEqualToWhateverHoldsTheSameContent) {
  Object handle(Array{"a", Dictionary{{"k", 1}}});
  const Object copy = handle;
  const Object twin(Array{"a", Dictionary{{"k", 1U}}});
  EXPECT_TRUE(copy.same(handle));
  EXPECT_FALSE(copy.same(twin));
  EXPECT_EQ(copy, twin);
  handle = handle.ifArray()->back();  // from within the value that it gives up
  EXPECT_EQ(handle.ifDictionary()->find(std::string_view("k?").substr(0, 1))->second, Object(1));
  EXPECT_EQ(copy, twin);
  const Object taken = std::move(handle);
  EXPECT_TRUE(handle.isNull());  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(handle.same(Object(static_cast<const char*>(nullptr))));

  // Each of these differs from every other, however alike they look.
  const Array distinct{nullptr, true, false,  0,       1,      -1,      0.0,     1.0,
                       "",      "1",  Data{}, Data{1}, Date(), Array{}, Array{1}};
  for (std::size_t i = 0; i < distinct.size(); ++i) {
    for (std::size_t j = 0; j < distinct.size(); ++j)
      EXPECT_EQ(distinct[i] == distinct[j], i == j) << i << ", " << j;
  }
  EXPECT_NE(Object(Array{1, 2}), Object(Array{2, 1}));
  EXPECT_NE(Object(Dictionary{}), Object(Array{}));
  EXPECT_NE(Object(Dictionary{{"a", 1}, {"b", 2}}), Object(Dictionary{{"a", 1}, {"c", 2}}));
}

TEST(Object, TellsOnlyWhatItHoldsAndOnlyWhatFits) {
  constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
  constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(Object(kMost).unsignedInteger(), kMost);
  EXPECT_EQ(Object(kMost).integer(), std::nullopt);
  EXPECT_EQ(Object(kLeast).integer(), kLeast);
  EXPECT_EQ(Object(kLeast).unsignedInteger(), std::nullopt);
  EXPECT_NE(Object(kMost), Object(-1));  // the same bits
  EXPECT_EQ(Object(std::uint8_t{200}), Object(200LL));
  EXPECT_EQ(Object(kLeast), Object(kLeast));
  EXPECT_EQ(Object(-0.0), Object(0.0));
  EXPECT_EQ(Object(Date::min()).date(), Date::min());
  EXPECT_EQ(Object(Date::min()).description(), "1677-09-21T00:12:43.145224192Z");
  EXPECT_EQ(Object(Date::max()).description(), "2262-04-11T23:47:16.854775807Z");
  EXPECT_EQ(Object(1).date(), std::nullopt);
  EXPECT_EQ(Object(true).integer(), std::nullopt);
  EXPECT_EQ(Object(1).boolean(), std::nullopt);
  EXPECT_EQ(Object(1.0).integer(), std::nullopt);
  EXPECT_EQ(Object("text").ifData(), nullptr);
  EXPECT_EQ(Object(std::string("a\0b", 3)).text(), std::string("a\0b", 3));
}

TEST(Object, IsWrittenInBracesAndFoundByItsPath) {
  const Object settings = {{"speed", 115200}, {"line", {{"parity", "even"}, {"none", nullptr}}}};
  EXPECT_EQ(settings, Object(Dictionary{{"speed", 115200},
                                        {"line", Dictionary{{"parity", "even"}, {"none", {}}}}}));
  const Dictionary machine{{"devices", Array{{{"name", "a"}}, {{"name", "b"}}}}};
  EXPECT_EQ(valueAt(machine, "devices", 1, "name"), Object("b"));
  EXPECT_EQ(settings.at("line", std::string("none")), Object());
  EXPECT_TRUE(settings.at().value().same(settings));
  // No such place: a key or an index too far, of another kind, in something that has no places.
  const Object devices = machine.at("devices");
  for (const auto& nothing :
       {devices.at(2), devices.at(-1), devices.at("0"), devices.at(0, 0), devices.at(0, "name", 0),
        settings.at("spee"), settings.at(0), settings.at("line", "parity", "even"),
        valueAt(Array{1}, 1), valueAt(machine, 0)})
    EXPECT_EQ(nothing, std::nullopt);
  static_assert(!std::is_constructible_v<Object, int, int>);
}

TEST(Object, ShowsWhatItHoldsToAPerson) {
  using std::chrono::milliseconds;
  const Object value = Dictionary{
      {"b", Array{nullptr, true, -1, ~std::uint64_t{0}, 1.0, 0.1, 1e300, -0.0}},
      {"a", Data{1, 2, 3, 4, 255}},
      {"\"", "tab\t\x1B[1m\xFF \u00E9\u202E"},
      {"c", Array{Date(milliseconds(-1)), Date(std::chrono::hours(24)), Array{}, Dictionary{}}}};
  const std::string shown =
      R"({"\"": "tab\t\u{1B}[1m\xFF é\u{202E}", "a": <5 bytes: 01020304 FF>, )"
      R"("b": [null, true, -1, 18446744073709551615, 1.0, 0.1, 1e+300, -0.0], )"
      R"("c": [1969-12-31T23:59:59.999Z, 1970-01-02T00:00:00Z, [], {}]})";
  EXPECT_EQ(value.description(), shown);
  EXPECT_EQ(::testing::PrintToString(value), shown);
  EXPECT_EQ(::testing::PrintToString(Object(std::numeric_limits<double>::infinity())), "inf");
  std::ostringstream stream;
  stream << *value.ifDictionary() << Array{1} << Data{16} << Error(ENOENT, "here")
         << Result<Data>(Data{1}) << Result<>(Error(EIO)) << Result<>()
         << Result<Object>(Object(2));
  EXPECT_EQ(stream.str(), shown +
                              "[1]1 byte: 10here: No such file or directoryok: 1 byte: 01"
                              "failed: Input/output errorokok: 2");
}

TEST(Object, ShowsNoMoreThanAPersonReads) {
  Object deep;
  Object wide("x");
  for (int level = 0; level < 100; ++level) {
    deep = Object(Array{deep});
    wide = Object(Array{wide, wide});  // 2^100 texts
  }
  const std::string brackets(Object::kDeepestDescription + 1, '[');
  EXPECT_TRUE(deep.description().starts_with(brackets + "...]")) << deep;
  EXPECT_LT(wide.description().size(), Object::kLongestDescription + 1'000);
  for (const Object& large : {Object(std::string(1'000'000, 'x')), Object(Data(1'000'000)),
                              Object(Array(1'000'000, Object(1)))}) {
    const std::string shown = large.description();
    EXPECT_LT(shown.size(), 2 * Object::kLongestDescription);
    EXPECT_NE(shown.find("..."), std::string::npos);
  }
}

TEST(Object, OfANumberHasAnIdentityThatNoOtherConstructionHas) {
  for (const Object& value : {Object(true), Object(7), Object(0.5), Object(Date())}) {
    const Object copy = value;
    Object assigned;
    assigned = copy;
    EXPECT_TRUE(assigned.same(value));
    const Object taken = std::move(assigned);
    EXPECT_TRUE(taken.same(value));
    EXPECT_TRUE(assigned.isNull());  // NOLINT(bugprone-use-after-move)
    EXPECT_TRUE(assigned.same(Object()));
  }
  // Enough for a thread to need more identities than it draws at once.
  constexpr std::size_t kEach = 1500;
  std::vector<Array> made(2);
  {
    std::vector<std::jthread> threads;
    for (Array& mine : made) {
      threads.emplace_back([&mine] {
        for (std::size_t i = 0; i < kEach; ++i) mine.emplace_back(7);
      });
    }
  }
  Array all = made[0];
  all.insert(all.end(), made[1].begin(), made[1].end());
  std::size_t pairsOfOneIdentity = 0;
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) pairsOfOneIdentity += all[i].same(all[j]) ? 1 : 0;
  }
  EXPECT_EQ(pairsOfOneIdentity, 0U);
  EXPECT_EQ(made[0], made[1]);
}

TEST(Object, NestedAMillionDeepIsComparedAndReleasedWithoutOverflow) {
  const auto nested = [](Object innermost) {
    for (int i = 0; i < 1'000'000; ++i) {
      innermost = i % 32 == 0 ? Object(Dictionary{{"k", innermost}}) : Object(Array{innermost});
    }
    return innermost;
  };
  const Object one = nested(1);
  EXPECT_TRUE(one == nested(1));
  EXPECT_FALSE(one == nested(2));
}

TEST(Object, SharedWithinItselfIsComparedInAsManyStepsAsItHasValues) {
  // Each is 2^200 values to whoever follows every way through it.
  const auto doubled = [](Object innermost, bool asArray) {
    for (int i = 0; i < 200; ++i) {
      innermost = asArray ? Object(Array{innermost, innermost})
                          : Object(Dictionary{{"a", innermost}, {"b", innermost}});
    }
    return innermost;
  };
  for (const bool asArray : {false, true}) {
    EXPECT_TRUE(doubled(1, asArray) == doubled(1, asArray));
    EXPECT_FALSE(doubled(1, asArray) == doubled(2, asArray));
  }
  // A long text that many handles share is compared once.
  const Object left(std::string(8 << 20, 'x'));
  const Object right(std::string(8 << 20, 'x'));
  EXPECT_TRUE(Object(Array(1'000'000, left)) == Object(Array(1'000'000, right)));
  // What is equal to one and the same thing is equal, but for what differs elsewhere.
  const Object one(Array{1});
  EXPECT_FALSE(Object(Array{one, one, one}) == Object(Array{Array{1}, Array{1}, Array{2}}));
  const Object nan(std::numeric_limits<double>::quiet_NaN());
  EXPECT_TRUE(Object(Array{nan}) == Object(Array{nan}));
  EXPECT_FALSE(Object(Array{nan, nan}) ==
               Object(Array{nan, std::numeric_limits<double>::quiet_NaN()}));
}

TEST(Object, CanBeCopiedAndReleasedByManyThreadsAtOnce) {
  std::vector<std::jthread> threads;
  for (int round = 0; round < 200; ++round) {
    Object value(Array{Dictionary{{"key", round}}});
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([value, round] {
        for (int i = 0; i < 50; ++i) {
          Object copy = value;
          copy = copy.ifArray()->front();
          EXPECT_EQ(copy, Object(Dictionary{{"key", round}}));
        }
      });
    }
    value = nullptr;  // whichever thread ends last releases it
    if (round % 4 == 3) threads.clear();
  }
}

}  // namespace
}  // namespace brisvane
