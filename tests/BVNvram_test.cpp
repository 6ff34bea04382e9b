#include "brisvane/platform/BVNvram.h"

#include <gmock/gmock.h>

#include <array>
#include <cerrno>
#include <thread>
#include <tuple>
#include <utility>

#include "brisvane/host/formats/json.h"
#include "brisvane/host/machine/node_registry.h"
#include "brisvane/host/platform.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "brisvane/platform/BVSystemInfo.h"
#include "tests/support/own_process.h"

namespace brisvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Value = std::optional<Object>;
static_assert(host::Registry::kOptionsPath == "HwDeviceTree:/options");

// Gives one value for every name and one result for every write, and records what it is asked.
class RecordingNode final : public host::RegistryNode {
 public:
  bool exists() const override {
    if (isThere) calls.emplace_back("open");
    return isThere;
  }
  Value property(std::string_view name) const override {
    calls.push_back("read " + std::string(name));
    return value;
  }
  Result<> setProperty(std::string_view name, std::string_view text) const override {
    calls.push_back("write " + std::string(name) + "=" + std::string(text));
    return name == "HwNVRAM-FORCESYNCNOW-PROPERTY" ? commitResult : result;
  }
  std::vector<std::string> propertyNames() const override { return {}; }
  Result<std::string> origin(std::string_view /*name*/) const override { return std::string(); }

  mutable std::vector<std::string> calls;
  bool isThere = true;
  Value value;
  Result<> result;
  Result<> commitResult;
};

// The eight operations of one way to name a variable. The first three take the guards, and
// what to give for nothing.
struct Form {
  using Guarded = Value(Text, bool, bool, const Value&);
  std::string prefix;
  Guarded *dataElse, *dictionaryElse, *stringElse;
  Value (*data)(Text);
  std::optional<Dictionary> (*dictionary)(Text);
  std::optional<std::string> (*string)(Text);
  std::int32_t (*write)(Text, Text);
  std::int32_t (*remove)(Text);
  [[nodiscard]] auto reads() const { return std::array{dataElse, dictionaryElse, stringElse}; }
};

using N = BVNvram;
const Form kForms[] = {
    {"", N::dataFromVariable, N::dictionaryFromVariable, N::stringFromVariable, N::dataFromVariable,
     N::dictionaryFromVariable, N::stringFromVariable, N::writeStringVariable, N::deleteVariable},
    {"EDA7697C-EB6C-4553-A921-C131036FC939:", N::systemGUID_dataFromVariable,
     N::systemGUID_dictionaryFromVariable, N::systemGUID_stringFromVariable,
     N::systemGUID_dataFromVariable, N::systemGUID_dictionaryFromVariable,
     N::systemGUID_stringFromVariable, N::writeSystemGUID_StringVariable,
     N::deleteSystemGUIDVariable},
    {"A5D42023-9BB9-4366-8741-A4A0161FDEDE:", N::larderGUID_dataFromVariable,
     N::larderGUID_dictionaryFromVariable, N::larderGUID_stringFromVariable,
     N::larderGUID_dataFromVariable, N::larderGUID_dictionaryFromVariable,
     N::larderGUID_stringFromVariable, N::writeLarderGUID_StringVariable,
     N::deleteLarderGUIDVariable}};

Object bytes(std::string_view text) { return Data(text.begin(), text.end()); }

bool same(const Value& left, const Value& right) { return left && right && left->same(*right); }

class BVNvramTest : public ::testing::Test {
 protected:
  BVNvramTest() {
    host::NodeRegistry::Nodes nodes;
    nodes.root = root;
    nodes.options = store;
    registry = std::make_shared<host::NodeRegistry>(nodes);
    auto platform = std::make_shared<host::Platform>();
    platform->setRegistry(registry);
    installed = std::make_unique<host::ScopedPlatform>(platform);
  }

  // What has reached the store since the last time, by operations that have let go of it.
  std::vector<std::string> calls() {
    EXPECT_EQ(registry->openHandles(), 0U);
    return std::exchange(store->calls, {});
  }

  const std::shared_ptr<RecordingNode> root = std::make_shared<RecordingNode>();
  const std::shared_ptr<RecordingNode> store = std::make_shared<RecordingNode>();
  std::shared_ptr<host::NodeRegistry> registry;
  std::unique_ptr<host::ScopedPlatform> installed;
  const Object notFound = "not found";
};

