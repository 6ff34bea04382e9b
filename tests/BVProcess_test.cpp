#include "brisvane/process/BVProcess.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <limits>
#include <span>
#include <thread>

#include "brisvane/host/formats/file_url.h"
#include "brisvane/host/launching/launch_service.h"
#include "tests/support/simulated_test.h"

namespace brisvane {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Ge;
using ::testing::Lt;
using ::testing::StartsWith;

constexpr char kPath[] = "/opt/app";
constexpr char kID[] = "org.example.app";

std::string debugLine(const std::string& text) { return "debug %{public}@|" + text; }
std::string errorLine(const std::string& text) { return "error ERROR %{public}@|" + text; }
std::string notified(const std::string& text) { return debugLine("launchNotification " + text); }

// A machine with one application, which is launched as `launch` says.
class Bench : public testing::SimulatedTest {
 public:
  explicit Bench(const std::string& launch, const std::string& more = "")
      : SimulatedTest(
            R"({"applications": [{"path": "/opt/app", "identifier": "org.example.app", "launch": [)" +
            launch + "]}]" + more + "}") {}
  using SimulatedTest::logged;
  void TestBody() override {}

  static std::int64_t run(std::int32_t timeOut = 5, Text id = kID) {
    return BVProcess::runApp(kPath, {"a"}, id, timeOut);
  }
  std::vector<std::string> errors() {
    std::vector<std::string> lines;
    for (std::string& line : logged()) {
      if (line.starts_with("error")) lines.push_back(std::move(line));
    }
    return lines;
  }
};

constexpr char kAnswer[] = R"({"answer": true})";
constexpr char kUp[] = R"({"code": 258})";

// A launch service that keeps what it is asked for, and does within open() what the test says.
class OwnService final : public host::LaunchService {
 public:
  using Opened = std::function<void(const host::NotificationCallback& notify,
                                    const host::OpenCompletion& complete)>;
  explicit OwnService(Opened opened) : opened_(std::move(opened)) {}

  Result<host::SubscriptionHandle> subscribe(std::int32_t session, std::int32_t flags,
                                             const host::SerialQueue& queue,
                                             host::NotificationCallback callback) const override {
    EXPECT_NE(queue.label(), "");
    asked.push_back("subscribe " + std::to_string(session) + " " + std::to_string(flags));
    callback_ = std::move(callback);
    return host::SubscriptionHandle{7};
  }
  Result<> selectCodes(host::SubscriptionHandle subscription, std::span<const std::int32_t> codes,
                       std::int32_t first, std::int32_t second, std::int32_t third,
                       std::int32_t fourth) const override {
    asked.push_back("select " + std::to_string(subscription));
    for (const std::int32_t code : codes) asked.back() += " " + std::to_string(code);
    for (const std::int32_t more : {first, second, third, fourth})
      asked.back() += "," + std::to_string(more);
    return {};
  }
  void unsubscribe(host::SubscriptionHandle subscription) const noexcept override {
    asked.push_back("unsubscribe " + std::to_string(subscription));
  }
  Result<> registerBundle(std::string_view url, bool forceUpdate) const override {
    asked.push_back("register " + std::string(url) + (forceUpdate ? " by force" : ""));
    return Error(EPERM);
  }
  void open(std::string_view url, const host::OpenConfiguration& configuration,
            host::OpenCompletion completion) const override {
    asked.push_back("open " + std::string(url));
    for (const std::string& argument : configuration.arguments) asked.back() += " " + argument;
    opened_(callback_, completion);
  }

  mutable std::vector<std::string> asked;

 private:
  const Opened opened_;
  mutable host::NotificationCallback callback_;
};

// A machine with such a launch service. An answer that comes within open() is there before the wait
// for it begins.
class OwnBench : public Bench {
 public:
  explicit OwnBench(OwnService::Opened opened)
      : Bench(kAnswer), service(std::make_shared<OwnService>(std::move(opened))) {
    auto platform = std::make_shared<host::Platform>(*host::platform());
    platform->setLaunchService(service);
    own_ = std::make_unique<host::ScopedPlatform>(platform);
  }
  using SimulatedTest::clock;
  const std::shared_ptr<OwnService> service;

