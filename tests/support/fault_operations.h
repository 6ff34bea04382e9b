// Each kind of operation that works on the system, with what it promises when the system fails it.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "brisvane/all.h"
#include "brisvane/host/platform.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "tests/support/failing_calls.h"
#include "tests/support/hasty_clock.h"
#include "tests/support/leftovers.h"
#include "tests/support/linux_machine.h"

namespace brisvane::testing {

// On what it works: what a fault befalls.
enum class Uses { kFiles, kPrograms, kTerminals, kFirmware };

struct Operation {
  std::string name;
  Uses uses;
  std::function<void()> prepare;
  std::function<bool()> run;  // whether it reports success
  std::function<void(bool succeeded)> check;
};

class FaultOperations : public ::testing::Test {
 protected:
  static constexpr auto kBench = R"({"devices": [{"name": "cu.usbserial-1", "fixture": {
      "commands": [{"command": "version", "replies": ["FW 1.20\r\n"]}], "unknown": ["ERR\r\n"]}}]})";

  FaultOperations() {
    std::filesystem::create_directory(machine / "dev");
    std::filesystem::create_symlink(bench->fixture("cu.usbserial-1")->node(),
                                    machine / "dev/cu.usbserial-1");
    std::filesystem::create_directory(machine / "variables");
    auto platform = std::make_shared<host::Platform>(*machine.platform());
    platform->setClock(std::make_shared<HastyClock>(FailingCall::isUnderWay));
    installed = std::make_unique<host::ScopedPlatform>(platform);
    port = std::make_unique<BVSerialPort>("/dev/cu.usbserial-1");
    useFolders(folder.path(), std::filesystem::exists("/dev/shm") ? "/dev/shm" : folder.path());
    BVLog::Default::debug("the first entry opens a socket that stays");
  }
  ~FaultOperations() override { std::filesystem::remove_all(there); }

  // Where the files are, and another file system.
  void useFolders(const std::string& files, const std::string& otherFileSystem) {
    here = files + "/work";
    there = otherFileSystem + "/brisvane-faults-" + std::to_string(::getpid());
    path = here + "/one";
    BVLog::setDefault(std::make_shared<BVLog>(SystemLogHandle::waylineLog(), nullptr, 0));
  }

  // An empty folder, or one with a file `path`.
  void reset(const std::optional<std::string>& content) const {
    for (const std::string& each : {here, there}) {
      std::filesystem::remove_all(each);
      std::filesystem::create_directory(each);
    }
    if (content) writeFile(path, *content);
    BVLog::defaultLog()->setLogFilePath(nullptr);
    BVLog::initAggregatedError("");
  }

  // All that the files of both folders hold.
  [[nodiscard]] std::string everything() const {
    std::string all;
    for (const std::string& each : {here, there}) {
      for (const std::string& name : namesIn(each)) all += contentOf(each + "/" + name);
    }
    return all;
  }
  [[nodiscard]] std::size_t files() const { return namesIn(here).size() + namesIn(there).size(); }

  static std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
  }

  // A line is there whole, or not at all, or cut off with the next one beginning on its own.
  [[nodiscard]] Operation logLine(const std::string& name, std::optional<std::string> old) {
    return {name, Uses::kFiles, [this, old] { reset(old); },
            [this] {
              BVLog log(SystemLogHandle::waylineLog(), path, 0);
              log.info("message");
              return !log.logFileFailure();
            },
            [this, old](bool succeeded) {
              const std::string before = old.value_or("");
              const std::string content = contentOf(path);
              ASSERT_TRUE(content.starts_with(before));
              const bool isWhole = content.ends_with(" message \n");
              EXPECT_EQ(isWhole, succeeded) << content;
              EXPECT_LE(countOf(content.substr(before.size()), "\n"), isWhole ? 1U : 0U) << content;
              EXPECT_EQ(files(), std::filesystem::exists(path) ? 1U : 0U) << "half a file is left";
              BVLog(SystemLogHandle::waylineLog(), path, 0).info("next");
              const std::string next = contentOf(path).substr(content.size());
              const bool isCut = !succeeded && content.size() > before.size();
              EXPECT_EQ(next.front() == '\n', isCut) << next;
              EXPECT_TRUE(next.ends_with(" next \n"));
            }};
  }

  // No line is lost or doubled, whatever becomes of the backup.
  [[nodiscard]] Operation backup(const std::string& name, std::string FaultOperations::*where) {
    return {name, Uses::kFiles,
            [this] {
              reset("first\nlast\n");
              BVLog::defaultLog()->setLogFilePath(path);
            },
            [this, where] {
              BVLog::Default::backupLogFileTo(this->*where + "/backup");
              return BVLog::aggregatedErrorDescription().empty();
            },
            [this, where](bool succeeded) {
              EXPECT_EQ(countOf(everything(), "first\nlast\n"), 1U) << everything();
              const std::string backup = this->*where + "/backup";
              const std::string report = BVLog::aggregatedErrorDescription();
              const bool isLeftThere = report.ends_with("; it is left at " + backup + "\n");
              EXPECT_EQ(std::filesystem::exists(backup), succeeded || isLeftThere) << report;
              // The log holds the report, too.
              EXPECT_EQ(files(), isLeftThere ? 2U : 1U) << "half a file is left";
            }};
  }

  // What is overwritten is lost from its beginning on, where the disk does not know beforehand that
  // there is no room.
  [[nodiscard]] Operation propertyList(const std::string& name, std::optional<std::string> old) {
    const Dictionary values{{"key", std::string(100, 'v')}};
    const Data whole = host::binaryPropertyList(values).value();
    return {name, Uses::kFiles, [this, old] { reset(old); },
            [this, values] { return writeToPlist(values, path); },
            [this, old, whole](bool succeeded) {
              const std::string content = contentOf(path);
              const auto bytes = std::string(asCharacters(whole));
              std::size_t same = 0;
              while (same < bytes.size() && content.starts_with(bytes.substr(0, same + 1))) ++same;
              EXPECT_EQ(content, succeeded
                                     ? bytes
                                     : bytes.substr(0, same) + old.value_or("").substr(std::min(
                                                                   same, old.value_or("").size())));
              EXPECT_EQ(std::filesystem::exists(path), succeeded || old);
              EXPECT_EQ(files(), succeeded || old ? 1U : 0U) << "half a file is left";
            }};
  }

  [[nodiscard]] Operation variable(const std::string& name, std::optional<std::string> old) {
    const std::string full = guidText(BVNvram::kSystemGuid) + ":mode";
    return {name, Uses::kFirmware,
            [full, old] {
              BVNvram::deleteVariable(full);
              if (old) BVNvram::writeStringVariable(full, *old);
            },
            [full] { return BVNvram::writeStringVariable(full, "new") == 0; },
            [full, old](bool succeeded) {
              EXPECT_EQ(BVNvram::stringFromVariable(full), succeeded ? "new" : old);
            }};
  }

  [[nodiscard]] Operation command() {
    return {"command", Uses::kPrograms, [this] { output = std::nullopt; },
            [this] {
              return Brisvane::runCommandWithLaunchPath("/bin/echo", {"all of it"}, "/", output);
            },
            [this](bool succeeded) {
              if (succeeded) {
                EXPECT_EQ(output, "all of it\n");
              }
              if (!succeeded) {
                EXPECT_NE(output.value_or(""), "") << "there is a reason";
              }
            }};
  }

  [[nodiscard]] Operation commandUnderWay() {
    return {"command under way", Uses::kPrograms, [this] { output = std::nullopt; },
            [this] {
              const auto started = host::Command::start("/bin/echo", {"all of it"}, "/");
              if (!started.ok()) return false;
              while (!started.value()->collect(std::chrono::milliseconds(100))) continue;
              output = asCharacters(started.value()->output());
              return true;
            },
            [this](bool succeeded) {
              EXPECT_EQ(output, succeeded ? std::optional("all of it\n") : std::nullopt);
            }};
  }

  [[nodiscard]] Operation launch() {
    return {"launch", Uses::kPrograms, [] { BVLog::initAggregatedError(""); },
            [] { return BVProcess::runApp("/bin/true", {}, "true", 20) == BVProcess::kRunAppUp; },
            [](bool succeeded) {
              EXPECT_EQ(BVLog::aggregatedErrorDescription().empty(), succeeded) << "the reason";
            }};
  }

  [[nodiscard]] Operation opening() {
    return {"opening of a port", Uses::kTerminals, [this] { port->closePort(); },
            [this] { return port->openPort(115200) != -1; },
            [this](bool succeeded) {
              EXPECT_EQ(port->isPortOpen(), succeeded);
              port->closePort();
            }};
  }

  [[nodiscard]] Operation exchange() {
    return {"exchange", Uses::kTerminals,
            [this] {
              if (!port->isPortOpen()) {
                ASSERT_NE(port->openPort(115200), -1);
              }
              if (!std::exchange(isInStep, true)) {  // what a failed exchange has left in the line
                ASSERT_TRUE(port->sendLargeData("\n"));
                port->drainPort();
              }
              reply = "as before";
            },
            [this] {
              isInStep = port->sendStringCommand("version", reply, "(FW .*|ERR)\r\n", 5.0);
              return isInStep;
            },
            [this](bool succeeded) {
              EXPECT_EQ(reply, succeeded ? "FW 1.20\r\n" : "as before");
              EXPECT_TRUE(isFree(*port->spLock()) && !port->busy());
            }};
  }

  [[nodiscard]] std::vector<Operation> fileOperations() {
    return {logLine("log line", "before\n"),
            logLine("first log line", std::nullopt),
            backup("backup", &FaultOperations::here),
            backup("backup to another file system", &FaultOperations::there),
            propertyList("property list", "what was there"),
            propertyList("new property list", std::nullopt)};
  }
  [[nodiscard]] std::vector<Operation> operations() {
    std::vector<Operation> all = fileOperations();
    for (const Operation& each :
         {variable("variable", "old"), variable("new variable", std::nullopt), command(),
          commandUnderWay(), launch(), opening(), exchange()})
      all.push_back(each);
    return all;
  }

  LinuxMachine machine;
  TemporaryFolder folder;
  std::unique_ptr<host::simulated::Machine> bench =
      host::simulated::Machine::fromJson(kBench).value();
  std::unique_ptr<host::ScopedPlatform> installed;
  std::unique_ptr<BVSerialPort> port;
  std::string here;   // a folder
  std::string there;  // one of another file system, where there is one
  std::string path;   // of the log, or the property list
  std::optional<std::string> output;
  std::string reply;
  bool isInStep = true;
};

}  // namespace brisvane::testing
