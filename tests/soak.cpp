// soak [MINUTES]
// A long conversation with a fixture whose plug is pulled now and then, with logging, backups,
// commands, launches and listings beside it, for ten minutes unless told otherwise. It prints what
// each minute took: memory, descriptors, threads, and the latencies of each kind of work. Exits
// with 0 when nothing has failed and, after the first minute, nothing has grown.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "brisvane/all.h"
#include "brisvane/host/platform.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::testing {
namespace {

using std::chrono::steady_clock;
using namespace std::chrono_literals;

// One kind of work, which a thread of its own repeats. Work is done under a shared lock, so that
// what is used can be counted while there is none.
class Work {
 public:
  // `step` gives whether it succeeded.
  Work(const char* name, std::chrono::milliseconds pause, std::function<bool()> step,
       std::shared_mutex& gate)
      : name_(name),
        step_(std::move(step)),
        thread_([this, pause, &gate](const std::stop_token& stop) {
          while (!stop.stop_requested()) {
            repeat(gate);
            std::this_thread::sleep_for(pause);
          }
        }) {}

  [[nodiscard]] bool hasFailed() const { return failures_ != 0; }

  // The latencies since the last call, in a line. REQUIRES: the gate is held.
  void print() {
    std::sort(times_.begin(), times_.end());
    const auto at = [this](std::size_t percent) {
      return times_.empty() ? 0 : times_[(times_.size() - 1) * percent / 100];
    };
    std::printf("  %-10s %7zu times %9.3f ms median %9.3f ms 99 %% %9.3f ms most %4d failed\n",
                name_, times_.size(), at(50), at(99), at(100), failures_.load());
    times_.clear();
  }

 private:
  void repeat(std::shared_mutex& gate) {
    const std::shared_lock lock(gate);
    const auto start = steady_clock::now();
    if (!step_()) ++failures_;
    times_.push_back(
        std::chrono::duration<double, std::milli>(steady_clock::now() - start).count());
  }

  const char* const name_;
  const std::function<bool()> step_;
  std::vector<double> times_;
  std::atomic<int> failures_{0};
  std::jthread thread_;
};

// A fixture, and the port on it, whose plug is pulled after so many exchanges.
class Conversation {
 public:
  bool exchange() {
    if (port_ == nullptr) plugIn();
    std::string reply;
    const bool isPulled = ++count_ % 200 == 0;
    if (isPulled) bench_->fixture("cu.usbserial-1")->hangUp();
    const bool succeeded = port_->sendStringCommand("version", reply, "FW .*\\r\\n", 10s);
    if (isPulled) port_.reset();
    return succeeded != isPulled;
  }

 private:
  void plugIn() {
    bench_ =
        host::simulated::Machine::fromJson(R"({"devices": [{"name": "cu.usbserial-1", "fixture":
        {"commands": [{"command": "version", "replies": ["FW 1.20\r\n"]}]}}]})")
            .value();
    port_ = std::make_unique<BVSerialPort>(bench_->fixture("cu.usbserial-1")->node());
    if (port_->openPort(115200) == -1) std::puts("the port cannot be opened");
  }

  std::unique_ptr<host::simulated::Machine> bench_;
  std::unique_ptr<BVSerialPort> port_;
  int count_ = 0;
};

// A log that is backed up beside itself and on another file system; each backup is counted and
// removed.
class Log {
 public:
  Log() { BVLog::configureDefault(SystemLogHandle::waylineLog(), path_, 0); }

  bool write() {
    BVLog::Default::info("a line of a soak");
    ++written_;
    return !BVLog::defaultLog()->logFileFailure();
  }
  bool backUp() {
    const std::string backup = (++backups_ % 2 == 0 ? here_ : there_) / "backup";
    BVLog::initAggregatedError("");
    BVLog::Default::backupLogFileTo(backup);
    count(backup);
    return BVLog::aggregatedErrorDescription().find("Failed to backup") == std::string::npos;
  }
  // Whether every line is in a file. REQUIRES: nobody writes.
  bool isComplete() {
    count(path_);
    return found_ == written_;
  }

