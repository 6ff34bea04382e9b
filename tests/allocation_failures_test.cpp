// Every operation on values, texts, bytes, files and the log, with each of its allocations failing
// in turn.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "brisvane/all.h"
#include "brisvane/host/crypto/digest.h"
#include "brisvane/host/files/files.h"
#include "brisvane/host/files/move_file.h"
#include "brisvane/host/formats/characters.h"
#include "brisvane/host/formats/file_url.h"
#include "brisvane/host/formats/growing_search.h"
#include "brisvane/host/formats/json.h"
#include "brisvane/host/formats/pattern.h"
#include "brisvane/host/formats/property_list.h"
#include "brisvane/types/out_of_memory.h"
#include "tests/support/allocation_failures.h"

namespace brisvane {
namespace {

using testing::AllocationFailures;
using ::testing::AnyOf;
using testing::FailingAllocations;
using testing::kBytes;
using testing::kLong;
using testing::kNever;
using testing::kOther;
using testing::kThrows;
using ::testing::Optional;
using ::testing::Pair;

using Files = std::vector<std::pair<std::string, std::string>>;  // names and contents

Object nested() {
  return Dictionary{{kLong, Array{Object(kLong), kBytes, 1, 2.5, true, Dictionary{{"a", kLong}}}},
                    {"b", Date()}};
}

TEST_F(AllocationFailures, OfValues) {
  const Object value = nested();
  const Object equal = nested();
  const Dictionary nulls{{"a", nullptr}, {"b", Dictionary{{"c", nullptr}, {"d", 1}}}};
  const Array keys{"z", kLong};
  SWEEP(nested(), kThrows);
  SWEEP(value.dictionary(), kThrows);
  SWEEP(value == equal, kThrows);
  SWEEP(Brisvane::objectOrNull(value), kNever);
  SWEEP(Map::mapObjectsUsingBlock(keys, [](auto& element, auto, auto&) { return element; }),
        kThrows);
  SWEEP(BV::removeNullFromDictionary(nulls), kThrows);
  SWEEP(BV::valueForAnyKeys(*value.ifDictionary(), keys), kThrows);
  SWEEP(host::parseJson(R"({"a": [1, "text", {"b": null}]})").ok(), kThrows);
  SWEEP(host::parseJson(R"({"a": [1, "text", {"b": nul}]})").ok(), kThrows);
  SWEEP(host::jsonLine("{\"a\":\n[1,\n2]}", "a[1]"), kThrows);
  SWEEP(host::jsonText(value, host::JsonLayout::kIndented), kThrows);
  SWEEP(host::binaryPropertyList(value).ok(), kThrows);
}

TEST_F(AllocationFailures, OfTextsAndPatterns) {
  const std::string spelled = base64Text(kBytes);
  const std::string hex = lowerHexText(kBytes);
  const auto pattern = host::Pattern::compile("(\\w+)=([0-9a-f]+)\\r\\n");
  const auto slow =
      host::Pattern::compile("(a+)+!|ok");  // beyond what is searched without callouts
  const std::string manyWays = std::string(22, 'a') + " ok";
  const std::string reply = kLong + "crc=12ab\r\n";
  SWEEP(guidText(BVNvram::kSystemGuid), kThrows);
  SWEEP(base64Text(kBytes), kThrows);
  SWEEP(parseBase64(spelled), kThrows);
  SWEEP(parseHex(hex), kThrows);
  SWEEP(toUtf8(kLong), kThrows);
  SWEEP(toUtf16(kLong), kThrows);
  SWEEP(Additions::stringByTrimmingWhitespace(kLong), kThrows);
  SWEEP(Additions::stringWithPrefix(kLong, "a"), kThrows);
  SWEEP(BVSerialPort::hexStringFromData(kBytes), kThrows);
  SWEEP(host::fileUrl("a b"), kThrows);
  SWEEP(host::pathOfFileUrl("file:///a%20path/beyond/any/small/text"), kThrows);
  SWEEP(host::characterCount("e\u0301", 1), kThrows);
  SWEEP(Brisvane::levenshteinDistanceBetween(kLong, kOther), -1);
  SWEEP(memoryPermitting(false, [&] { return host::Pattern::compile("a+").ok(); }), false);
  SWEEP(memoryPermitting(false, [&] { return pattern.value().firstMatch(reply).ok(); }), false);
  SWEEP(memoryPermitting(false, [&] { return slow.value().firstMatch(manyWays).ok(); }), false);
  const auto inPieces = [&] {
    host::GrowingSearch search(pattern.value(), 1);
    const auto part = search.firstMatch(reply.substr(0, 60), [] { return 1.0; });
    return part.ok() && search.firstMatch(reply, [] { return 1.0; }).ok();
  };
  SWEEP(memoryPermitting(false, inPieces), false);
}

TEST_F(AllocationFailures, OfBytes) {
  using namespace SecurityAdditions;
  const std::string spelled = base64Text(kBytes);
  SWEEP(bin2hex(kBytes), kThrows);
  SWEEP(bin2percentHex(kBytes), kThrows);
  SWEEP(base64DataFromString(spelled, true), std::nullopt);
  SWEEP(randomDataOfLength(100).has_value(), false);
  SWEEP(sha1Hash(kBytes), std::nullopt);
  SWEEP(HMACSHA1(kBytes, kOther), std::nullopt);
  const auto inPieces = [](auto&& digest) {
    for (int i = 0; i < 3; ++i) digest.add(kBytes);
    return digest.finish();
  };
  SWEEP(memoryPermitting(false, [&] { return inPieces(host::Sha1()).ok(); }), false);
  SWEEP(memoryPermitting(false, [&] { return inPieces(host::HmacSha1(kBytes)).ok(); }), false);
  std::int32_t error = 0;
  const auto status = [&](const std::optional<Data>& result) { return result ? 0 : error; };
  for (const std::uint32_t algorithm : {0U, 1U, 2U, 3U, 4U}) {
    const auto encrypted = dataEncryptedUsingAlgorithm(kBytes, algorithm, "a key", nullptr, 1);
    SWEEP(status(dataEncryptedUsingAlgorithm(kBytes, algorithm, "a key", "vector", 1, &error)), -6);
    SWEEP(status(dataDecryptedUsingAlgorithm(*encrypted, algorithm, "a key", nullptr, 1, &error)),
          -6);
  }
}

// Whether an operation succeeds that may throw instead of failing.
template <typename Operation>
bool succeeds(Operation operation) {
  return memoryPermitting(false, operation);
}

TEST_F(AllocationFailures, OfFiles) {
  const testing::TemporaryFolder files;
  const std::string path = files / "one";
  const std::string moved = files / "one of a longer name";
  const std::string deep = files / "deep/er";
  // Whether an operation has succeeded, and the files that there are then.
  const auto with = [&](bool succeeded) {
    FailingAllocations::end();
    Files all;
    for (const std::string& name : testing::namesIn(files.path()))
      all.emplace_back(name, testing::contentOf(files / name));
    return std::pair(succeeded, all);
  };
  const Dictionary dictionary{{"a", 1}};
  const auto nothing = std::pair(false, Files{});
  prepare = [&] { std::filesystem::remove(path); };
  SWEEP(with(succeeds([&] { return host::appendToFile(path, "new").ok(); })), nothing);
  SWEEP(with(succeeds([&] { return host::appendLineToFile(path, "new\n").ok(); })), nothing);
  SWEEP(with(succeeds([&] { return host::createFile(path, "new").ok(); })), nothing);
  SWEEP(with(Brisvane::appendString("new", path)), nothing);
  SWEEP((appendTo("new", path), with(true)), Pair(true, Files{}));
  SWEEP(with(writeToPlist(dictionary, path)), nothing);
  const auto old = std::pair(false, Files{{"one", "old"}});
  prepare = [&] { std::filesystem::remove(moved), testing::writeFile(path, "old"); };
  SWEEP(with(succeeds([&] { return host::appendToFile(path, "new").ok(); })), old);
  SWEEP(with(succeeds([&] { return host::overwriteFile(path, "n").ok(); })), old);
  SWEEP(with(writeToPlist(dictionary, path)), old);
  SWEEP(with(host::moveFile(path, moved).result.ok()), old);
  SWEEP(host::readFile(path, 10).optional(), kThrows);
  SWEEP(host::fileKind(path), kThrows);
  prepare = [&] { std::filesystem::remove_all(files / "deep"); };
  SWEEP(host::createFolders(deep).ok(), kThrows);
  SWEEP(BVSystemInfo::folderExists(deep, true), false);
}

TEST_F(AllocationFailures, OfAMoveToAnotherFileSystem) {
  if (!std::filesystem::exists("/dev/shm")) GTEST_SKIP() << "no other file system";
  const testing::TemporaryFolder here;
  const testing::TemporaryFolder there("/dev/shm");
  const std::string from = here / "from";
  const std::string to = there / "to";
  const auto with = [&](bool succeeded) {
    FailingAllocations::end();
    return std::tuple(succeeded, testing::namesIn(here.path()), testing::namesIn(there.path()));
  };
  prepare = [&] { std::filesystem::remove(to), testing::writeFile(from, "old"); };
  using Names = std::vector<std::string>;
  SWEEP(with(host::moveFile(from, to).result.ok()), std::tuple(false, Names{"from"}, Names{}));
}

TEST_F(AllocationFailures, OfLogging) {
  using Log = BVLog::Default;
  const auto log = BVLog::defaultLog();
  const SystemLogHandle& handle = SystemLogHandle::waylineLog();
  const std::string file = folder / "log";
  const std::string other = folder / "other";
  const auto calm = [](const auto& give) { return FailingAllocations::end(), give(); };
  const int journal = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  sockaddr_un address{AF_UNIX, {}};
  (machine / "journal").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(journal, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  const auto entries = [&] {
    FailingAllocations::end();
    int count = 0;
    for (char byte = 0; ::recv(journal, &byte, 1, 0) > 0;) ++count;
    return count;
  };
  // 1 when the file ends with the line, 0 when it has nothing of it.
  const auto lines = [&] {
    FailingAllocations::end();
    const std::string text = testing::contentOf(file);
    return text.empty() ? 0 : text.ends_with(" message \n") ? 1 : -1;
  };
  prepare = [&] {
    for (const std::string& path : {file, other}) std::filesystem::remove(path);
    log->setLogFilePath(file);
    BVLog::initAggregatedError(kLong);
    entries();
  };
  SWEEP((Log::info("message"), lines()), 0);
  SWEEP((Log::fault("message"), lines()), 0);
  SWEEP((Log::error("message"), lines()), 0);
  SWEEP((Log::debug("message"), Log::debugl(0, kOther), entries()), AnyOf(0, 1));
  SWEEP(log->logFilePath(), kThrows);
  SWEEP((log->setLogFilePath(other), calm([&] { return log->logFilePath(); })), Optional(file));
  SWEEP((BVLog::initAggregatedError(kOther), calm(BVLog::aggregatedErrorDescription)), kLong);
  SWEEP(BVLog::aggregatedErrorDescription(), kThrows);
  prepare = [&] { std::filesystem::remove(other), testing::writeFile(file, "text"); };
  SWEEP((Log::backupLogFileTo(other), calm([&] { return testing::namesIn(folder.path()); })),
        std::vector<std::string>{"log"});
  prepare = [&] { BVLog::setDefault(log), log->setVerbosityLevel(0), entries(); };
  SWEEP((log->setVerbosityLevel(3), log->verbosityLevel()), kNever);
  SWEEP((BVLog::configureDefault(handle, file, 1), BVLog::defaultLog()->verbosityLevel()), 0);
  SWEEP(BVLog(handle, file, std::nullopt).verbosityLevel(), kThrows);
  SWEEP(BVLog::backupPath("/a/b.log", Date()), kThrows);
  SWEEP(SystemLogHandle(kLong, kLong).subsystem(), kThrows);
  SWEEP(PreferencesStore(kLong).integer("key"), kThrows);
  ::close(journal);
}

}  // namespace
}  // namespace brisvane