TEST_F(BVNvramTest, EveryOperationOpensTheNodeForOneFullNameAndReleasesIt) {
  store->value = bytes("{}");
  const char* const name = "demo:Var\u00E4";
  for (const Form& form : kForms) {
    const auto isRead = ElementsAre("open", "read " + form.prefix + name);
    for (const auto read : form.reads()) {
      EXPECT_TRUE(read(name, false, false, std::nullopt));
      EXPECT_THAT(calls(), isRead);
    }
    EXPECT_TRUE(same(form.data(name), store->value));
    EXPECT_THAT(calls(), isRead);
    EXPECT_EQ(form.dictionary(name), Dictionary());
    EXPECT_THAT(calls(), isRead);
    EXPECT_EQ(form.string(name), "{}");
    EXPECT_THAT(calls(), isRead);
    EXPECT_EQ(form.write(name, "a=b"), 0);
    EXPECT_THAT(calls(), ElementsAre("open", "write " + form.prefix + name + "=a=b"));
    EXPECT_EQ(form.remove(name), 0);
    EXPECT_THAT(calls(),
                ElementsAre("open", "write HwNVRAM-DELETE-PROPERTY=" + form.prefix + name, "open",
                            "write HwNVRAM-FORCESYNCNOW-PROPERTY=HwNVRAM-FORCESYNCNOW-PROPERTY"));
  }
}