 private:
  void count(const std::string& path) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) found_ += line.ends_with("soak ") ? 1 : 0;
    std::filesystem::remove(path);
  }

  TemporaryFolder here_;
  TemporaryFolder there_{std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp"};
  const std::string path_ = here_ / "run.log";
  std::atomic<long> written_{0};
  std::atomic<long> found_{0};
  int backups_ = 0;
};

struct Used {
  long kilobytes = 0;
  std::size_t descriptors = 0;
  std::size_t threads = 0;
};

// REQUIRES: nobody works. What a launch has left to do has a second.
Used used() {
  siginfo_t child;
  for (int i = 0; i < 1000 && ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0; ++i)
    ::usleep(1000);
  ::usleep(20'000);
  long all = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> all >> resident;
  return {resident * ::sysconf(_SC_PAGESIZE) / 1024, namesIn("/proc/self/fd").size(),
          namesIn("/proc/self/task").size()};
}

int soak(double minutes) {
  constexpr long kMoreMemory = 2048;  // KiB by which the allocator's pools may still change
  auto platform = std::make_shared<host::Platform>(*host::platform());
  platform->setSystemLog(nullptr);  // it is other programs' too
  const host::ScopedPlatform installed(platform);
  std::shared_mutex gate;
  Conversation conversation;
  Log log;
  bool isLogComplete = true;
  std::array<Work, 6> works{{
      {"exchange", 5ms, [&] { return conversation.exchange(); }, gate},
      {"log line", 1ms, [&] { return log.write(); }, gate},
      {"backup", 500ms, [&] { return log.backUp(); }, gate},
      {"command", 50ms,
       [] {
         std::optional<std::string> output;
         return Brisvane::runCommandWithLaunchPath("/bin/echo", {"soak"}, "/", output) &&
                output == "soak\n";
       },
       gate},
      {"launch", 50ms,
       [] { return BVProcess::runApp("/bin/true", {}, "true", 20s) == BVProcess::kRunAppUp; },
       gate},
      {"interfaces", 20ms, [] { return Brisvane::findEthernetInterfaces().has_value(); }, gate},
  }};
  const auto whole = std::chrono::duration<double>(60 * minutes);
  const auto step = std::min(whole / 4, std::chrono::duration<double>(60));
  std::optional<Used> first;
  bool isFlat = true;
  for (auto elapsed = step; elapsed <= whole * 1.001; elapsed += step) {
    std::this_thread::sleep_for(step);
    const std::unique_lock lock(gate);
    const Used now = used();
    std::printf("after %.1f minutes: %ld KiB, %zu descriptors, %zu threads\n", elapsed.count() / 60,
                now.kilobytes, now.descriptors, now.threads);
    for (Work& work : works) work.print();
    std::fflush(stdout);
    if (!first) first = now;
    isFlat = isFlat && now.kilobytes <= first->kilobytes + kMoreMemory &&
             now.descriptors <= first->descriptors && now.threads <= first->threads;
  }
  const std::unique_lock lock(gate);
  isLogComplete = log.isComplete();
  const bool hasFailed =
      std::any_of(works.begin(), works.end(), [](const Work& work) { return work.hasFailed(); });
  std::printf("%s; %s; %s\n", isFlat ? "flat" : "NOT FLAT: it has grown after the first minute",
              isLogComplete ? "no line is lost" : "LINES ARE LOST",
              hasFailed ? "SOMETHING HAS FAILED" : "nothing has failed");
  return isFlat && isLogComplete && !hasFailed ? 0 : 1;
}

}  // namespace
}  // namespace brisvane::testing

int main(int count, char** arguments) {
  const double minutes = count > 1 ? std::strtod(arguments[1], nullptr) : 10;
  if (minutes <= 0) {
    std::fputs("soak [MINUTES]: a number above 0\n", stderr);
    return 2;
  }
  return brisvane::testing::soak(minutes);
}
