#include "brisvane/types/object.h"

#include <gmock/gmock.h>

#include <barrier>
#include <limits>
#include <memory>
#include <optional>
#include <thread>
#include <type_traits>
#include <vector>

namespace brisvane {
namespace {

// What would quietly become true, or a number, or hide that something is absent.
static_assert(!std::is_constructible_v<Object, int*>);
static_assert(!std::is_constructible_v<Object, const void*>);
static_assert(!std::is_constructible_v<Object, std::shared_ptr<int>>);
static_assert(!std::is_constructible_v<Object, char>);
static_assert(!std::is_constructible_v<Object, std::optional<bool>>);
static_assert(!std::is_constructible_v<Object, std::optional<Object>>);

TEST(Object, IsTheSameAsItsCopiesAndEqualToWhateverHoldsTheSameContent) {
  const Object made(Array{"a", Dictionary{{"k", 1}}});
  const Object copy = made;
  const Object twin(Array{"a", Dictionary{{"k", 1U}}});
  EXPECT_TRUE(copy.same(made));
  EXPECT_FALSE(twin.same(made));
  EXPECT_EQ(twin, made);

  // Each of these differs from every other, however alike they look.
  const std::vector<Object> distinct = {nullptr,
                                        true,
                                        false,
                                        0,
                                        1,
                                        -1,
                                        0.0,
                                        1.0,
                                        "",
                                        "1",
                                        "true",
                                        Data{},
                                        Data{'1'},
                                        Date(),
                                        Array{},
                                        Array{nullptr},
                                        Array{1, 2},
                                        Array{2, 1},
                                        Dictionary{},
                                        Dictionary{{"a", 1}},
                                        Dictionary{{"b", 1}},
                                        Dictionary{{"a", nullptr}}};
  for (std::size_t i = 0; i < distinct.size(); ++i) {
    for (std::size_t j = 0; j < distinct.size(); ++j) EXPECT_EQ(distinct[i] == distinct[j], i == j) << i << ", " << j;
  }

  Object movedFrom("text");
  const Object taken = std::move(movedFrom);
  EXPECT_TRUE(movedFrom.isNull());  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(movedFrom.same(Object(static_cast<const char*>(nullptr))));
  EXPECT_EQ(taken.text(), "text");
}

TEST(Object, TellsOnlyWhatItHoldsAndOnlyWhatFits) {
  constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
  constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(Object(kMost).unsignedInteger(), kMost);
  EXPECT_EQ(Object(kMost).integer(), std::nullopt);
  EXPECT_EQ(Object(kLeast).integer(), kLeast);
  EXPECT_EQ(Object(kLeast).unsignedInteger(), std::nullopt);
  EXPECT_NE(Object(kMost), Object(-1));  // the same bits
  EXPECT_NE(Object(kLeast), Object(std::uint64_t{1} << 63U));
  EXPECT_EQ(Object(static_cast<signed char>(-1)).integer(), -1);
  EXPECT_EQ(Object(std::uint8_t{200}), Object(200LL));

  EXPECT_EQ(Object(true).integer(), std::nullopt);
  EXPECT_EQ(Object(1).boolean(), std::nullopt);
  EXPECT_EQ(Object(1).real(), std::nullopt);
  EXPECT_EQ(Object(1.0).integer(), std::nullopt);
  EXPECT_EQ(Object(Data{1, 2}).data(), (Data{1, 2}));
  EXPECT_EQ(Object("text").ifData(), nullptr);
  EXPECT_EQ(Object(std::string("a\0b", 3)).text(), std::string("a\0b", 3));

  const Dictionary dictionary{{"key", "value"}};
  EXPECT_EQ(dictionary.find(std::string_view("key?").substr(0, 3))->second, Object("value"));
}

TEST(Object, SharedContentStaysWhateverBecomesOfTheHandle) {
  Object handle(Array{1, "two"});
  const Object copy = handle;
  const Array* const content = copy.ifArray();
  handle = handle.array()->back();  // from within the value that it gives up
  EXPECT_EQ(handle, Object("two"));
  handle = *&handle;
  EXPECT_EQ(handle, Object("two"));
  EXPECT_EQ(copy.ifArray(), content);
  EXPECT_EQ(copy, Object(Array{1, "two"}));
}

TEST(Object, NestedAMillionDeepIsComparedAndReleasedWithoutOverflow) {
  constexpr int kDepth = 1'000'000;
  const auto nested = [](Object innermost) {
    for (int i = 0; i < kDepth; ++i) {
      if (i % 8 != 0) {
        Array array;
        array.push_back(std::move(innermost));
        innermost = Object(std::move(array));
      } else {
        Dictionary dictionary;
        dictionary.emplace("k", std::move(innermost));
        innermost = Object(std::move(dictionary));
      }
    }
    return innermost;
  };
  const Object one = nested(1);
  {
    const Object twin = nested(1);
    EXPECT_TRUE(one == twin);
  }
  EXPECT_FALSE(one == nested(2));
}

TEST(Object, CanBeCopiedAndReleasedByManyThreadsAtOnce) {
  constexpr std::ptrdiff_t kThreads = 4;
  constexpr int kRounds = 2000;
  std::vector<Object> shared(kThreads);
  int wrong = 0;
  // Between two rounds, with every other handle gone: the last owners race each round.
  std::barrier round(kThreads, [&]() noexcept {
    const Object value(Array{"element", Dictionary{{"key", 7}}});
    for (Object& handle : shared) handle = value;
  });
  std::barrier compared(kThreads);
  std::vector<int> failures(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t self = 0; self < kThreads; ++self) {
    threads.emplace_back([&, self] {
      for (int i = 0; i < kRounds; ++i) {
        round.arrive_and_wait();
        Object own = shared[(self + 1) % kThreads];  // while its owner may be reading it too
        compared.arrive_and_wait();
        shared[self] = nullptr;
        const Object copy = own;
        own = copy.ifArray()->back();
        if (own != Object(Dictionary{{"key", 7}})) ++failures[self];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const int count : failures) wrong += count;
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace brisvane
