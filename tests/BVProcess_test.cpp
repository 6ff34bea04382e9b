#include "brisvane/process/BVProcess.h"

#include <gmock/gmock.h>

#include <chrono>
#include <limits>
#include <span>
#include <thread>

#include "brisvane/host/formats/file_url.h"
#include "brisvane/host/launching/launch_service.h"
#include "tests/support/simulated_test.h"

namespace brisvane {
namespace {

using std::chrono::steady_clock;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::Not;
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
      : SimulatedTest(R"({"applications": [{"path": "/opt/app", "identifier": "org.example.app", "launch": [)" +
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

TEST(BVProcess, TellsEachStepOfALaunchThatSucceeds) {
  Bench bench(
      R"({"code": 256}, {"code": 272}, {"code": 257}, {"answer": true, "delay": 0.1}, {"code": 258, "delay": 0.1})");
  EXPECT_EQ(Bench::run(), 0);
  // 0x101 is not among the codes that are asked for.
  EXPECT_THAT(bench.logged(),
              ElementsAre(debugLine("using openItemWithURL"), notified("-- RQNotificationID: 100 --"),
                          notified("BkBundleIdentifier: org.example.app"), notified("doneWithApplicaion : 0"),
                          notified("-- RQNotificationID: 110 --"), notified("BkBundleIdentifier: org.example.app"),
                          notified("doneWithApplicaion : 0"), debugLine("openCompletion completionHandler called"),
                          notified("-- RQNotificationID: 102 --"), notified("BkBundleIdentifier: org.example.app"),
                          notified("doneWithApplicaion : 1")));
}

TEST(BVProcess, EndsTheWaitForAFinishingCodeOfThisApplicationAlone) {
  for (const char* const code : {"258", "259", "262", "280"}) {
    Bench bench(std::string(kAnswer) + ", {\"code\": " + code + "}");
    EXPECT_EQ(Bench::run(), 0) << code;
  }
  {
    Bench bench(std::string(kAnswer) + R"(, {"code": 258, "identifier": "org.example.App"})");
    EXPECT_EQ(Bench::run(1), 2);
    EXPECT_THAT(bench.logged(),
                ElementsAre(debugLine("using openItemWithURL"), debugLine("openCompletion completionHandler called"),
                            notified("-- RQNotificationID: 102 --"), notified("BkBundleIdentifier: org.example.App"),
                            errorLine("runApp: Process timed out")));
  }
  Bench nameless(std::string(kAnswer) + R"(, {"code": 258, "identifier": null})");
  EXPECT_EQ(Bench::run(), 0);  // a notification without data is about whatever is expected
  EXPECT_EQ(Bench::run(5, nullptr), 0);
  Bench named(std::string(kAnswer) + ", " + kUp);
  EXPECT_EQ(Bench::run(1, nullptr), 2);
}

// Tells one notification with this data, and answers.
class TellingService final : public host::LaunchService {
 public:
  explicit TellingService(Dictionary data) : data_(std::move(data)) {}
  host::SubscriptionHandle subscribe(std::int32_t /*session*/, std::int32_t /*flags*/,
                                     const host::SerialQueue& /*queue*/,
                                     host::NotificationCallback callback) const noexcept override {
    callback_ = std::move(callback);
    return 1;
  }
  std::int32_t selectCodes(host::SubscriptionHandle /*subscription*/, std::span<const std::int32_t> /*codes*/,
                           std::int32_t /*first*/, std::int32_t /*second*/, std::int32_t /*third*/,
                           std::int32_t /*fourth*/) const noexcept override {
    return 0;
  }
  void open(std::string_view /*url*/, const host::OpenConfiguration& /*configuration*/,
            host::OpenCompletion completion) const noexcept override {
    callback_(host::LaunchCode::kUp, 0, &data_, nullptr, 0, nullptr);
    completion(std::nullopt);
  }

 private:
  const Dictionary data_;
  mutable host::NotificationCallback callback_;
};

TEST(BVProcess, TellsWhateverStandsForTheIdentifier) {
  Bench bench(kAnswer);
  host::Platform platform = *host::platform();
  const std::pair<Dictionary, const char*> cases[] = {
      {{{"BkBundleIdentifier", 42}}, "42"},   {{{"BkBundleIdentifier", true}}, "true"},
      {{{"BkBundleIdentifier", 0.5}}, "0.5"}, {{{"BkBundleIdentifier", Array{kID, 1}}}, R"(["org.example.app",1])"},
      {{{"BkBundleIdentifier", ""}}, ""},     {{{"BkBundleIdentifier", nullptr}}, "null"},
      {{{"another key", kID}}, "(null)"}};
  for (const auto& [data, shown] : cases) {
    platform.setLaunchService(std::make_shared<TellingService>(data));
    const host::ScopedPlatform installed(std::make_shared<const host::Platform>(platform));
    EXPECT_EQ(Bench::run(0), 2);  // about no application that is expected
    EXPECT_THAT(bench.logged(), Contains(notified(std::string("BkBundleIdentifier: ") + shown)));
  }
}

TEST(BVProcess, CountsWhatComesBeforeTheAnswer) {
  Bench bench(std::string(kUp) + R"(, {"answer": true, "delay": 0.2})");
  EXPECT_EQ(Bench::run(), 0);
}

TEST(BVProcess, TellsARefusedLaunchAndOneThatIsNotAnswered) {
  {
    Bench bench(std::string(kUp) + R"(, {"answer": true, "error": "no such thing"})");
    EXPECT_EQ(Bench::run(), 3);
    EXPECT_THAT(bench.errors(), ElementsAre(errorLine("openAppURL Error: no such thing"),
                                            errorLine("runApp: Error in launching application")));
  }
  Bench late(std::string(kUp) + R"(, {"answer": true, "delay": 1.5})");
  const auto start = steady_clock::now();
  EXPECT_EQ(Bench::run(1), 3);
  EXPECT_LT(steady_clock::now() - start, std::chrono::milliseconds(1400));
  EXPECT_THAT(late.errors(), ElementsAre(errorLine("openApplicationAtURL timed out"),
                                         errorLine("runApp: Error in launching application")));
  std::vector<std::string> afterwards;  // the answer finds nobody, which is no harm
  while (afterwards.empty()) afterwards = late.logged();
  EXPECT_THAT(afterwards, ElementsAre(debugLine("openCompletion completionHandler called")));
}

TEST(BVProcess, LaunchesNothingWithoutNotifications) {
  Bench bench(kAnswer, R"(, "launchService": {"refusesSubscriptions": true})");
  EXPECT_EQ(Bench::run(), 1);
  EXPECT_THAT(bench.logged(), ElementsAre(errorLine("runApp: Error in setup notification")));
}

TEST(BVProcess, TakesAnyTimeLimit) {
  Bench bench(R"({"answer": true, "delay": 0.3}, {"code": 258})");
  for (const std::int32_t none : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
    const auto start = steady_clock::now();
    EXPECT_EQ(Bench::run(none), 3) << none;
    EXPECT_LT(steady_clock::now() - start, std::chrono::milliseconds(250));
  }
  EXPECT_EQ(Bench::run(std::numeric_limits<std::int32_t>::max()), 0);
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
                    R"(", "identifier": "id)" + std::to_string(i) + R"(", "launch": [{"code": 272}, {"answer": true},
                    {"code": )" +
                    (i % 2 == 0 ? "258" : "272") + R"(, "delay": 0.1}]})";
  }
  std::string error;
  const auto machine = host::simulated::Machine::fromJson("{\"applications\": [" + applications + "]}", error);
  ASSERT_NE(machine, nullptr) << error;
  const host::ScopedPlatform installed(machine->platform());
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([i] {
      const std::string number = std::to_string(i);
      EXPECT_EQ(BVProcess::runApp("/opt/" + number, {}, "id" + number, 1), i % 2 == 0 ? 0 : 2) << i;
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace brisvane