 private:
  std::unique_ptr<host::ScopedPlatform> own_;
};

// That tells one notification of an application that is up, and answers.
OwnService::Opened upWith(Dictionary data) {
  return [data = std::move(data)](const auto& notify, const auto& complete) {
    notify(host::LaunchCode::kUp, 0, &data, &data, 1, &data);
    complete(&data, {});
  };
}
void neverAnswer(const host::NotificationCallback& /*notify*/,
                 const host::OpenCompletion& /*complete*/) {}

TEST(BVProcess, AsksTheServiceForEachStepWithAllItsArguments) {
  const OwnBench bench(upWith({{"BkBundleIdentifier", kID}}));
  EXPECT_EQ(Bench::run(), 0);
  EXPECT_THAT(bench.service->asked,
              ElementsAre("subscribe -2 0", "select 7 256 272 280 262 259 258,0,0,0,0",
                          "register file:///opt/app", "open file:///opt/app a", "unsubscribe 7"));
}

TEST(BVProcess, TellsEachStepOfALaunchThatSucceeds) {
  OwnBench bench([](const auto& notify, const auto& complete) {
    const Dictionary data{{"BkBundleIdentifier", kID}};
    for (const std::int32_t code : {0x100, 0x110, 0x101})
      notify(code, 0, &data, nullptr, 0, nullptr);
    complete(nullptr, {});
    notify(0x102, 0, &data, nullptr, 0, nullptr);
  });
  EXPECT_EQ(Bench::run(), 0);
  const std::string named = notified("BkBundleIdentifier: org.example.app");
  const std::string waits = notified("doneWithApplicaion : 0");
  EXPECT_THAT(bench.logged(), ElementsAre(debugLine("using openItemWithURL"),
                                          notified("-- RQNotificationID: 100 --"), named, waits,
                                          notified("-- RQNotificationID: 110 --"), named, waits,
                                          notified("-- RQNotificationID: 101 --"), named,
                                          notified("Ignore RQNotificationID: 257"), waits,
                                          debugLine("openCompletion completionHandler called"),
                                          notified("-- RQNotificationID: 102 --"), named,
                                          notified("doneWithApplicaion : 1")));
}

TEST(BVProcess, EndsTheWaitForAFinishingCodeOfThisApplicationAlone) {
  for (const char* const code : {"258", "259", "262", "280"}) {
    Bench bench(std::string(kAnswer) + ", {\"code\": " + code + "}");
    EXPECT_EQ(Bench::run(), 0) << code;
  }
  {
    OwnBench bench(upWith({{"BkBundleIdentifier", "org.example.App"}}));
    EXPECT_EQ(Bench::run(0), 2);
    EXPECT_THAT(bench.logged(), ElementsAre(debugLine("using openItemWithURL"),
                                            notified("-- RQNotificationID: 102 --"),
                                            notified("BkBundleIdentifier: org.example.App"),
                                            debugLine("openCompletion completionHandler called"),
                                            errorLine("runApp: Process timed out")));
  }
  Bench nameless(std::string(kAnswer) + R"(, {"code": 258, "identifier": null})");
  EXPECT_EQ(Bench::run(), 0);  // a notification without data is about whatever is expected
  EXPECT_EQ(Bench::run(5, nullptr), 0);
  const OwnBench named(upWith({{"BkBundleIdentifier", kID}}));
  EXPECT_EQ(Bench::run(0, nullptr), 2);
}

TEST(BVProcess, TellsWhateverStandsForTheIdentifier) {
  const std::pair<Dictionary, const char*> cases[] = {
      {{{"BkBundleIdentifier", 42}}, "42"},
      {{{"BkBundleIdentifier", true}}, "true"},
      {{{"BkBundleIdentifier", 0.5}}, "0.5"},
      {{{"BkBundleIdentifier", Array{kID, 1}}}, R"(["org.example.app",1])"},
      {{{"BkBundleIdentifier", ""}}, ""},
      {{{"BkBundleIdentifier", nullptr}}, "null"},
      {{{"another key", kID}}, "(null)"}};
  for (const auto& [data, shown] : cases) {
    OwnBench bench(upWith(data));
    EXPECT_EQ(Bench::run(0), 2);  // about no application that is expected
    EXPECT_THAT(bench.logged(), Contains(notified(std::string("BkBundleIdentifier: ") + shown)));
  }
}

TEST(BVProcess, CountsWhatComesBeforeTheAnswer) {
  const OwnBench bench([](const auto& notify, const auto& complete) {
    notify(host::LaunchCode::kUp, 0, nullptr, nullptr, 0, nullptr);
    complete(nullptr, {});
  });
  EXPECT_EQ(Bench::run(0), 0);
}

TEST(BVProcess, TellsARefusedLaunch) {
  Bench bench(std::string(kUp) + R"(, {"answer": true, "error": "no such thing"})");
  EXPECT_EQ(Bench::run(), 3);
  EXPECT_THAT(bench.errors(), ElementsAre(errorLine("openAppURL Error: no such thing"),
                                          errorLine("runApp: Error in launching application")));
}

TEST(BVProcess, WaitsForSecondsAtEachStep) {
  using std::chrono::seconds;
  host::OpenCompletion late;
  OwnBench silent([&late](const auto& /*notify*/, const auto& complete) { late = complete; });
  silent.clock->stepBy(seconds(5));
  auto start = silent.clock->steady();
  EXPECT_EQ(Bench::run(30), 3);
  EXPECT_THAT(silent.clock->steady() - start, AllOf(Ge(seconds(30)), Lt(seconds(60))));
  EXPECT_THAT(silent.errors(), ElementsAre(errorLine("openApplicationAtURL timed out"),
                                           errorLine("runApp: Error in launching application")));
  late(nullptr, {});  // finds nobody, which is no harm
  EXPECT_THAT(silent.logged(), ElementsAre(debugLine("openCompletion completionHandler called")));

  OwnBench answered([](const auto& /*notify*/, const auto& complete) { complete(nullptr, {}); });
  answered.clock->stepBy(seconds(5));
  start = answered.clock->steady();
  EXPECT_EQ(Bench::run(30), 2);
  EXPECT_THAT(answered.clock->steady() - start, AllOf(Ge(seconds(30)), Lt(seconds(60))));
  EXPECT_THAT(answered.errors(), ElementsAre(errorLine("runApp: Process timed out")));
}

TEST(BVProcess, LaunchesNothingWithoutNotifications) {
  Bench bench(kAnswer, R"(, "launchService": {"refusesSubscriptions": true})");
  EXPECT_EQ(Bench::run(), 1);
  EXPECT_THAT(bench.logged(), ElementsAre(errorLine("runApp: Error in setup notification")));
}

TEST(BVProcess, TakesAnyTimeLimit) {
  {
    const OwnBench silent(neverAnswer);
    silent.clock->stepBy(std::chrono::nanoseconds(1));  // a wait would have no end
    for (const std::int32_t none : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
      EXPECT_EQ(Bench::run(none), 3) << none;
    }
  }
  Bench bench(R"({"answer": true, "delay": 0.1}, {"code": 258})");
  EXPECT_EQ(Bench::run(std::numeric_limits<std::int32_t>::max()), 0);
  using std::chrono::seconds;
  for (const seconds time : {seconds(30), seconds::max()}) {
    EXPECT_EQ(BVProcess::runApp(kPath, {}, kID, time), 0);
    EXPECT_TRUE(BVProcess::openItemWithURL("file:///opt/app", {}, time));
  }
  EXPECT_EQ(BVProcess::runApp(kPath, {}, kID, seconds::min()), 3);
}

TEST(BVProcess, OpensByFileUrl) {
  Bench bench(kAnswer);
  EXPECT_TRUE(BVProcess::openItemWithURL("file:///opt/%61pp", {}, 5));
  for (const char* const wrong :
       {"", "/opt/app", "http://opt/app", "file:///opt/ap", "file:///opt/app%", "file://h/app"}) {
    EXPECT_FALSE(BVProcess::openItemWithURL(wrong, {}, 5)) << wrong;
  }
  const std::string awkward = "/a b/\u00E4%?#~.-_";
  EXPECT_EQ(host::fileUrl(awkward), "file:///a%20b/%C3%A4%25%3F%23~.-_");
  EXPECT_EQ(host::pathOfFileUrl(host::fileUrl(awkward)), awkward);
  EXPECT_THAT(host::fileUrl("relative"), StartsWith("file:///"));
  EXPECT_EQ(host::pathOfFileUrl("file:///a%00b"), std::nullopt);
}

TEST(BVProcess, LaunchesSeveralAtOnceEachOnItsOwn) {
  std::string applications;
  for (int i = 0; i < 8; ++i) {
    applications += std::string(i > 0 ? "," : "") + R"({"path": "/opt/)" + std::to_string(i) +
                    R"(", "identifier": "id)" + std::to_string(i) +
                    R"(", "launch": [{"code": 272}, {"code": 258, "delay": 0.05},
                    {"answer": true)" +
                    (i % 2 == 0 ? "" : R"(, "error": "refused")") + "}]}";
  }
  const auto machine =
      host::simulated::Machine::fromJson("{\"applications\": [" + applications + "]}");
  ASSERT_TRUE(machine.ok()) << machine.error().text();
  const host::ScopedPlatform installed(machine.value()->platform());
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([i] {
      const std::string number = std::to_string(i);
      EXPECT_EQ(BVProcess::runApp("/opt/" + number, {}, "id" + number, 20), i % 2 == 0 ? 0 : 3)
          << i;
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace brisvane
