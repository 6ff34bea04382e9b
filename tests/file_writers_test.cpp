#include "brisvane/logging/file_writers.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "brisvane/host/files/files.h"
#include "brisvane/host/formats/property_list.h"
#include "brisvane/support/Brisvane.h"
#include "tests/support/simulated_test.h"

namespace brisvane {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::SimulatedTest;
using testing::writeFile;

class FileWritersTest : public SimulatedTest {};

std::string error(const std::string& text) { return "error ERROR %{public}@|" + text; }

TEST_F(FileWritersTest, AppendToAddsExactlyTheTextAndReportsWhatItCannotWrite) {
  appendTo("één", folder / "file");
  appendTo("two\n", folder / "file");
  appendTo(nullptr, folder / "empty");
  EXPECT_EQ(contentOf(folder / "file"), "ééntwo\n");
  EXPECT_TRUE(fs::exists(folder / "empty"));
  EXPECT_THAT(logged(), IsEmpty());
  appendTo("x", folder / "missing/file");
  appendTo("x", folder.path());
  appendTo("x", nullptr);
  const std::string report = "Failed to append string to file ";
  EXPECT_THAT(logged(),
              ElementsAre(error(report + (folder / "missing/file: No such file or directory")),
                          error(report + folder.path() + ": Is a directory"),
                          error(report + ": No such file or directory")));
}

TEST_F(FileWritersTest, AppendStringTellsByItsResultAloneAndWritesAsciiAlone) {
  EXPECT_TRUE(Brisvane::appendString("one", folder / "file"));
  EXPECT_TRUE(Brisvane::appendString("two", folder / "file"));
  EXPECT_FALSE(Brisvane::appendString("drei ü", folder / "file"));
  EXPECT_TRUE(Brisvane::appendString("", folder / "file"));
  EXPECT_EQ(contentOf(folder / "file"), "onetwo");
  EXPECT_FALSE(Brisvane::appendString("ü", folder / "new"));
  EXPECT_EQ(fs::file_size(folder / "new"), 0U);
  EXPECT_FALSE(Brisvane::appendString("x", folder / "missing/file"));
  EXPECT_FALSE(Brisvane::appendString("x", folder.path()));
  EXPECT_FALSE(Brisvane::appendString("x", "/dev/full"));
  EXPECT_FALSE(fs::exists(folder / "missing"));
  EXPECT_THAT(logged(), IsEmpty());
}

std::string encoded(const Dictionary& dictionary) {
  const Data bytes = host::binaryPropertyList(dictionary).value();
  return {bytes.begin(), bytes.end()};
}

TEST_F(FileWritersTest, WriteToPlistMakesOrOverwritesTheFileInPlace) {
  const Dictionary large{{"key", std::string(1000, 'x')}};
  const Dictionary small{{"key", 1}};
  EXPECT_TRUE(writeToPlist(large, folder / "file"));
  EXPECT_EQ(contentOf(folder / "file"), encoded(large));
  fs::create_hard_link(folder / "file", folder / "same");
  fs::create_symlink("file", folder / "link");
  EXPECT_TRUE(writeToPlist(small, folder / "link"));
  EXPECT_EQ(contentOf(folder / "same"), encoded(small));  // it is the same file still
  EXPECT_TRUE(writeToPlist(large, folder / "file"));
  EXPECT_EQ(contentOf(folder / "same"), encoded(large));
  EXPECT_TRUE(writeToPlist({}, "/dev/null"));
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(FileWritersTest, WriteToPlistWaitsForTheReaderOfAPipe) {
  const Dictionary large{{"key", std::string(1'000'000, 'x')}};
  const std::string pipe = folder / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  std::string content;
  const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  {
    std::jthread slow([&] {
      const int capacity = ::fcntl(reader, F_GETPIPE_SZ);
      for (int written = 0; written < capacity; std::this_thread::yield())
        ::ioctl(reader, FIONREAD, &written);
      content = contentOf(pipe);
    });
    EXPECT_TRUE(writeToPlist(large, pipe));
    ::close(reader);
  }
  EXPECT_TRUE(content == encoded(large));
}

TEST_F(FileWritersTest, AReaderThatGoesAwayIsAFailureAndNoSignal) {
  const Dictionary large{{"key", std::string(1'000'000, 'x')}};
  const std::string pipe = folder / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  const std::jthread leaving([reader] {
    pollfd written{reader, POLLIN, 0};
    ::poll(&written, 1, -1);
    ::close(reader);
  });
  EXPECT_FALSE(writeToPlist(large, pipe));
  EXPECT_THAT(logged(), ElementsAre(error("Failed to write " + pipe + " file: Broken pipe")));
}

TEST_F(FileWritersTest, WriteToPlistReportsEachFailureInItsOwnWords) {
  writeFile(folder / "old", "old");
  EXPECT_FALSE(writeToPlist({{"key", Object()}}, folder / "old"));
  EXPECT_FALSE(writeToPlist({{"key", "\xFF"}}, folder / "new"));
  EXPECT_FALSE(writeToPlist({}, folder / "missing/new"));
  EXPECT_FALSE(writeToPlist({}, folder.path()));
  EXPECT_FALSE(writeToPlist({}, "/dev/full"));
  EXPECT_FALSE(writeToPlist({}, nullptr));
  EXPECT_THAT(logged(),
              ElementsAre(error("Failed to encode data for " + (folder / "old")),
                          error("Failed to encode data for " + (folder / "new")),
                          error("Failed to create " + (folder / "missing/new") + " file"),
                          error("Failed to write " + folder.path() + " file: Is a directory"),
                          error("Failed to write /dev/full file: No space left on device"),
                          error("Failed to create  file")));
  EXPECT_EQ(contentOf(folder / "old"), "old");
  EXPECT_FALSE(fs::exists(folder / "new"));
}

}  // namespace
}  // namespace brisvane