TEST_F(BVNvramTest, WriteAndDeleteGiveTheStoresStatusAndOnlyADoneDeleteIsCommitted) {
  store->commitResult = Error(EIO);
  EXPECT_EQ(N::deleteVariable("x"), 0);
  EXPECT_EQ(calls().size(), 4U);
  for (const std::int32_t status : {EACCES, INT32_MIN}) {
    store->result = Error(status);
    EXPECT_EQ(N::writeStringVariable("x", ""), status);
    EXPECT_THAT(calls(), ElementsAre("open", "write x="));
    EXPECT_EQ(N::deleteVariable("x"), status);
    EXPECT_THAT(calls(), ElementsAre("open", "write HwNVRAM-DELETE-PROPERTY=x"));
  }
  EXPECT_EQ(N::statusText(EACCES), "Permission denied");
  EXPECT_EQ(N::statusText(N::kNoStore), "the machine has no variable store");
  store->result = Error::because("the firmware does not answer");  // no errno value, and no success
  EXPECT_EQ(N::writeStringVariable("x", ""), EIO);
  EXPECT_EQ(calls().size(), 2U);
  store->isThere = false;
  for (const Form& form : kForms) {
    EXPECT_EQ(form.write("x", "1"), -1);
    EXPECT_EQ(form.remove("x"), -1);
  }
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(BVNvramTest, WhatIsNotThereGivesTheVeryObjectThatWasPassed) {
  const Object json = bytes(R"({"a": 1})");
  for (const bool isThere : {false, true}) {
    store->isThere = isThere;
    for (const Form& form : kForms) {
      for (const auto read : form.reads()) {
        for (const Object& other : {json, bytes("\xFF"), notFound, Object(1), Object()}) {
          EXPECT_TRUE(same(read("x", false, false, other), other));
        }
        EXPECT_EQ(read("x", false, false, std::nullopt), std::nullopt);
      }
      EXPECT_FALSE(form.data("x") || form.dictionary("x") || form.string("x"));
    }
  }
  // Identity, not content, tells that nothing was found.
  store->value = bytes(R"({"a": 1})");
  EXPECT_TRUE(same(N::dataFromVariable("x", false, false, json), store->value));
  EXPECT_EQ(N::dictionaryFromVariable("x", false, false, json), Object(Dictionary{{"a", 1}}));
  EXPECT_EQ(N::stringFromVariable("x", false, false, json), Object(R"({"a": 1})"));
  store->value = json;
  for (const auto read : kForms[0].reads()) EXPECT_TRUE(same(read("x", false, false, json), json));
}

TEST_F(BVNvramTest, EachViewTakesItsOwnKindsOfValues) {
  const Value none;
  const std::string json = R"( {"a": [1, null], "b": {}} )";
  // The value, and its dictionary and text.
  const std::tuple<Object, Value, Value> cases[] = {
      {bytes(json), Dictionary{{"a", Array{1, nullptr}}, {"b", Dictionary{}}}, json},
      {bytes(std::string_view("abc\0", 4)), notFound, std::string("abc\0", 4)},
      {bytes("\uFEFF\u00E4"), notFound, "\uFEFF\u00E4"},
      {bytes(""), notFound, ""},
      {bytes("\xFF\xFE"), notFound, none},  // absent, whatever was passed
      {bytes("{\"a\": \"\xC3\"}"), notFound, none},
      {json, notFound, json},
      {5, notFound, notFound},
      {true, notFound, notFound},
      {Object(), notFound, notFound},
      {Dictionary{{"a", 1}}, notFound, notFound}};
  for (const auto& [value, dictionary, string] : cases) {
    SCOPED_TRACE(host::jsonText(value).value_or(""));
    store->value = value;
    EXPECT_TRUE(same(N::dataFromVariable("x", false, false, notFound), value));
    EXPECT_TRUE(same(N::dataFromVariable("x"), value));
    EXPECT_EQ(N::dictionaryFromVariable("x", false, false, notFound), dictionary);
    EXPECT_EQ(N::dictionaryFromVariable("x"), dictionary->dictionary());
    const Value text = N::stringFromVariable("x", false, false, notFound);
    EXPECT_EQ(text, string);
    EXPECT_EQ(same(text, value), value.ifText() != nullptr) << "a text is given as it is";
    EXPECT_EQ(N::stringFromVariable("x"),
              string == notFound ? std::nullopt : string.value_or(Object()).text());
  }
}

TEST_F(BVNvramTest, DictionaryIsAJsonObjectAndNothingLess) {
  using namespace std::string_literals;
  const auto nested = [](std::size_t depth) {
    return "{\"a\":" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
  };
  for (const std::string& other :
       {"[{}]"s, "5"s, "\"a\""s, "null"s, " "s, "{}\0"s, "\uFEFF{}"s, "{\"a\": 1e999}"s,
        "{\"a\": 1,}"s, "{a: 1}"s, "{} {}"s, nested(host::kJsonDepthLimit + 1),
        "{\"a\":" + std::string(100'000, '[')}) {
    store->value = bytes(other);
    EXPECT_TRUE(same(N::dictionaryFromVariable("x", false, false, notFound), notFound))
        << other.substr(0, 20);
    EXPECT_EQ(N::dictionaryFromVariable("x"), std::nullopt) << other.substr(0, 20);
  }
  store->value = bytes(R"({"a": 1, "b": 18446744073709551615, "a": 2})");
  EXPECT_EQ(N::dictionaryFromVariable("x"), (Dictionary{{"a", 2}, {"b", UINT64_MAX}}));
  store->value = bytes(nested(host::kJsonDepthLimit));
  EXPECT_TRUE(N::dictionaryFromVariable("x"));
}

TEST_F(BVNvramTest, GuardsRefuseOnlyWhatTheyAreAskedToAndTheStoreIsThenNotReached) {
  store->value = bytes("{}");
  BVSystemInfo& info = BVSystemInfo::shared();
  calls();
  for (unsigned bits = 0; bits < 16; ++bits) {
    const bool requireFused = bits & 1U;
    const bool requireInternal = bits & 2U;
    info.setIsProductionFused(bits & 4U);
    info.setIsInternaOS(bits & 8U);
    const bool isRefused =
        (requireFused && info.isProductionFused()) || (requireInternal && !info.isInternaOS());
    for (const Form& form : kForms) {
      for (const auto read : form.reads()) {
        EXPECT_EQ(same(read("x", requireFused, requireInternal, notFound), notFound), isRefused)
            << bits;
        EXPECT_EQ(calls().size(), isRefused ? 0U : 2U) << bits;
      }
      EXPECT_TRUE(form.data("x") && form.dictionary("x") && form.string("x")) << bits;
      EXPECT_EQ(calls().size(), 6U);
    }
  }
}

TEST_F(BVNvramTest, MachineIsGatheredForTheFirstGuardAndNotBefore) {
  testing::inProcessOfItsOwn([this] {
    for (const Form& form : kForms) {
      for (const auto read : form.reads()) EXPECT_FALSE(read("x", false, false, std::nullopt));
      EXPECT_FALSE(form.data("x") || form.dictionary("x") || form.string("x"));
      EXPECT_EQ(form.write("x", "1") + form.remove("x"), 0);
    }
    calls();
    EXPECT_THAT(root->calls, IsEmpty());
    store->value = "there";
    EXPECT_TRUE(same(N::dataFromVariable("x", false, true, notFound), notFound));
    EXPECT_FALSE(std::exchange(root->calls, {}).empty());
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_TRUE(same(N::dataFromVariable("x", true, false, notFound), store->value));
    EXPECT_THAT(root->calls, IsEmpty());
  });
}

TEST(BVNvram, VariablesOfASimulatedMachineComeBackAsManyThreadsWriteThem) {
  const auto machine = host::simulated::Machine::fromJson(R"({"firmware": {}})").value();
  const host::ScopedPlatform installed(machine->platform());
  std::vector<std::jthread> threads;
  for (const char* const name : {"one", "two", "three", "four"}) {
    threads.emplace_back([name] {
      for (int round = 0; round < 50; ++round) {
        const std::string value = "{\"" + std::string(name) + "\": " + std::to_string(round) + "}";
        EXPECT_EQ(N::writeSystemGUID_StringVariable(name, value), 0);
        EXPECT_EQ(N::stringFromVariable(kForms[1].prefix + name), value);
        EXPECT_EQ(N::systemGUID_dictionaryFromVariable(name), (Dictionary{{name, round}}));
        EXPECT_EQ(N::larderGUID_dataFromVariable(name), std::nullopt);
        EXPECT_EQ(N::deleteSystemGUIDVariable(name), 0);
        EXPECT_EQ(N::systemGUID_dataFromVariable(name), std::nullopt);
        EXPECT_EQ(N::deleteSystemGUIDVariable(name), ENOENT);
      }
    });
  }
  threads.clear();
  EXPECT_EQ(dynamic_cast<const host::NodeRegistry&>(machine->platform()->registry()).openHandles(),
            0U);
}

}  // namespace
}  // namespace brisvane
