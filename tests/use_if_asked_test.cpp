#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "brisvane/host/platform.h"
#include "brisvane/host/simulated/simulated_machine.h"
#include "brisvane/serial/BVSerialPort.h"
#include "tests/support/own_process.h"
#include "tests/support/temporary_folder.h"

namespace brisvane::host::simulated {
namespace {

constexpr char kVariable[] = "BRISVANE_MACHINE";
constexpr char kDevice[] = "/dev/cu.usbserial-ASKED";

class UseIfAsked : public ::testing::Test {
 protected:
  UseIfAsked() {
    testing::writeFile(good, R"({"devices": [{"name": "cu.usbserial-ASKED"}]})");
    testing::writeFile(bad, R"({"devices": [{"name": ""}]})");
  }

  static bool isSimulated() {
    const auto port = BVSerialPort::createPortWithSerial("ASKED");
    return port != nullptr && port->path() == kDevice;
  }

  testing::TemporaryFolder folder;
  const std::string good = folder / "good.json";
  const std::string bad = folder / "bad.json";
};

TEST_F(UseIfAsked, PutsTheNamedMachineInForceUntilTheEnd) {
  testing::inProcessOfItsOwn([this] {
    ::unsetenv(kVariable);
    EXPECT_TRUE(useIfAsked().ok());
    ::setenv(kVariable, "", 1);
    EXPECT_TRUE(useIfAsked().ok());
    EXPECT_FALSE(isSimulated());
    ::setenv(kVariable, bad.c_str(), 1);
    EXPECT_EQ(useIfAsked().error().text(), bad + ": line 1: devices[0].name: must be a file name");
    EXPECT_FALSE(isSimulated());
    ::setenv(kVariable, good.c_str(), 1);
    EXPECT_TRUE(useIfAsked().ok());
    EXPECT_TRUE(useIfAsked().ok());
    EXPECT_TRUE(isSimulated());
  });
}

// What the set-user-ID copy of this program runs. In an ordinary one it has nothing to do.
TEST_F(UseIfAsked, IsNotAskedByTheEnvironmentOfASetUserIdProgram) {
  if (::geteuid() != ::getuid()) {
    // At once: the search for leaks at the end needs rights that such a process does not have.
    ::_exit(useIfAsked().ok() && !isSimulated() ? 0 : 1);
  }
  if (::getuid() != 0) GTEST_SKIP() << "only root makes a program another user's";
  const std::string copy = folder / "copy";
  std::filesystem::copy_file("/proc/self/exe", copy);
  ASSERT_EQ(::chown(copy.c_str(), 65534, 65534), 0);
  ASSERT_EQ(::chmod(copy.c_str(), 04755), 0);
  ::chmod(folder.path().c_str(), 0755);
  ::setenv(kVariable, good.c_str(), 1);
  const std::string filter =
      "--gtest_filter=UseIfAsked.IsNotAskedByTheEnvironmentOfASetUserIdProgram";
  char* const arguments[] = {const_cast<char*>(copy.c_str()), const_cast<char*>(filter.c_str()),
                             nullptr};
  pid_t child = 0;
  ASSERT_EQ(::posix_spawn(&child, copy.c_str(), nullptr, nullptr, arguments, environ), 0);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace brisvane::host::simulated
